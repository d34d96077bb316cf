// The shape that a pen's stroke leaves on paper, as polygons: the one place where force becomes
// width and points become curves. What is drawn as SVG, PNG or PDF is these polygons, filled by
// the nonzero rule, so all three agree.

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "ink/Ink.h"
#include "ink/Tips.h"
#include "ink/drawing/Polygon.h"

namespace TalvoInk {

// No stroke is drawn finer than this, which an eye still sees.
constexpr std::uint32_t kFinestWidthUm = 250;

// The room that the tip's prints at a stroke's points take. Much cheaper than its outline, which
// may swing out beyond it between points that are far apart, by a tenth of their distance.
Box BoxOf(const Stroke& stroke, const Tip& tip = {});

// How wide the line is drawn at each of PositionsOf(stroke), in micrometres, before the outline
// evens it out: for a line that follows the pen while the stroke is still being written.
std::vector<double> WidthsOf(const Stroke& stroke, const Tip& tip = {});

// The polygons of a stroke that was drawn with this tip. All turn the same way, so that the ink is
// whole if they overlap or the stroke crosses itself. A stroke of one point is a print of the tip.
// Empty for no samples. Takes time and memory in proportion to the samples.
std::vector<Polygon> OutlineOf(const Stroke& stroke, const Tip& tip = {});

// The same, one polygon after the other: memory is that of the ink and a few polygons, of which
// none has more than some thousand corners.
using TakePolygon = std::function<void(Polygon)>;
void ForEachPolygon(const Stroke& stroke, const Tip& tip, const TakePolygon& take);

// Whether the stroke is so long that its polygons are best filled one by one.
bool IsLong(const Stroke& stroke);

// A part of a stroke's outline, and the time at which the pen begins to draw it.
struct OutlinePiece {
  double time_ms;
  std::vector<Polygon> polygons;
};

// The outline as it grows: the pieces that the pen draws in each `step_ms`, in their order.
// `times_ms` has a time for each point of PositionsOf(stroke), never one before the last. Together
// the pieces cover what OutlineOf covers; neighbours overlap.
std::vector<OutlinePiece> OutlinePiecesOf(const Stroke& stroke, const Tip& tip,
                                          const std::vector<double>& times_ms, double step_ms);

}  // namespace TalvoInk
