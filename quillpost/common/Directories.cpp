#include "common/Directories.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <string_view>

#include "common/Log.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Common {

namespace {

constexpr int kPrepareAttempts = 100;

bool IsAbsent(const fs::file_status& status) {
  return status.type() == fs::file_not_found || status.type() == fs::status_error;
}

[[noreturn]] void ThrowListingError(const char* operation, const fs::path& directory) {
  const boost::system::error_code error(errno, boost::system::system_category());
  throw fs::filesystem_error(operation, directory, error);
}

// The type of an entry, links followed. Reading a directory mostly tells it; to ask for it takes
// much longer.
fs::file_type TypeOf(int directory, const dirent& entry) {
  if (entry.d_type == DT_REG) return fs::regular_file;
  if (entry.d_type == DT_DIR) return fs::directory_file;
  struct stat status;
  const bool must_ask = entry.d_type == DT_LNK || entry.d_type == DT_UNKNOWN;
  if (!must_ask || ::fstatat(directory, entry.d_name, &status, 0) != 0) return fs::type_unknown;
  if (S_ISREG(status.st_mode)) return fs::regular_file;
  return S_ISDIR(status.st_mode) ? fs::directory_file : fs::type_unknown;
}

// Calls `visit` with the name of every entry that is of the wanted type, until it returns false.
// `has_asked` tells whether something beside the directory had a say.
template <typename Visit>
bool VisitEntries(const fs::path& directory, fs::file_type wanted, bool hidden, const Visit& visit,
                  bool* has_asked = nullptr) {
  boost::system::error_code error;
  if (fs::status(directory, error).type() != fs::directory_file) return false;
  DIR* opened = ::opendir(directory.c_str());
  while (opened == nullptr && errno == EINTR) opened = ::opendir(directory.c_str());
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opened, ::closedir);
  if (!stream && errno == ENOENT) return false;  // it was removed since
  if (!stream) ThrowListingError("can't list directory", directory);
  // Without the right to search the directory no entry can be asked for its type, and none counts.
  struct stat status;
  const int descriptor = ::dirfd(stream.get());
  const bool searchable = ::fstatat(descriptor, ".", &status, 0) == 0;
  if (!searchable && has_asked != nullptr) *has_asked = true;
  for (;;) {
    errno = 0;
    const dirent* const entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (!searchable || name == "." || name == ".." || (!hidden && name.front() == '.')) continue;
    const bool is_told = entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN;
    if (!is_told && has_asked != nullptr) *has_asked = true;
    if (TypeOf(descriptor, *entry) == wanted && !visit(entry->d_name)) return true;
  }
  if (errno != 0) ThrowListingError("can't go on listing directory", directory);
  return true;
}

bool ListEntries(const fs::path& directory, fs::file_type wanted, bool hidden,
                 std::set<fs::path>& out) {
  out.clear();
  return VisitEntries(directory, wanted, hidden,
                      [&](const char* name) { return out.insert(directory / name), true; });
}

bool ListNames(const fs::path& directory, fs::file_type wanted, bool hidden,
               std::vector<std::string>& out) {
  out.clear();
  const bool listed = VisitEntries(directory, wanted, hidden, [&](const char* name) {
    out.emplace_back(name);
    return true;
  });
  std::sort(out.begin(), out.end());
  return listed;
}

}  // namespace

bool PrepareDirectory(const fs::path& directory) {
  boost::system::error_code error;
  fs::file_status status = fs::status(directory, error);
  // The directory, or a parent, may be tidied away again by others: then it is made once more.
  for (int attempt = 1; IsAbsent(status) && attempt <= kPrepareAttempts; ++attempt) {
    error.clear();
    // Mostly only the last one is missing; to look for the others takes longer than to make it.
    fs::create_directory(directory, error);
    if (error == boost::system::errc::no_such_file_or_directory) {
      fs::create_directories(directory, error);
    }
    const bool may_pass = error == boost::system::errc::no_such_file_or_directory ||
                          error == boost::system::errc::file_exists;
    if (error && (!may_pass || attempt == kPrepareAttempts)) {
      QUILLPOST_LOG_ERROR("Failed to create directory '%s': %s (%d)", directory.c_str(),
                          error.message().c_str(), error.value());
      return false;
    }
    status = fs::status(directory, error);
  }
  if (status.type() == fs::directory_file) return true;
  QUILLPOST_LOG_ERROR("'%s' not a directory (as it should): %s (%d)", directory.c_str(),
                      error.message().c_str(), error.value());
  return false;
}

bool ListFiles(const fs::path& directory, std::set<fs::path>& out) {
  return ListEntries(directory, fs::regular_file, false, out);
}

bool ListDirectories(const fs::path& directory, std::set<fs::path>& out) {
  return ListEntries(directory, fs::directory_file, true, out);
}

bool ListFileNames(const fs::path& directory, std::vector<std::string>& out) {
  return ListNames(directory, fs::regular_file, false, out);
}

bool ListDirectoryNames(const fs::path& directory, std::vector<std::string>& out) {
  return ListNames(directory, fs::directory_file, true, out);
}

bool HasFiles(const fs::path& directory, bool& out) {
  out = false;
  return VisitEntries(directory, fs::regular_file, false, [&](const char*) {
    out = true;
    return false;
  });
}

bool VisitFileNames(const fs::path& directory, const std::function<void(const char*)>& visit) {
  bool has_asked = false;
  const bool is_listed = VisitEntries(
      directory, fs::regular_file, false, [&](const char* name) { return visit(name), true; },
      &has_asked);
  return is_listed && !has_asked;
}

}  // namespace Common
}  // namespace TalvoQuillpost
