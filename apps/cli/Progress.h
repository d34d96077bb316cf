// The progress of work on many files, as a line that is drawn over and over on a terminal.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

struct Progress {
  std::size_t files_done = 0;
  std::size_t files = 0;
  std::uint64_t bytes_done = 0;
  std::uint64_t bytes = 0;
  std::chrono::duration<double> elapsed{0};
};

// "[#####     ]  3/6 files  50%  1.5 MiB/s  0:12 left" in at most `width` columns: share and
// remaining time go by bytes, or by files if there are no bytes. Rate and remaining time are
// left out until something is done. What does not fit is left out: remaining time, rate, bar, and
// at last everything but the share.
std::string FormatProgress(const Progress& progress, std::size_t width);

// Draws on standard error if that is a terminal whose lines can be drawn anew (TERM is neither
// missing nor "dumb"), and does nothing elsewhere.
class ProgressLine {
 public:
  ProgressLine();
  ~ProgressLine() { Clear(); }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Draw(const Progress& progress);
  void Clear();  // before a line of text is printed

 private:
  const bool enabled_;
  bool drawn_ = false;
};
