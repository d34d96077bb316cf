// Reading and writing whole regular files, with every error told. A FIFO, a device or a directory
// in a file's place is refused and never waited for.

#pragma once

#include <TalvoCppUtils/Descriptor.h>
#include <errno.h>
#include <sys/vfs.h>

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace TalvoQuillpost {
namespace Common {

// Makes a system call again as long as a signal interrupts it. For calls that answer -1 if they
// fail.
template <typename Call>
auto Uninterrupted(const Call& call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

// Opens the regular file `file` with open(2)'s `flags` and, if it is made, mode 0666 less the
// umask. Never blocks. Sets an error if the file can't be opened or is not regular.
boost::system::error_code OpenRegularFile(const boost::filesystem::path& file, int flags,
                                          TalvoCppUtils::Descriptor& out);

// Closes the file now; the error that closing reports, for a file that was written.
boost::system::error_code Close(TalvoCppUtils::Descriptor& file);

// Writes all bytes at `offset`, whatever the descriptor's position.
boost::system::error_code WriteAt(int descriptor, std::uint64_t offset, const void* data,
                                  std::size_t size_bytes);

// Reads exactly `size_bytes` bytes at `offset` into `bytes`. A file that ends before is an error.
boost::system::error_code ReadAt(int descriptor, std::uint64_t offset, std::size_t size_bytes,
                                 std::string& bytes);

// Sets the length of the file.
boost::system::error_code Truncate(int descriptor, std::uint64_t size_bytes);

// Returns when the bytes of the file, and the length that is needed to read them, would survive a
// power cut. Blocks for as long as the disk takes.
boost::system::error_code Sync(int descriptor);

// The same for everything on the file system that the file lies on. Costs little more than one
// file, unless others have left much to be written.
boost::system::error_code SyncFileSystem(int descriptor);

// The same for the entries of a directory: names that were given or taken in it. No error if the
// file system can't sync directories: nothing more can be done there.
boost::system::error_code SyncDirectory(const boost::filesystem::path& directory);

// Removes a file. One that is already gone is not an error; throws
// boost::filesystem::filesystem_error for every other reason.
void RemoveFile(const boost::filesystem::path& file);

struct ReleaseBytes {
  std::size_t mapped_bytes = 0;  // 0: from the heap
  void operator()(char* data) const;
};

// A private copy of a file's bytes.
struct FileBytes {
  std::unique_ptr<char[], ReleaseBytes> data;  // null if there are none
  std::size_t size_bytes = 0;
};

// Copies a regular file into memory. A copy and not a mapping: a file that is cut short while it is
// mapped ends the process with SIGBUS, and signal handlers are the host's. A file that shrinks or
// grows during the read gives the bytes that were there, at most as many as at its opening. A file
// of more than `limit_bytes` is not read: `out` then has its size and no data.
boost::system::error_code ReadRegularFile(const boost::filesystem::path& file,
                                          std::uint64_t limit_bytes, FileBytes& out);

// Whether a file system, as statfs tells of it, is known to keep its files itself, on a disk of
// this machine or in its memory: no share of another machine, none on top of another file system.
bool IsOnThisMachine(const struct statfs& system);

// Writes the bytes of one open file from its position on at the position of the other. The two may
// lie on different file systems. If `may_go_on` is given, it is asked before each 64 KiB, and false
// ends the copy with operation_canceled.
boost::system::error_code CopyFile(int source, int target,
                                   const std::function<bool()>& may_go_on = nullptr);

}  // namespace Common
}  // namespace TalvoQuillpost
