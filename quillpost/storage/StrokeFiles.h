// The stroke files of the store and the directories that they lie in:
//
//   ROOT/<pen serial>/<page address>/<name>.<extension>
//
// Every query lists the disk afresh; there is no cache, and all functions may be called from any
// thread. The only state is which files imports of this process are writing. What is known about
// the strokes beside their bytes is the routing info (FilesStorage.h). Functions marked "throws"
// let boost::filesystem::filesystem_error out where the file system fails in a way that they have
// no answer for.

#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// ROOT: "Library/Application Support/Talvo/Quillpost/Storage" in the user's home directory; empty
// where the user has no home. Neither checks nor makes the directory.
boost::filesystem::path GetStorageRoot();

// The pens that have a directory in the store. `pens` is emptied first; false where there is no
// store. Directories that are no pen's are named in the log. Throws.
bool GetKnownPens(std::set<std::string>& pens);

// The page addresses that a pen has a directory for. `pages` is emptied first; false for an invalid
// pen and where the pen has no directory. Throws.
bool GetPageAddresses(const std::string& pen, std::set<std::string>& pages);

// Files `data` as a new stroke file of the pen, under the id's page address and name, or where that
// is taken, be it by a link that leads nowhere, under the name with a number. False, with the
// reason in the log, for an invalid id, empty data, and where the file can't be made; a failed
// write is not reported, and leaves a short or empty stroke file. Throws.
bool ImportStroke(const std::string& pen, const StrokeID& id, const std::vector<char>& data);

// The names of the files in a directory that imports of this process are still writing. They are
// no ink to be routed yet: an application that took one would have taken a part of it. Asked for
// after a listing, it names every listed file that was not whole.
std::set<std::string> GetUnfinishedFiles(const boost::filesystem::path& directory);

// Makes a private copy of a stroke file in the scratch directory. `out` is its path; the caller
// removes it when done. False, with `out` empty and the reason in the log, where that fails; a file
// that is still being written does not exist yet. A large copy takes its time: where `may_go_on` is
// given it is asked before each 64 KiB, and false ends the copy with operation_canceled.
// Throws.
bool ExportStroke(const std::string& pen, const StrokeID& id, boost::filesystem::path& out,
                  const std::function<bool()>& may_go_on = nullptr);

// Finds a name that is not taken: where `path` is, numbers it ("a.stf2", "a-1.stf2", "a-2.stf2").
// Throws.
void MakePathUnique(boost::filesystem::path& path);

// Removes from `directory` every entry that `keep` does not ask to keep, subdirectories with all
// that is in them, and then the directory itself, if it is empty by then. Ink that is filed there
// meanwhile stays. Of a link to a directory only the link is removed: what lies behind it is not
// the store's. True when this call has removed the directory: one that is gone is none to remove,
// and others may remove it at the same time. Throws.
bool RemoveDirectoryWithout(const boost::filesystem::path& directory,
                            const std::function<bool(const boost::filesystem::path&)>& keep);

}  // namespace Storage
}  // namespace TalvoQuillpost
