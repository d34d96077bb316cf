// What tips that are not round leave on paper: a highlighter's broad edge, a brush pen's ellipse.
// They don't turn with the pen's way, so between two places the ink is whatever the tip slid over.

#pragma once

#include "ink/Tips.h"
#include "ink/drawing/Polygon.h"

namespace TalvoInk {

// A tip that stands on the paper. All in micrometres.
struct TipPrint {
  double x, y;  // its middle
  double half_width, half_height;
};

// Everything that a tip slides over on the straight way between two prints: the hull of both. The
// print itself if they are the same. A rectangle is exact; an ellipse's polygon lies off the curve
// by at most `tolerance_um`, unless it is so large that this would take more than 90 corners.
Polygon SweepOf(Tip::Shape shape, const TipPrint& from, const TipPrint& to, double tolerance_um);

}  // namespace TalvoInk
