// How ink was written: how long the lines are, how fast the pen was, where it paused and how hard
// it pressed. Numbers only; the words are the caller's.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ink/Ink.h"

namespace TalvoInk {

// Of forces from 0 to 1. None if no point was pressed.
struct ForceStatistics {
  double mean = 0, least = 0, most = 0;
};

struct StrokeStatistics {
  std::uint64_t start_ms = 0;  // UTC; 0 if the time of day is not known
  std::size_t points = 0;
  double length_mm = 0;               // from point to point
  std::optional<double> duration_ms;  // from the first to the last time; none with fewer than two
  std::optional<double> speed_mm_s;   // on average; none without a duration
  // Since the end of the stroke before on the page. Negative if the strokes overlap; none if either
  // time is not known.
  std::optional<double> pause_ms;
  std::optional<ForceStatistics> force;
};

struct PageStatistics {
  std::optional<std::string> page;
  std::vector<StrokeStatistics> strokes;  // in the order of the ink
  std::size_t points = 0;
  double length_mm = 0;
  std::optional<double> writing_ms;  // the durations of all strokes together
  std::optional<double> speed_mm_s;  // on average, of the strokes that have a duration
  std::size_t pauses = 0;            // between strokes
  double pause_ms = 0;               // all pauses together
  double longest_pause_ms = 0;
  std::optional<ForceStatistics> force;  // the mean is that of all points
};

// The pages in the order in which they first appear. Takes time in proportion to the samples.
std::vector<PageStatistics> StatisticsOf(const Ink& ink);

}  // namespace TalvoInk
