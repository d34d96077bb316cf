#include "ink/drawing/TipPrint.h"

#include <algorithm>
#include <cmath>

namespace TalvoInk {
namespace {

constexpr double kPi = 3.14159265358979323846;

void AppendEllipse(std::vector<Corner>& corners, const TipPrint& print, double tolerance_um) {
  const double radius = std::max(print.half_width, print.half_height);
  const double step = 2 * std::acos(1 - std::min(tolerance_um / radius, 1.0));
  const int pieces = std::clamp(static_cast<int>(std::ceil(2 * kPi / step)), 8, 90);
  for (int i = 0; i < pieces; ++i) {
    const double angle = 2 * kPi * i / pieces;
    corners.push_back(RoundedCorner(print.x + print.half_width * std::cos(angle),
                                    print.y + print.half_height * std::sin(angle)));
  }
}

void AppendRectangle(std::vector<Corner>& corners, const TipPrint& print) {
  for (const double x : {-print.half_width, print.half_width}) {
    for (const double y : {-print.half_height, print.half_height}) {
      corners.push_back(RoundedCorner(print.x + x, print.y + y));
    }
  }
}

}  // namespace

Polygon SweepOf(Tip::Shape shape, const TipPrint& from, const TipPrint& to, double tolerance_um) {
  std::vector<Corner> corners;
  for (const TipPrint* print : {&from, &to}) {
    if (shape == Tip::Shape::kRectangle) {
      AppendRectangle(corners, *print);
    } else {
      AppendEllipse(corners, *print, tolerance_um);
    }
  }
  return HullOf(std::move(corners));
}

}  // namespace TalvoInk
