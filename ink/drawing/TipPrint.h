// What tips that are not round leave on paper: a highlighter's broad edge, a brush pen's ellipse.
// The tip keeps its direction, so the ink between two places is the area that the tip sweeps.

#pragma once

#include "ink/Tips.h"
#include "ink/drawing/Polygon.h"

namespace TalvoInk {

// A tip that stands on the paper. All in micrometres.
struct TipPrint {
  double x, y;  // its middle
  double half_width, half_height;
};

// The area that a tip sweeps on a straight line between two prints: their convex hull. The
// print itself if they are the same. A rectangle is exact; an ellipse's polygon lies off the curve
// by at most `tolerance_um`, unless it is so large that this would take more than 90 corners.
Polygon SweepOf(Tip::Shape shape, const TipPrint& from, const TipPrint& to, double tolerance_um);

}  // namespace TalvoInk
