// The shape that a pen's stroke leaves on paper, as polygons: the one place where force becomes
// width and points become curves. What is drawn as SVG, PNG or PDF is these polygons, filled by
// the nonzero rule, so all three agree.

#pragma once

#include <cstdint>
#include <vector>

#include "Ink.h"

namespace InkTool {

// A corner of a polygon in micrometres, on the page.
struct Corner {
  std::int64_t x, y;
};
using Polygon = std::vector<Corner>;

// A stroke without a width of its own is this wide at medium force; none is drawn finer than the
// finest, which an eye still sees.
constexpr std::uint32_t kDefaultWidthUm = 500;
constexpr std::uint32_t kFinestWidthUm = 250;

// The polygons of a stroke. All turn the same way, so where they overlap, and where the stroke
// crosses itself, the ink is whole. A stroke of one point is a dot. Empty for no samples.
std::vector<Polygon> OutlineOf(const Stroke& stroke);

}  // namespace InkTool
