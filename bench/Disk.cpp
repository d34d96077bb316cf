#include "Disk.h"

#include <linux/magic.h>
#include <sched.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>
#include <system_error>

#include "Process.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uintmax_t kImageBytes = 2ull << 30;  // sparse

fs::path MakeDirectory(const fs::path& parent) {
  std::string name = (parent / "qpdisk.XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("can't make " + name);
  return name;
}

std::string FileSystem(const fs::path& path) {
  struct statfs status = {};
  ::statfs(path.c_str(), &status);
  switch (static_cast<unsigned long>(status.f_type)) {
    case EXT4_SUPER_MAGIC:
      return "ext4";
    case BTRFS_SUPER_MAGIC:
      return "btrfs";
    case XFS_SUPER_MAGIC:
      return "xfs";
    case TMPFS_MAGIC:
      return "tmpfs, which is NO DISK";
    case OVERLAYFS_SUPER_MAGIC:
      return "overlayfs";
    default:
      return "a file system of type " + std::to_string(status.f_type);
  }
}

}  // namespace

Disk::Disk(const fs::path& parent) : path_(MakeDirectory(parent)), is_image_(Mount()) {}

Disk::~Disk() {
  std::error_code ignored;
  if (is_image_) ::umount2(path_.c_str(), MNT_DETACH);
  fs::remove_all(path_, ignored);
}

// The image has no name any more once it is mounted: what is left of it goes with the mount.
bool Disk::Mount() const {
  if (::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 ||
      ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
    return false;
  }
  const fs::path image = path_.string() + ".ext4";
  std::ofstream(image).close();
  std::error_code error;
  fs::resize_file(image, kImageBytes, error);
  const bool is_mounted = !error && RunProgram({"mkfs.ext4", "-q", "-F", image}) &&
                          RunProgram({"mount", "-o", "loop", image, path_});
  fs::remove(image, error);
  return is_mounted;
}

std::string Disk::Description() const {
  const fs::path parent = path_.parent_path();
  if (!is_image_) return "in " + path_.parent_path().string() + ", " + FileSystem(parent);
  return "ext4 on a loop image in " + parent.string() + ", " + FileSystem(parent);
}

}  // namespace bench
