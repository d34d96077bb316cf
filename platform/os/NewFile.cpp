#include "TalvoOS/NewFile.h"

#include <TalvoCppUtils/Descriptor.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

namespace fs = boost::filesystem;
using TalvoCppUtils::Descriptor;

namespace TalvoOS {
namespace {

boost::system::error_code ErrorOf(int error_number) {
  return {error_number, boost::system::system_category()};
}

boost::system::error_code LastError() {
  return ErrorOf(errno);
}

}  // namespace

boost::system::error_code WriteAll(int descriptor, const void* data, std::size_t size_bytes) {
  const char* position = static_cast<const char*>(data);
  while (size_bytes > 0) {
    const ssize_t written = ::write(descriptor, position, size_bytes);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return LastError();
    position += written;
    size_bytes -= static_cast<std::size_t>(written);
  }
  return {};
}

boost::system::error_code WriteTemporary(const fs::path& directory, const void* data,
                                         std::size_t size_bytes, std::string& temporary) {
  temporary = (directory / ".new.XXXXXX").string();
  Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (!file) return LastError();
  auto error = WriteAll(file.get(), data, size_bytes);
  if (!error && ::fsync(file.get()) != 0) error = LastError();
  if (!error) error = ErrorOf(file.Close());
  if (error) ::unlink(temporary.c_str());
  return error;
}

boost::system::error_code GiveName(const std::string& temporary, const fs::path& file,
                                   bool replace) {
  boost::system::error_code error;
  if (!replace) {
    error = RenameWithoutReplacing(temporary, file.string());
  } else if (::rename(temporary.c_str(), file.c_str()) != 0) {
    error = LastError();
  }
  if (error) {
    ::unlink(temporary.c_str());
    return error;
  }
  const std::string directory = file.has_parent_path() ? file.parent_path().string() : ".";
  const Descriptor synced(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // If the directory can't be read, or its file system syncs no directories, the system has to do.
  if (synced && ::fsync(synced.get()) != 0 && errno != EINVAL) return LastError();
  return {};
}

// Not every file system can rename without replacing. There the name is taken with an empty file
// first: another program may see that file for a moment, but no file of its own is lost.
boost::system::error_code RenameWithoutReplacing(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  if (errno != EINVAL && errno != ENOSYS) return LastError();
  const Descriptor taken(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!taken || ::rename(from.c_str(), to.c_str()) != 0) return LastError();
  return {};
}

}  // namespace TalvoOS
