// The stroke files of the store and the directories that they lie in:
//
//   ROOT/<pen serial>/<page address>/<name>.<extension>
//
// Every query lists the disk again; nothing is cached, and all functions may be called from any
// thread. NewStrokes.h makes the files; each is whole from the moment it has its name. What is
// known about the strokes beside their bytes is the routing info (FilesStorage.h). Functions marked
// "throws" let boost::filesystem::filesystem_error out if the file system fails in a way that they
// have no answer for.

#pragma once

#include <boost/filesystem/path.hpp>
#include <functional>
#include <set>
#include <string>

#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

class StrokeCopy;

// ROOT: "Library/Application Support/Talvo/Quillpost/Storage" in the user's home directory; empty
// if the user has no home. Neither checks nor makes the directory.
boost::filesystem::path GetStorageRoot();

// The pens that have a directory in the store. `pens` is emptied first; false if there is no
// store. Directories that are no pen's are named in the log. Throws.
bool GetKnownPens(std::set<std::string>& pens);

// The page addresses that a pen has a directory for. `pages` is emptied first; false for an invalid
// pen or if the pen has no directory. Throws.
bool GetPageAddresses(const std::string& pen, std::set<std::string>& pages);

// Makes a private copy of a stroke file in the scratch directory. `out` is its path; the caller
// removes it when done. False, with `out` empty and the reason in the log, if that fails. A large
// copy takes its time: if `may_go_on` is given it is asked before each 64 KiB, and false cancels
// the copy, which is not an error. If `ready` is given and is a copy of the stroke as it is now,
// that one is taken. Throws.
bool ExportStroke(const std::string& pen, const StrokeID& id, boost::filesystem::path& out,
                  const std::function<bool()>& may_go_on = nullptr, StrokeCopy* ready = nullptr);

// The path with a number in front of its extension: 2 makes "a.stf2" to "a-2.stf2", 0 leaves it.
boost::filesystem::path NumberedPath(const boost::filesystem::path& path, unsigned int number);

// Gives `path` the first number, from 1, that makes a name nothing has. Another program may take
// that name before the caller does: it is for paths that are shown or reserved, and new ink is
// named another way (NewStrokes.h). Throws.
void MakePathUnique(boost::filesystem::path& path);

// Removes from `directory` every entry that `keep` does not ask to keep, subdirectories with all
// that is in them, and then the directory itself, if it is empty by then. Ink that is filed there
// since then stays. Of a link to a directory only the link is removed: what lies behind it is not
// the store's. True when this call has removed the directory: one that is already gone does not
// count, and others may remove it at the same time. Throws.
bool RemoveDirectoryWithout(const boost::filesystem::path& directory,
                            const std::function<bool(const boost::filesystem::path&)>& keep);

}  // namespace Storage
}  // namespace TalvoQuillpost
