#include "ink/Affine.h"

#include <cmath>
#include <tuple>

namespace TalvoInk {

std::pair<double, double> Affine::Map(double x, double y) const {
  return {xx * x + xy * y + x0, yx * x + yy * y + y0};
}

double Affine::Growth() const {
  return std::sqrt(std::abs(xx * yy - xy * yx));
}

Affine operator*(const Affine& outer, const Affine& inner) {
  Affine out;
  out.xx = outer.xx * inner.xx + outer.xy * inner.yx;
  out.xy = outer.xx * inner.xy + outer.xy * inner.yy;
  out.yx = outer.yx * inner.xx + outer.yy * inner.yx;
  out.yy = outer.yx * inner.xy + outer.yy * inner.yy;
  std::tie(out.x0, out.y0) = outer.Map(inner.x0, inner.y0);
  return out;
}

}  // namespace TalvoInk
