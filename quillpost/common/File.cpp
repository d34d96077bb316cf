#include "common/File.h"

#include <TalvoOS/NewFile.h>
#include <errno.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/filesystem/operations.hpp>
#include <new>

namespace TalvoQuillpost {
namespace Common {

namespace {

// Linux moves at most this many bytes in one read or write.
constexpr std::size_t kMaxTransfer = 0x7ffff000;

using boost::system::error_code;
using TalvoCppUtils::Descriptor;

error_code LastError() {
  return boost::system::error_code(errno, boost::system::system_category());
}

// Raises std::bad_alloc.
std::unique_ptr<char[], ReleaseBytes> Allocate(std::size_t size_bytes) {
  constexpr std::size_t kLargePageBytes = std::size_t(2) << 20;
  // The bytes are left as they are: filling them takes as long as reading the file.
  if (size_bytes < kLargePageBytes) return {new char[size_bytes], ReleaseBytes()};
  // From the system, in large pages if it has them: to hand over 100 MiB in small ones takes
  // longer than to read the file.
  void* const data =
      ::mmap(nullptr, size_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (data == MAP_FAILED) throw std::bad_alloc();
  ::madvise(data, size_bytes, MADV_HUGEPAGE);
  return {static_cast<char*>(data), ReleaseBytes{size_bytes}};
}

}  // namespace

boost::system::error_code OpenRegularFile(const boost::filesystem::path& file, int flags,
                                          Descriptor& out) {
  const int all_flags = flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  out.Reset(Uninterrupted([&] { return ::open(file.c_str(), all_flags, 0666); }));
  if (!out.is_open()) return LastError();
  struct stat status;
  boost::system::error_code error;
  if (::fstat(out.get(), &status) != 0) {
    error = LastError();
  } else if (!S_ISREG(status.st_mode)) {
    error.assign(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, boost::system::system_category());
  }
  if (error) out.Close();
  return error;
}

boost::system::error_code Close(Descriptor& file) {
  return {file.Close(), boost::system::system_category()};
}

boost::system::error_code WriteAt(int descriptor, std::uint64_t offset, const void* data,
                                  std::size_t size_bytes) {
  const char* position = static_cast<const char*>(data);
  while (size_bytes > 0) {
    const ssize_t written = ::pwrite(descriptor, position, std::min(size_bytes, kMaxTransfer),
                                     static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return LastError();
    position += written;
    offset += static_cast<std::uint64_t>(written);
    size_bytes -= static_cast<std::size_t>(written);
  }
  return {};
}

boost::system::error_code ReadAt(int descriptor, std::uint64_t offset, std::size_t size_bytes,
                                 std::string& bytes) {
  bytes.resize(size_bytes);
  for (std::size_t done = 0; done < size_bytes;) {
    const ssize_t got =
        ::pread(descriptor, bytes.data() + done, std::min(size_bytes - done, kMaxTransfer),
                static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return LastError();
    if (got == 0) return make_error_code(boost::system::errc::io_error);
    done += static_cast<std::size_t>(got);
  }
  return {};
}

boost::system::error_code Truncate(int descriptor, std::uint64_t size_bytes) {
  const auto length = static_cast<off_t>(size_bytes);
  return Uninterrupted([&] { return ::ftruncate(descriptor, length); }) == 0 ? error_code()
                                                                             : LastError();
}

boost::system::error_code Sync(int descriptor) {
  return Uninterrupted([&] { return ::fdatasync(descriptor); }) == 0 ? error_code() : LastError();
}

boost::system::error_code SyncFileSystem(int descriptor) {
  return Uninterrupted([&] { return ::syncfs(descriptor); }) == 0 ? error_code() : LastError();
}

boost::system::error_code SyncDirectory(const boost::filesystem::path& directory) {
  constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
  const Descriptor descriptor(Uninterrupted([&] { return ::open(directory.c_str(), kFlags); }));
  if (!descriptor.is_open()) return LastError();
  if (Uninterrupted([&] { return ::fsync(descriptor.get()); }) != 0) {
    return errno == EINVAL || errno == ENOTSUP ? error_code() : LastError();
  }
  // XFS gives up what it had not written when it shuts down after an error of its disk, and then
  // has nothing to sync for a directory: fsync succeeds, and only other calls tell.
  struct stat status;
  return ::fstat(descriptor.get(), &status) == 0 ? error_code() : LastError();
}

// Without asking first, as the library does, what it is that is to be removed.
void RemoveFile(const boost::filesystem::path& file) {
  if (::unlink(file.c_str()) == 0 || errno == ENOENT) return;
  boost::filesystem::remove(file);
}

void ReleaseBytes::operator()(char* data) const {
  if (mapped_bytes == 0) {
    delete[] data;
  } else {
    ::munmap(data, mapped_bytes);
  }
}

boost::system::error_code ReadRegularFile(const boost::filesystem::path& file,
                                          std::uint64_t limit_bytes, FileBytes& out) {
  out = FileBytes();
  Descriptor descriptor;
  if (const auto error = OpenRegularFile(file, O_RDONLY, descriptor)) return error;
  struct stat status;
  if (::fstat(descriptor.get(), &status) != 0) return LastError();
  const auto size_bytes = static_cast<std::size_t>(status.st_size);
  if (size_bytes > limit_bytes) {
    out.size_bytes = size_bytes;
    return {};
  }
  if (size_bytes == 0) return {};
  out.data = Allocate(size_bytes);
  while (out.size_bytes < size_bytes) {
    const ssize_t got = ::read(descriptor.get(), out.data.get() + out.size_bytes,
                               std::min(size_bytes - out.size_bytes, kMaxTransfer));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) {
      const auto error = LastError();
      out = FileBytes();
      return error;
    }
    if (got == 0) break;  // the file was cut short
    out.size_bytes += static_cast<std::size_t>(got);
  }
  return {};
}

bool IsOnThisMachine(const struct statfs& system) {
  switch (static_cast<std::uint32_t>(system.f_type)) {
    case BTRFS_SUPER_MAGIC:
    case EXT4_SUPER_MAGIC:
    case F2FS_SUPER_MAGIC:
    case TMPFS_MAGIC:
    case XFS_SUPER_MAGIC:
      return true;
    default:
      return false;
  }
}

boost::system::error_code CopyFile(int source, int target, const std::function<bool()>& may_go_on) {
  std::array<char, 64 * 1024> buffer;
  for (;;) {
    if (may_go_on && !may_go_on()) return make_error_code(boost::system::errc::operation_canceled);
    const ssize_t got = ::read(source, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return LastError();
    if (got == 0) return {};
    if (const auto error =
            TalvoOS::WriteAll(target, buffer.data(), static_cast<std::size_t>(got))) {
      return error;
    }
  }
}

}  // namespace Common
}  // namespace TalvoQuillpost
