// A mapping of the plane that keeps straight lines straight: scaling, turning, mirroring, shearing
// and moving, as InkML's canvases and SVG's transforms state it.

#pragma once

#include <utility>

namespace TalvoInk {

// x' = xx * x + xy * y + x0 and y' = yx * x + yy * y + y0. As it is made, it changes nothing.
struct Affine {
  double xx = 1, xy = 0, x0 = 0;
  double yx = 0, yy = 1, y0 = 0;

  // The place that (x, y) is mapped to.
  std::pair<double, double> Map(double x, double y) const;

  // By how much lengths grow on average: the square root of the growth of areas.
  double Growth() const;
};

// First `inner`, then `outer`.
Affine operator*(const Affine& outer, const Affine& inner);

}  // namespace TalvoInk
