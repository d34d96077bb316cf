// A file system of its own on a device of its own, whose power can be cut: what it has not brought
// to the device by then is gone, as on a machine that loses its power. The device keeps what it
// took; a disk that loses that, too, is more than this can show.
//
// The device is a loop device over a file without a name, mounted in a namespace that this process
// alone sees. All of it ends with the process at the latest, however the process ends. Needs a user
// who may do such things and the programs that make file systems; if they are missing, the
// object says so and the test is skipped.

#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

class DiskImage {
 public:
  // Makes a file system of the type, "ext4" or "xfs", and mounts it on the directory.
  DiskImage(const std::string& type, const boost::filesystem::path& at);
  ~DiskImage();
  DiskImage(const DiskImage&) = delete;
  DiskImage& operator=(const DiskImage&) = delete;

  // Why there is no such file system on this machine; empty if there is one.
  const std::string& obstacle() const { return obstacle_; }

  // Brings everything that was written so far to the device.
  bool Sync();

  // From now on nothing reaches the device, and calls fail with EIO. May be called from any thread.
  bool CutPower();

  // Mounts the file system again, which finds what had reached the device. Nobody may use it. After
  // false the object is of no use, and the obstacle says why.
  bool RestorePower();

 private:
  bool MakeImage();
  bool AttachDevice();
  bool Mount();
  bool Fail(const std::string& what);

  const std::string type_;
  const std::string at_;
  std::string device_;
  std::string obstacle_;
  int image_fd_ = -1;
  int device_fd_ = -1;
};
