#include "common/Common.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <TalvoOS/Root.h>

#include <algorithm>
#include <array>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <locale>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

#include "common/Log.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Common {

namespace {

constexpr std::string_view kPenSerialCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-";
constexpr std::string_view kAppIDCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz ._:-";

constexpr int kPrepareAttempts = 100;

constexpr char kScratchFilePrefix[] = "stf2.";

bool IsIdentifier(const std::string& text, std::string_view characters) {
  return !text.empty() && text.front() != '.' &&
         text.find_first_not_of(characters) == std::string::npos;
}

// Field 0 to field 4; a four-field address leaves field 0 at 0. In a range, -1 is the wildcard.
typedef std::array<std::int32_t, 5> NumericAddress;

// Reads the fields of an address whose fields are "*" or numbers of few digits, where the rules of
// ToNumericAddress have nothing special to say. False for any other.
bool ReadPlainFields(const std::string& page, NumericAddress& fields) {
  constexpr std::size_t kMaxDigits = 9;  // never out of range
  std::array<std::string_view, 5> texts;
  std::size_t count = 0;
  for (std::string_view rest = page;; ++count) {
    const std::size_t dot = rest.find('.');
    if (count == texts.size()) return false;
    texts[count] = rest.substr(0, dot);
    if (dot == std::string_view::npos) break;
    rest.remove_prefix(dot + 1);
  }
  const std::size_t skipped = texts.size() - 1 - count;
  for (std::size_t i = 0; i <= count; ++i) {
    std::int32_t& field = fields[skipped + i];
    field = texts[i] == "*" ? -1 : 0;
    if (field == -1) continue;
    if (texts[i].size() > kMaxDigits || texts[i].find('*') != std::string_view::npos) return false;
    for (const char digit : texts[i]) field = field * 10 + (digit - '0');
  }
  return true;
}

NumericAddress ToNumericAddress(const std::string& page) {
  NumericAddress fields = {};
  if (ReadPlainFields(page, fields)) return fields;
  std::string numbers;
  std::size_t dots = 0;
  for (const char character : page) {
    if (character == '.') {
      ++dots;
      numbers += ' ';
    } else if (character == '*') {
      numbers += "-1";
    } else {
      numbers += character;
    }
  }
  // A stream, since its rules are the ones that count: where "1-1" ends a number, and what a field
  // beyond the range becomes. The host's locale has no say in them.
  std::istringstream stream(numbers);
  stream.imbue(std::locale::classic());
  fields = {};
  for (std::size_t field = dots == 4 ? 0 : 1; field < fields.size(); ++field) {
    stream >> fields[field];
  }
  return fields;
}

bool IsAbsent(const fs::file_status& status) {
  return status.type() == fs::file_not_found || status.type() == fs::status_error;
}

bool GetScratchDirectory(fs::path& out) {
  fs::path home;
  if (!TalvoOS::GetHomeDirectory(home)) return false;
  out = home / "Library/Application Support/Talvo/Quillpost/Temp";
  return true;
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

bool IsAppIDValid(const std::string& id) {
  return IsIdentifier(id, kAppIDCharacters);
}

bool IsPenSerialValid(const std::string& pen) {
  return IsIdentifier(pen, kPenSerialCharacters);
}

bool IsPageAddressValid(const std::string& page) {
  if (page == kEncryptedPageAddress) return true;
  if (page.empty() || page.find_first_not_of("0123456789.*") != std::string::npos) return false;
  if (page.front() == '.' || page.back() == '.') return false;
  const auto dots = std::count(page.begin(), page.end(), '.');
  return (dots == 3 || dots == 4) && page.find("..") == std::string::npos;
}

bool IsPageAddressInRange(const std::string& address, const std::string& range) {
  if (!IsPageAddressValid(address) || !IsPageAddressValid(range)) return false;
  if (address == range) return true;
  // The word is not a numeric address, and no range of numbers contains it.
  if (address == kEncryptedPageAddress || range == kEncryptedPageAddress) return false;
  if (address.find('*') != std::string::npos) return false;
  const NumericAddress page = ToNumericAddress(address);
  const NumericAddress pattern = ToNumericAddress(range);
  return std::equal(
      page.begin(), page.end(), pattern.begin(),
      [](std::int32_t field, std::int32_t wanted) { return wanted == -1 || field == wanted; });
}

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

bool SetPermissions(const fs::path&) {
  return true;
}

bool CreateTempSTF2File(fs::path& out) {
  Descriptor file;
  return CreateTempSTF2File(out, file);
}

bool CreateTempSTF2File(fs::path& out, Descriptor& file) {
  out.clear();
  fs::path scratch;
  if (!GetScratchDirectory(scratch)) return false;
  const std::string pattern = (scratch / kScratchFilePrefix).native() + "XXXXXX";
  std::string name = pattern;
  file.Reset(::mkostemp(name.data(), O_CLOEXEC));
  if (!file.is_open()) {  // mostly because this is the first one, and the directory is missing
    if (!PrepareDirectory(scratch)) return false;
    name = pattern;
    file.Reset(::mkostemp(name.data(), O_CLOEXEC));
  }
  // Descriptor 0 belongs to standard input: a process that got it here has lost its own.
  if (file.get() > 0) {
    out = name;
  } else if (file.get() == 0) {
    file.Close();
    ::unlink(name.c_str());
  }
  return !out.empty();
}

void RemoveLeftoverTempSTF2Files() {
  fs::path scratch;
  if (!GetScratchDirectory(scratch)) return;
  boost::system::error_code error;
  std::vector<fs::path> leftovers;
  for (fs::directory_iterator entry(scratch, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().native();
    if (name.compare(0, sizeof kScratchFilePrefix - 1, kScratchFilePrefix) == 0) {
      leftovers.push_back(entry->path());
    }
  }
  std::size_t removed = 0;
  for (const fs::path& leftover : leftovers) {
    if (fs::symlink_status(leftover, error).type() != fs::directory_file &&
        fs::remove(leftover, error)) {
      ++removed;
    }
  }
  if (removed > 0) {
    QUILLPOST_LOG_INFORMATION("Removed %lu leftover package files.",
                              static_cast<unsigned long>(removed));
  }
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
