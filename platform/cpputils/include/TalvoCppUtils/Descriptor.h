// An open file descriptor that closes itself. A value that can be moved; belongs to one thread at a
// time.

#pragma once

#include <errno.h>
#include <unistd.h>

#include <utility>

namespace TalvoCppUtils {

class Descriptor {
 public:
  Descriptor() = default;

  // Takes over `fd`. A negative number, which the system's calls return on failure, stands for no
  // descriptor.
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  ~Descriptor() { Close(); }

  bool is_open() const { return fd_ >= 0; }
  explicit operator bool() const { return is_open(); }
  int get() const { return fd_; }

  // Gives the descriptor to the caller, who closes it.
  int Release() { return std::exchange(fd_, -1); }

  // Takes over `fd` and closes what was held.
  void Reset(int fd) {
    Close();
    fd_ = fd;
  }

  // Closes it now. Returns 0, or the errno of close(2), which for a file that was written may be
  // the first to tell that the disk is full. It is closed then too, also if a signal interrupted
  // the call, which counts as success.
  int Close() {
    const int fd = Release();
    return fd < 0 || ::close(fd) == 0 || errno == EINTR ? 0 : errno;
  }

 private:
  int fd_ = -1;
};

}  // namespace TalvoCppUtils
