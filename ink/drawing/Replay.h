// Ink that is written again before one's eyes: as one SVG that animates itself in any browser,
// without a script, or as the pictures of a film. Each stroke appears as the pen drew it, with the
// pen's own times.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "ink/Ink.h"
#include "ink/Sink.h"
#include "ink/drawing/Layout.h"

namespace TalvoInk {

struct ReplayOptions {
  LayoutOptions layout;
  double speed = 1;                    // 2 is twice as fast as the pen was
  double max_pause_ms = 2000;          // longer pauses become as long as this
  bool transparent = false;            // no white paper
  std::optional<std::uint32_t> color;  // instead of the strokes' own
  double dpi = 100;                    // of pictures
  double frames_per_second = 25;       // of pictures
  TellShare tell;                      // how far the work is
};

// What a replay shows.
struct ReplayInfo {
  std::size_t pages = 0, strokes = 0, points = 0;
  double duration_ms = 0;
  std::size_t assumed = 0;  // strokes without times, for which a hand's usual ones were taken
  std::size_t frames = 0;   // pictures
};

// Hands the SVG to the sink, piece by piece, and tells what it shows. It plays once from when it is
// opened and stays as it is at the end; without animation (in print) it is a picture of the paper.
// Throws InkError for ink without strokes and for a page that has none, before the sink is handed
// anything.
ReplayInfo ReplayAsSvg(const Ink& ink, const ReplayOptions& options, const Sink& sink);

// The same in memory.
std::string ReplayAsSvg(const Ink& ink, const ReplayOptions& options, ReplayInfo& info);

// Hands one PNG after the other to `take`, with its number from 0: the first is the empty paper,
// the last has all ink. Memory is that of two pictures. Throws as above, PictureSizeError for
// pictures that are too large or more than 100000, and what `take` throws.
ReplayInfo ReplayAsFrames(const Ink& ink, const ReplayOptions& options,
                          const std::function<void(std::size_t, const std::string&)>& take);

}  // namespace TalvoInk
