#include "ink/drawing/Polygon.h"

#include <algorithm>
#include <cmath>

namespace TalvoInk {

Corner RoundedCorner(double x, double y) {
  return {std::llround(x), std::llround(y)};
}

// Andrew's monotone chain.
Polygon HullOf(std::vector<Corner> corners) {
  const auto before = [](const Corner& a, const Corner& b) {
    return a.x != b.x ? a.x < b.x : a.y < b.y;
  };
  std::sort(corners.begin(), corners.end(), before);
  const auto turns_left = [](const Corner& a, const Corner& b, const Corner& c) {
    return double(b.x - a.x) * double(c.y - a.y) - double(b.y - a.y) * double(c.x - a.x) > 0;
  };
  Polygon hull;
  for (int side = 0; side < 2; ++side) {
    const std::size_t begin = hull.size();
    for (const Corner& corner : corners) {
      while (hull.size() >= begin + 2 && !turns_left(hull[hull.size() - 2], hull.back(), corner)) {
        hull.pop_back();
      }
      hull.push_back(corner);
    }
    hull.pop_back();  // the other side begins with it
    std::reverse(corners.begin(), corners.end());
  }
  return hull.empty() ? Polygon{corners.front()} : hull;
}

void Box::Take(const Box& other) {
  if (other.is_empty) return;
  left = is_empty ? other.left : std::min(left, other.left);
  top = is_empty ? other.top : std::min(top, other.top);
  right = is_empty ? other.right : std::max(right, other.right);
  bottom = is_empty ? other.bottom : std::max(bottom, other.bottom);
  is_empty = false;
}

}  // namespace TalvoInk
