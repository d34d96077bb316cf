#include "faults/DiskImage.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "support/LogCapture.h"
#include "support/Process.h"

namespace {

// Enough for the smallest file system of either type. Only what is written takes room.
constexpr off_t kImageBytes = 320 * 1024 * 1024;

// Both file systems know the call by this number, and by this flag let their log go down with them.
constexpr unsigned long kShutdown = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t kWithoutFlushingTheLog = 2;

constexpr int kAttempts = 100;  // at a free device, which others look for at the same time

// A file system that makes its tables while it is mounted would go on writing behind the tests.
std::string MakingOf(const std::string& type) {
  if (type == "xfs") return "mkfs.xfs -q -f";
  return "mkfs.ext4 -q -F -E lazy_itable_init=0,lazy_journal_init=0";
}

int OpenDirectory(const std::string& path) {
  return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

}  // namespace

DiskImage::DiskImage(const std::string& type, const boost::filesystem::path& at)
    : type_(type), at_(at.string()) {
  if (::unshare(CLONE_NEWNS) != 0 ||
      ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    Fail("this user can't mount");
    return;
  }
  if (MakeImage() && AttachDevice()) Mount();
}

DiskImage::~DiskImage() {
  ::umount2(at_.c_str(), MNT_DETACH);
  if (device_fd_ >= 0) ::close(device_fd_);
  if (image_fd_ >= 0) ::close(image_fd_);
}

bool DiskImage::Sync() {
  const int fd = OpenDirectory(at_);
  const bool is_synced = fd >= 0 && ::syncfs(fd) == 0;
  if (fd >= 0) ::close(fd);
  return is_synced;
}

bool DiskImage::CutPower() {
  const int fd = OpenDirectory(at_);
  std::uint32_t flags = kWithoutFlushingTheLog;
  const bool is_cut = fd >= 0 && ::ioctl(fd, kShutdown, &flags) == 0;
  if (fd >= 0) ::close(fd);
  return is_cut;
}

// On a device that was never used: the kernel may keep, for the old one, blocks that the file
// system had changed and had not brought there.
bool DiskImage::RestorePower() {
  ::close(device_fd_);
  device_fd_ = -1;
  // The last user has ended, but the kernel may still be putting away what it held.
  if (!Eventually([&] { return ::umount2(at_.c_str(), 0) == 0; })) {
    return Fail("can't unmount the file system");
  }
  return AttachDevice() && Mount();
}

// The image is made under a name, for the program that makes the file system, and loses it before
// anything can go wrong.
bool DiskImage::MakeImage() {
  char name[] = "/tmp/qp-disk.XXXXXX";
  image_fd_ = ::mkostemp(name, O_CLOEXEC);
  if (image_fd_ < 0 || ::ftruncate(image_fd_, kImageBytes) != 0) return Fail("can't make an image");
  const std::string making = "PATH=$PATH:/usr/sbin:/sbin; exec " + MakingOf(type_) + " " + name;
  const Finished finished = RunToEnd({"/bin/sh", "-c", making});
  ::unlink(name);
  errno = 0;
  return finished.status == 0 || Fail("can't make the file system: " + finished.error);
}

// The device lets go of the image with its last user.
bool DiskImage::AttachDevice() {
  const int control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
  if (control < 0) return Fail("there are no loop devices");
  loop_config config = {};
  config.fd = static_cast<std::uint32_t>(image_fd_);
  config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
  for (int attempt = 0; attempt < kAttempts && device_fd_ < 0; ++attempt) {
    const int number = ::ioctl(control, LOOP_CTL_GET_FREE);
    if (number < 0) break;
    device_ = "/dev/loop" + std::to_string(number);
    device_fd_ = ::open(device_.c_str(), O_RDWR | O_CLOEXEC);
    if (device_fd_ < 0) break;
    if (::ioctl(device_fd_, LOOP_CONFIGURE, &config) == 0) break;
    ::close(device_fd_);
    device_fd_ = -1;
  }
  const int error = errno;
  ::close(control);
  errno = error;
  return device_fd_ >= 0 || Fail("can't attach a loop device");
}

bool DiskImage::Mount() {
  return ::mount(device_.c_str(), at_.c_str(), type_.c_str(), 0, nullptr) == 0 ||
         Fail("can't mount " + type_);
}

bool DiskImage::Fail(const std::string& what) {
  obstacle_ = errno == 0 ? what : what + ": " + std::strerror(errno);
  return false;
}
