#include "SavedPackage.h"

#include <TalvoOS/NewFile.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cstdint>

#include "common/File.h"

namespace fs = boost::filesystem;
using TalvoCppUtils::Descriptor;
using TalvoQuillpost::Common::FileBytes;

namespace {

// The first name of its kind that is free: NAME.stf2, NAME-1.stf2 and so on.
boost::system::error_code GiveFreeName(const FileBytes& bytes, const fs::path& directory,
                                       const std::string& name, fs::path& saved) {
  for (unsigned number = 0;; ++number) {
    const std::string suffix = number == 0 ? "" : "-" + std::to_string(number);
    saved = directory / (name + suffix + ".stf2");
    if (::access(saved.c_str(), F_OK) == 0) continue;
    std::string temporary;
    auto error = TalvoOS::WriteTemporary(directory, bytes.data.get(), bytes.size_bytes, temporary);
    if (!error) error = TalvoOS::GiveName(temporary, saved);
    if (error != boost::system::errc::file_exists) return error;
  }
}

}  // namespace

bool SavePackage(const fs::path& package, const fs::path& directory, const std::string& name,
                 fs::path& saved, std::string& reason) {
  FileBytes bytes;
  auto error = TalvoQuillpost::Common::ReadRegularFile(package, UINT64_MAX, bytes);
  if (error) {
    reason = "can't read the package '" + package.string() + "': " + error.message();
    return false;
  }
  fs::create_directories(directory, error);
  if (!error) error = GiveFreeName(bytes, directory, name, saved);
  if (error) reason = "can't save into '" + directory.string() + "': " + error.message();
  return !error;
}

void WaitUntilGone(const std::set<fs::path>& files, std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (const fs::path& file : files) {
    const Descriptor events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    // The loss of its name is a change of the file's attributes. A user may have only so many
    // watchers at a time: without one the file is looked for again and again.
    const bool is_watched =
        ::inotify_add_watch(events.get(), file.c_str(), IN_ATTRIB | IN_DELETE_SELF) >= 0;
    while (::access(file.c_str(), F_OK) == 0) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      constexpr int kInterval = 10;
      pollfd readable = {is_watched ? events.get() : -1, POLLIN, 0};
      ::poll(&readable, 1, is_watched ? static_cast<int>(left.count()) : kInterval);
      char buffer[4096];
      while (::read(events.get(), buffer, sizeof buffer) > 0) {
      }
    }
  }
}
