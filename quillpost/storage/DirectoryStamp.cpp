#include "storage/DirectoryStamp.h"

#include <time.h>

#include <cstdint>

namespace TalvoQuillpost {
namespace Storage {

namespace {

// Two seconds for the coarsest file systems, and a good many ticks.
constexpr std::int64_t kGrainNs = 2'500'000'000;

std::int64_t ToNs(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

}  // namespace

DirectoryStamp::DirectoryStamp(const boost::filesystem::path& directory) {
  timespec now;
  struct stat status;
  // The clock first, so that a change between the two is one of just now.
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  if (::stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  modified_ = status.st_mtim;
  changed_ = status.st_ctim;
  proves_ = ToNs(changed_) + kGrainNs < ToNs(now) && ToNs(modified_) + kGrainNs < ToNs(now);
}

bool DirectoryStamp::operator==(const DirectoryStamp& other) const {
  return proves_ && other.proves_ && device_ == other.device_ && inode_ == other.inode_ &&
         ToNs(modified_) == ToNs(other.modified_) && ToNs(changed_) == ToNs(other.changed_);
}

}  // namespace Storage
}  // namespace TalvoQuillpost
