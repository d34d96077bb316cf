#include "common/Common.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <TalvoOS/Root.h>

#include <algorithm>
#include <array>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <locale>
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

constexpr int kPrepareAttempts = 8;

constexpr char kScratchFilePrefix[] = "stf2.";

bool IsIdentifier(const std::string& text, std::string_view characters) {
  return !text.empty() && text.front() != '.' &&
         text.find_first_not_of(characters) == std::string::npos;
}

// Field 0 to field 4; a four-field address leaves field 0 at 0. In a range, -1 is the wildcard.
typedef std::array<std::int32_t, 5> NumericAddress;

NumericAddress ToNumericAddress(const std::string& page) {
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
  NumericAddress fields = {};
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

bool ListEntries(const fs::path& directory, fs::file_type wanted, bool hidden,
                 std::set<fs::path>& out) {
  out.clear();
  boost::system::error_code error;
  if (fs::status(directory, error).type() != fs::directory_file) return false;
  fs::directory_iterator entries(directory, error);
  if (error == boost::system::errc::no_such_file_or_directory) return false;  // gone meanwhile
  if (error) throw fs::filesystem_error("can't list directory", directory, error);
  for (const fs::directory_entry& entry : entries) {
    if (!hidden && entry.path().filename().native().front() == '.') continue;
    if (fs::status(entry.path(), error).type() == wanted) out.insert(entry.path());
  }
  return true;
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
  // The word is no numeric address, and no range of numbers holds it.
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
    fs::create_directories(directory, error);
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
  out.clear();
  fs::path scratch;
  if (!GetScratchDirectory(scratch) || !PrepareDirectory(scratch)) return false;
  std::string name = (scratch / kScratchFilePrefix).native() + "XXXXXX";
  const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
  // Descriptor 0 belongs to standard input: a process that got it here has lost its own.
  if (descriptor > 0) {
    ::close(descriptor);
    out = name;
  } else if (descriptor == 0) {
    ::close(descriptor);
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

}  // namespace Common
}  // namespace TalvoQuillpost
