// Directories of the store, made and synced so that the names in them survive a power cut.
//
// A file's name survives a power cut once its directory was synced, and a directory's own name once
// its parent was. Which directories were synced is remembered for the life of the process, so that
// an import into an old page syncs one directory.
// Any thread.

#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>

namespace TalvoQuillpost {
namespace Storage {

// Makes the directory and its missing parents. True if it is a directory on return; else the reason
// is in the log.
bool MakeStoreDirectory(const boost::filesystem::path& directory);

// Returns when a removal of the directory by another thread, if there is one, has ended; the
// directory is there then. Until it ends, some file systems (ext4) find the directory and refuse
// files in it with EPERM.
void WaitForRemoval(const boost::filesystem::path& directory);

// Syncs the names in the directory, and those that lead to it from the user's home directory,
// unless this process has synced them before. Blocks for as long as the disk takes.
boost::system::error_code SyncNames(const boost::filesystem::path& directory);

// Call it when a file was named in a page directory. The page is then listed again, even if the
// directory's times look unchanged: a file server's clock may differ from ours.
void NoteNewInk(const boost::filesystem::path& directory);

// Whether NoteNewInk was called for the directory since the last call. To be asked before the
// directory is listed.
bool TakeNewInk(const boost::filesystem::path& directory);

// To be called when the whole file system was synced since the last name was given in the
// directory.
void NoteSynced(const boost::filesystem::path& directory);

}  // namespace Storage
}  // namespace TalvoQuillpost
