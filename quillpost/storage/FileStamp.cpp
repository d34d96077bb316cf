#include "storage/FileStamp.h"

#include <sys/vfs.h>
#include <time.h>

#include <algorithm>
#include <cstdint>

#include "common/File.h"

namespace TalvoQuillpost {
namespace Storage {

namespace {

// Two seconds for the coarsest file systems, and a good many ticks.
constexpr std::int64_t kCoarseGrainNs = 2'500'000'000;

std::int64_t ToNs(const timespec& time) {
  return static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 + time.tv_nsec;
}

// Two ticks of the clock that stamps changes.
std::int64_t FineGrainNs() {
  timespec tick;
  return ::clock_getres(CLOCK_REALTIME_COARSE, &tick) == 0 ? 2 * ToNs(tick) : kCoarseGrainNs;
}

// ext4 with small inodes keeps whole seconds alone, so there are no parts of one then.
bool HasPartsOfSeconds(const struct stat& status) {
  return status.st_mtim.tv_nsec != 0 && status.st_ctim.tv_nsec != 0;
}

}  // namespace

FileStamp::FileStamp(const boost::filesystem::path& path) {
  Take([&path](struct stat* status) { return ::stat(path.c_str(), status); },
       [&path](struct statfs* system) { return ::statfs(path.c_str(), system); });
}

FileStamp::FileStamp(int file) {
  Take([file](struct stat* status) { return ::fstat(file, status); },
       [file](struct statfs* system) { return ::fstatfs(file, system); });
}

template <typename Stat, typename StatFs>
void FileStamp::Take(Stat stat, StatFs statfs) {
  timespec now;
  struct stat status;
  struct statfs system;
  // The clock first, so that a change between the two is one of just now.
  ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  if (stat(&status) != 0) return;
  if (!S_ISDIR(status.st_mode) && !S_ISREG(status.st_mode)) return;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  modified_ = status.st_mtim;
  changed_ = status.st_ctim;
  const std::int64_t age_ns = ToNs(now) - std::max(ToNs(changed_), ToNs(modified_));
  // Finer than that, if changes are stamped with this machine's clock, to the tick.
  proves_ = age_ns > kCoarseGrainNs || (age_ns > FineGrainNs() && HasPartsOfSeconds(status) &&
                                        statfs(&system) == 0 && Common::IsOnThisMachine(system));
}

bool FileStamp::operator==(const FileStamp& other) const {
  return proves_ && other.proves_ && device_ == other.device_ && inode_ == other.inode_ &&
         ToNs(modified_) == ToNs(other.modified_) && ToNs(changed_) == ToNs(other.changed_);
}

}  // namespace Storage
}  // namespace TalvoQuillpost
