#include "SavedPackage.h"

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdint>
#include <vector>

#include "common/File.h"

namespace fs = boost::filesystem;
using TalvoQuillpost::Common::Descriptor;
using TalvoQuillpost::Common::FileBytes;

namespace {

boost::system::error_code LastError() {
  return {errno, boost::system::system_category()};
}

// Writes a new file that has no name in the way of others yet.
boost::system::error_code WriteTemporary(const FileBytes& bytes, const fs::path& directory,
                                         std::string& temporary) {
  temporary = (directory / ".quillpost.XXXXXX").string();
  Descriptor file(::mkostemp(&temporary[0], O_CLOEXEC));
  if (!file.is_open()) return LastError();
  auto error = TalvoQuillpost::Common::WriteAll(file.get(), bytes.data.get(), bytes.size_bytes);
  if (!error && ::fsync(file.get()) != 0) error = LastError();
  if (!error) error = file.Close();
  if (error) ::unlink(temporary.c_str());
  return error;
}

// Gives the file the first name that is free.
boost::system::error_code LinkUnderFreeName(const std::string& temporary, const fs::path& directory,
                                            const std::string& name, fs::path& saved) {
  for (unsigned number = 0;; ++number) {
    const std::string suffix = number == 0 ? "" : "-" + std::to_string(number);
    saved = directory / (name + suffix + ".stf2");
    if (::link(temporary.c_str(), saved.c_str()) == 0) return {};
    if (errno != EEXIST) return LastError();
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
  std::string temporary;
  if (!error) error = WriteTemporary(bytes, directory, temporary);
  if (!error) {
    error = LinkUnderFreeName(temporary, directory, name, saved);
    ::unlink(temporary.c_str());
  }
  if (error) reason = "can't save into '" + directory.string() + "': " + error.message();
  return !error;
}

void WaitUntilGone(const std::set<fs::path>& files, std::chrono::milliseconds patience) {
  const auto end = std::chrono::steady_clock::now() + patience;
  for (const fs::path& file : files) {
    const Descriptor events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    // The loss of its name is a change of the file's attributes.
    if (::inotify_add_watch(events.get(), file.c_str(), IN_ATTRIB | IN_DELETE_SELF) < 0) continue;
    while (::access(file.c_str(), F_OK) == 0) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      pollfd readable = {events.get(), POLLIN, 0};
      if (left.count() <= 0 || ::poll(&readable, 1, static_cast<int>(left.count())) <= 0) break;
      char buffer[4096];
      while (::read(events.get(), buffer, sizeof buffer) > 0) {
      }
    }
  }
}
