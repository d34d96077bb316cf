#include "NewFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>

#include "common/File.h"

namespace fs = boost::filesystem;
using TalvoQuillpost::Common::Descriptor;

namespace {

boost::system::error_code LastError() {
  return {errno, boost::system::system_category()};
}

}  // namespace

boost::system::error_code WriteTemporary(const fs::path& directory, const void* data,
                                         std::size_t size_bytes, std::string& temporary) {
  temporary = (directory / ".quillpost.XXXXXX").string();
  Descriptor file(::mkostemp(&temporary[0], O_CLOEXEC));
  if (!file.is_open()) return LastError();
  auto error = TalvoQuillpost::Common::WriteAll(file.get(), data, size_bytes);
  if (!error && ::fsync(file.get()) != 0) error = LastError();
  if (!error) error = file.Close();
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
  if (synced.is_open() && ::fsync(synced.get()) != 0 && errno != EINVAL) return LastError();
  return {};
}

// Not every file system can rename without replacing. There the name is taken with an empty file
// first: who looks in that moment sees it, and nobody's file is lost.
boost::system::error_code RenameWithoutReplacing(const std::string& from, const std::string& to) {
  if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return {};
  if (errno != EINVAL && errno != ENOSYS) return LastError();
  const Descriptor taken(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!taken.is_open() || ::rename(from.c_str(), to.c_str()) != 0) return LastError();
  return {};
}
