// The outlines of SVG (SVG 1.1, section 8.3 "Path data" and section 9 "Basic shapes") as lists of
// points: curves and arcs become straight pieces that stay within a tolerance of them.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace TalvoInk {

struct SvgPoint {
  double x, y;
};

// One run of the pen: from a "move to" to the next.
using SvgRun = std::vector<SvgPoint>;

// The most points that a path may have; more is not a drawing of a hand, and a few bytes of an arc
// must not stand for gigabytes.
constexpr std::size_t kMostSvgPoints = 4000000;

// The runs of a path's "d", in its own units; pieces lie within `tolerance` of curves. Throws
// InkError for what is not path data, with the offset of the fault in characters.
std::vector<SvgRun> ParseSvgPath(const std::string& d, double tolerance);

// The points of a <polyline> or <polygon>. Throws InkError as above.
SvgRun ParseSvgPoints(const std::string& points);

// A rectangle as a closed run, empty without an area. Its corners are quarters of an ellipse of the
// radii rx and ry; a negative one is that of the other side.
SvgRun SvgRectangle(double x, double y, double width, double height, double rx, double ry,
                    double tolerance);

// An ellipse as a closed run.
SvgRun SvgEllipse(double cx, double cy, double rx, double ry, double tolerance);

}  // namespace TalvoInk
