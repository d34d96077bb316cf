// What there is to say about one ink: counts, pages, the span of time, the room it takes, and
// whether the service would store it.

#pragma once

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Ink.h"

namespace InkTool {

struct PageSummary {
  std::optional<std::string> page;
  std::uint64_t strokes = 0;
  bool timed = false;  // a coordinate with a time is among its samples
};

struct Summary {
  std::uint64_t pen = 0;
  std::vector<PageSummary> pages;  // in the order in which they first appear
  std::uint64_t strokes = 0, markers = 0, properties = 0;
  std::uint64_t samples = 0, coordinates = 0;
  std::uint64_t first_ms = 0, last_ms = 0;  // of coordinates, 0 where none has a time
  bool has_bounds = false;                  // of coordinates, in micrometres
  std::int32_t left_um = 0, top_um = 0, right_um = 0, bottom_um = 0;
  std::uint16_t least_force = 0, most_force = 0;

  // Why the service would not store some of the ink, a sentence each; empty where it would.
  std::vector<std::string> Obstacles() const;
};

Summary Summarize(const Ink& ink);

// "1 page", "2 pages".
std::string Counted(std::uint64_t count, const char* thing);

// "2 pages, 34 strokes, 2018 points".
std::string InShort(const Summary& summary);

// Lines for a reader, without the file's name.
std::string InLines(const Summary& summary);

Json::Value AsJson(const Summary& summary);

}  // namespace InkTool
