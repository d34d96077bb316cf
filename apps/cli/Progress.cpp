#include "cli/Progress.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "cli/Shown.h"

namespace {

constexpr std::size_t kBarWidth = 24;

double Share(const Progress& progress) {
  const double done = progress.bytes > 0
                          ? static_cast<double>(progress.bytes_done) / double(progress.bytes)
                          : static_cast<double>(progress.files_done) /
                                double(std::max<std::size_t>(progress.files, 1));
  return std::min(done, 1.0);
}

std::string FormatRemaining(const Progress& progress, double share) {
  const auto seconds = static_cast<unsigned long>(progress.elapsed.count() * (1 - share) / share);
  std::array<char, 40> text;
  std::snprintf(text.data(), text.size(), "%lu:%02lu left", seconds / 60, seconds % 60);
  return text.data();
}

}  // namespace

std::string FormatProgress(const Progress& progress, std::size_t width) {
  const double share = Share(progress);
  const auto filled = static_cast<std::size_t>(share * kBarWidth);
  const std::string bar =
      "[" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "]  ";
  const std::string files =
      std::to_string(progress.files_done) + "/" + std::to_string(progress.files) + " files  ";
  const std::string percent = std::to_string(static_cast<int>(share * 100)) + "%";
  std::string rate;
  std::string remaining;
  if (share > 0 && progress.elapsed.count() > 0) {
    const double bytes = static_cast<double>(progress.bytes_done) / progress.elapsed.count();
    rate = "  " + FormatBytes(static_cast<std::uint64_t>(bytes)) + "/s";
    remaining = "  " + FormatRemaining(progress, share);
  }
  for (const std::string& line :
       {bar + files + percent + rate + remaining, bar + files + percent + rate,
        files + percent + rate, files + percent}) {
    if (line.size() <= width) return line;
  }
  return percent;
}

ProgressLine::ProgressLine() : enabled_(CanRedraw(STDERR_FILENO)) {}

void ProgressLine::Draw(const Progress& progress) {
  if (!enabled_) return;
  // Some terminals begin a new line when the last column is written.
  const std::size_t width = TerminalWidth(STDERR_FILENO) - 1;
  std::fprintf(stderr, "\r\033[K%s", FormatProgress(progress, width).c_str());
  drawn_ = true;
}

void ProgressLine::Clear() {
  if (drawn_) std::fputs("\r\033[K", stderr);
  drawn_ = false;
}
