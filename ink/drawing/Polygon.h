// What every drawing is made of: polygons on a page, in micrometres from its left and top edges.

#pragma once

#include <cstdint>
#include <vector>

namespace TalvoInk {

struct Corner {
  std::int64_t x, y;
};
using Polygon = std::vector<Corner>;

// The corner next to a point.
Corner RoundedCorner(double x, double y);

// The convex hull of one corner or more. Its own corners turn as they do on a page whose y grows
// downward, so hulls add up under the nonzero rule. Corners on one line have the line's ends as
// their hull.
Polygon HullOf(std::vector<Corner> corners);

// The room that something takes on a page. Empty as it is made.
struct Box {
  std::int64_t left = 0, top = 0, right = 0, bottom = 0;
  bool is_empty = true;
  void Take(const Box& other);
};

}  // namespace TalvoInk
