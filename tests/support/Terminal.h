// A terminal, as seen from the other side: what is typed, and what is shown.

#pragma once

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>

#include "support/Patience.h"

class Terminal {
 public:
  explicit Terminal(unsigned short columns = 80)
      : fd_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (fd_ < 0 || ::grantpt(fd_) != 0 || ::unlockpt(fd_) != 0) {
      throw std::runtime_error("there are no terminals here");
    }
    // Held open, so that what was shown is not lost when the program ends.
    other_side_ = ::open(name().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    const winsize size = {24, columns, 0, 0};
    ::ioctl(fd_, TIOCSWINSZ, &size);
  }
  ~Terminal() {
    ::close(other_side_);
    ::close(fd_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // The path that a program opens.
  std::string name() const { return ::ptsname(fd_); }

  // Whether what is typed is shown, as the terminal is set now.
  bool Echoes() const {
    termios settings = {};
    ::tcgetattr(other_side_, &settings);
    return (settings.c_lflag & ECHO) != 0;
  }

  void Type(const std::string& text) {
    if (::write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
      throw std::runtime_error("the terminal takes no more");
    }
  }

  // All that has been shown so far.
  const std::string& Shown() {
    Read(0);
    return shown_;
  }

  // Waits until `text` has been shown behind the position `from`; false if that takes too long.
  bool WaitFor(const std::string& text, std::size_t from = 0) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (shown_.find(text, from) == std::string::npos) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
          end - std::chrono::steady_clock::now());
      if (left.count() <= 0) return false;
      Read(static_cast<int>(left.count()));
    }
    return true;
  }

 private:
  void Read(int timeout_ms) {
    pollfd readable = {fd_, POLLIN, 0};
    char buffer[4096];
    while (::poll(&readable, 1, timeout_ms) > 0) {
      const ssize_t n = ::read(fd_, buffer, sizeof buffer);
      if (n <= 0) break;
      shown_.append(buffer, static_cast<std::size_t>(n));
      timeout_ms = 0;
    }
  }

  int fd_;
  int other_side_;
  std::string shown_;
};
