#include "common/UnnamedFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <string>

#include "common/File.h"

namespace TalvoQuillpost {
namespace Common {

namespace {

using boost::system::error_code;

error_code LastError() {
  return error_code(errno, boost::system::system_category());
}

// A file without a name gets one through its entry in /proc.
bool CanNameFiles() {
  static const bool can = ::access("/proc/self/fd", X_OK) == 0;
  return can;
}

}  // namespace

error_code OpenUnnamed(const boost::filesystem::path& directory, unsigned int mode,
                       TalvoCppUtils::Descriptor& file) {
  if (!CanNameFiles()) return make_error_code(boost::system::errc::not_supported);
  constexpr int kFlags = O_TMPFILE | O_RDWR | O_CLOEXEC;
  file.Reset(Uninterrupted([&] { return ::open(directory.c_str(), kFlags, mode); }));
  return file.is_open() ? error_code() : LastError();
}

bool MeansUnsupported(const error_code& error) {
  return error == boost::system::errc::operation_not_supported ||
         error == boost::system::errc::not_supported ||
         error == boost::system::errc::is_a_directory ||
         error == boost::system::errc::invalid_argument;
}

error_code GiveNameToUnnamed(int file, const boost::filesystem::path& name) {
  const std::string self = "/proc/self/fd/" + std::to_string(file);
  const int result = ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW);
  return result == 0 ? error_code() : LastError();
}

}  // namespace Common
}  // namespace TalvoQuillpost
