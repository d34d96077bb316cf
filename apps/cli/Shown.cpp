#include "cli/Shown.h"

#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

std::size_t TerminalWidth(int fd) {
  winsize size = {};
  constexpr std::size_t kUsualWidth = 80;
  return ::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : kUsualWidth;
}

bool CanRedraw(int fd) {
  const char* terminal = ::getenv("TERM");
  return ::isatty(fd) == 1 && terminal != nullptr && *terminal != '\0' &&
         std::string(terminal) != "dumb";
}

std::string FormatBytes(std::uint64_t bytes) {
  static constexpr std::array<const char*, 4> kUnits = {"B", "KiB", "MiB", "GiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 1024 && unit + 1 < kUnits.size()) {
    value /= 1024;
    ++unit;
  }
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", value, kUnits[unit]);
  return text.data();
}

std::string FormatCount(std::uint64_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
