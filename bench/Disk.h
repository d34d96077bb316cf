// A place on a disk file system: ext4 on a loop image if the benchmark may make one, so that its
// syncs meet no other program's writes; else a directory on the disk that is there.

#pragma once

#include <filesystem>
#include <string>

namespace bench {

class Disk {
 public:
  // The image, or what is measured instead, lies below `parent`. A mount is seen by this process
  // and its children alone, and ends with them, however they end.
  explicit Disk(const std::filesystem::path& parent);
  ~Disk();
  Disk(const Disk&) = delete;
  Disk& operator=(const Disk&) = delete;

  const std::filesystem::path& path() const { return path_; }

  // What is measured, for the reader.
  std::string Description() const;

 private:
  bool Mount() const;

  const std::filesystem::path path_;
  const bool is_image_;
};

}  // namespace bench
