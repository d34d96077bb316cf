#include "common/ScratchFile.h"

#include <TalvoOS/Root.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/random.h>
#include <unistd.h>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <string>
#include <vector>

#include "common/Directories.h"
#include "common/Log.h"
#include "common/UnnamedFile.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Common {

namespace {

constexpr char kScratchFilePrefix[] = "stf2.";

bool GetScratchDirectory(fs::path& out) {
  fs::path home;
  if (!TalvoOS::GetHomeDirectory(home)) return false;
  out = home / "Library/Application Support/Talvo/Quillpost/Temp";
  return true;
}

// Six letters and digits, as mkstemp takes them. All the same, if there is nothing random yet.
std::string RandomSuffix() {
  static constexpr char kCharacters[] =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
  unsigned char numbers[6] = {};
  static_cast<void>(::getrandom(numbers, sizeof numbers, GRND_NONBLOCK));
  std::string suffix;
  for (const unsigned char number : numbers) {
    suffix += kCharacters[number % (sizeof kCharacters - 1)];
  }
  return suffix;
}

}  // namespace

bool SetPermissions(const fs::path&) {
  return true;
}

bool CreateTempSTF2File(fs::path& out) {
  TalvoCppUtils::Descriptor file;
  return CreateTempSTF2File(out, file);
}

bool CreateTempSTF2File(fs::path& out, TalvoCppUtils::Descriptor& file) {
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

bool OpenUnnamedScratchFile(TalvoCppUtils::Descriptor& file) {
  fs::path scratch;
  return GetScratchDirectory(scratch) && !OpenUnnamed(scratch, 0600, file);
}

bool NameScratchFile(int file, fs::path& out) {
  out.clear();
  fs::path scratch;
  if (!GetScratchDirectory(scratch)) return false;
  const fs::path name = scratch / (kScratchFilePrefix + RandomSuffix());
  if (GiveNameToUnnamed(file, name)) return false;
  out = name;
  return true;
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

}  // namespace Common
}  // namespace TalvoQuillpost
