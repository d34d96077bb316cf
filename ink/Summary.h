// What one ink amounts to: counts, pages, the span of time and the room that it takes. Numbers
// only; the words are the caller's.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ink/Ink.h"

namespace TalvoInk {

struct PageSummary {
  std::optional<std::string> page;
  std::uint64_t strokes = 0;
  bool timed = false;  // one of its coordinates has a time of day
};

struct Summary {
  std::uint64_t pen = 0;
  std::vector<PageSummary> pages;  // in the order in which they first appear
  std::uint64_t strokes = 0, markers = 0, properties = 0;
  std::uint64_t samples = 0, coordinates = 0;
  std::uint64_t first_ms = 0, last_ms = 0;  // UTC, of coordinates; 0 if none has a time
  bool has_bounds = false;                  // of coordinates, in micrometres
  std::int32_t left_um = 0, top_um = 0, right_um = 0, bottom_um = 0;
  std::uint16_t least_force = 0, most_force = 0;
};

// Takes time in proportion to the samples. "Coordinates" are the samples in which the pen was seen
// on the page; touching down and lifting are samples of their own.
Summary Summarize(const Ink& ink);

}  // namespace TalvoInk
