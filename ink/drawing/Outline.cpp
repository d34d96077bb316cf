#include "ink/drawing/Outline.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ink/drawing/TipPrint.h"

namespace TalvoInk {
namespace {

constexpr double kPi = 3.14159265358979323846;

// The width grows by at most this for each unit of way, so that no end swells into a knob.
constexpr double kSteepest = 0.12;

// No digitiser's grid is coarser than this; larger steps were meant. A screen's pixel is 265.
constexpr double kCoarsestPitch = 400;

// A corner lies between pieces longer than this, and turns by more than 72 degrees, so that a
// circle of six points is still round.
constexpr double kLongPieceUm = 5000;
constexpr double kCornerCosine = 0.3;

// How exactly a stroke is drawn.
struct Fineness {
  double tolerance;          // how far a polygon may lie off the true curve, in micrometres
  std::size_t longest_band;  // of more knots is continued by another: what is drawn at a time
};

// A twentieth of a pixel at 200 dpi. Handwriting turns sharply, or ends, before a band is too long.
constexpr Fineness kFine{6, 1024};

// A stroke of more than 2 m is scribbled over the page again and again. Its bands are short, so
// that each is a simple shape: filling one that crosses itself again and again takes many times as
// long.
constexpr double kLongWayUm = 2e6;
constexpr Fineness kScribbled{24, 128};

// How many of a stroke's points become a curve at a time: the curve of all would be many times as
// large as the ink.
constexpr std::size_t kKnotsOfAPart = 4096;

struct Knot {
  double x, y, radius;
  double at = 0;  // which point of the stroke it is, with fractions in between
};

// Of a direction: its length is 1, or 0 if there is no direction.
struct Vector {
  double x, y;
};

// Coordinates have 31 bits: their squares neither overflow nor vanish, so there is no need for the
// care that std::hypot takes, which is slow.
double Length(double x, double y) {
  return std::sqrt(x * x + y * y);
}

double Distance(const Knot& a, const Knot& b) {
  return Length(b.x - a.x, b.y - a.y);
}

// Half the width at a force from 0 to 1: medium force gives the stroke's own width.
double RadiusAt(double force, double width) {
  return width / 2 * (0.5 + force);
}

double WidthOf(const Stroke& stroke) {
  return std::max(stroke.width_um == 0 ? kDefaultWidthUm : stroke.width_um, kFinestWidthUm);
}

// Of each point.
std::vector<double> RadiiOf(const Stroke& stroke, const std::vector<Stf2Sample>& points,
                            bool is_constant) {
  const auto has_force = [](const Stf2Sample& point) { return point.force != 0; };
  const bool pressed = !is_constant && std::any_of(points.begin(), points.end(), has_force);
  const double width = WidthOf(stroke);
  std::vector<double> radii;
  radii.reserve(points.size());
  for (const Stf2Sample& point : points) {
    radii.push_back(RadiusAt(pressed ? point.force / 65535.0 : 0.5, width));
  }
  return radii;
}

// The stroke's points without those on which the pen stood still.
std::vector<Knot> KnotsOf(const Stroke& stroke, bool is_constant) {
  const std::vector<Stf2Sample> points = PositionsOf(stroke);
  const std::vector<double> radii = RadiiOf(stroke, points, is_constant);
  std::vector<Knot> knots;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Stf2Sample& point = points[i];
    const double radius = radii[i];
    const Knot knot{double(point.x_um), double(point.y_um), radius, double(i)};
    if (!knots.empty() && Distance(knots.back(), knot) < 1) {
      knots.back().radius = std::max(knots.back().radius, radius);
    } else {
      knots.push_back(knot);
    }
  }
  return knots;
}

// The cosine of the turn at the knot between two others.
double TurnCosine(const Knot& a, const Knot& b, const Knot& c) {
  const double length = Distance(a, b) * Distance(b, c);
  return ((b.x - a.x) * (c.x - b.x) + (b.y - a.y) * (c.y - b.y)) / std::max(length, 1e-9);
}

double WayAlong(const std::vector<Knot>& knots) {
  double way = 0;
  for (std::size_t i = 1; i < knots.size(); ++i) way += Distance(knots[i - 1], knots[i]);
  return way;
}

// The pitch of the grid on which the positions were reported: the smallest step there is.
double PitchOf(const std::vector<Knot>& knots) {
  double pitch = std::numeric_limits<double>::max();
  for (std::size_t i = 1; i < knots.size(); ++i) {
    for (const double step : {knots[i].x - knots[i - 1].x, knots[i].y - knots[i - 1].y}) {
      if (step != 0) pitch = std::min(pitch, std::abs(step));
    }
  }
  return pitch;
}

// One pass of smoothing along the stroke. No knot ends up farther than `reach` from where it was
// in `original`; a sharp turn that is more than the grid's doing stays where it is.
void SmoothPositions(std::vector<Knot>& knots, const std::vector<Knot>& original, double reach,
                     bool coarse) {
  const std::vector<Knot> old = knots;
  for (std::size_t i = 1; i + 1 < old.size(); ++i) {
    const Knot &a = old[i - 1], &b = old[i], &c = old[i + 1];
    if (!coarse && TurnCosine(a, b, c) < 0.5) continue;
    const double x = (a.x + 2 * b.x + c.x) / 4;
    const double y = (a.y + 2 * b.y + c.y) / 4;
    const double way = Length(x - original[i].x, y - original[i].y);
    const double share = way > reach ? reach / way : 1;
    knots[i].x = original[i].x + (x - original[i].x) * share;
    knots[i].y = original[i].y + (y - original[i].y) * share;
  }
}

// Digitisers report positions on a grid; its steps are ironed out, but never by more than the grid
// can have been wrong. If the grid is coarse beside the pen's width and the points are dense on
// it, a step is many points long, and so must be the smoothing.
void Smooth(std::vector<Knot>& knots) {
  if (knots.size() < 3) return;
  const std::vector<Knot> original = knots;
  const double radius = original[original.size() / 2].radius;
  const double pitch = PitchOf(original);
  const double density = pitch * static_cast<double>(original.size() - 1) / WayAlong(original);
  const bool coarse = pitch > radius / 4 && pitch <= kCoarsestPitch && density > 0.3;
  const double reach = coarse ? 1.1 * pitch : std::min(pitch, radius / 4);
  const int passes = coarse ? std::clamp(static_cast<int>(24 * density * density), 2, 24) : 2;
  for (int pass = 0; pass < passes; ++pass) SmoothPositions(knots, original, reach, coarse);
}

// Evens the widths out: jumps of the force vanish, and the width grows and shrinks gently.
void SmoothRadii(std::vector<Knot>& knots) {
  for (int pass = 0; pass < 3 && knots.size() > 2; ++pass) {
    const std::vector<Knot> old = knots;
    for (std::size_t i = 1; i + 1 < old.size(); ++i) {
      knots[i].radius = (old[i - 1].radius + 2 * old[i].radius + old[i + 1].radius) / 4;
    }
    knots.front().radius = (old[0].radius + old[1].radius) / 2;
    knots.back().radius = (old[old.size() - 1].radius + old[old.size() - 2].radius) / 2;
  }
  for (std::size_t i = 1; i < knots.size(); ++i) {
    const double most = knots[i - 1].radius + kSteepest * Distance(knots[i - 1], knots[i]);
    knots[i].radius = std::min(knots[i].radius, most);
  }
  for (std::size_t i = knots.size(); i-- > 1;) {
    const double most = knots[i].radius + kSteepest * Distance(knots[i - 1], knots[i]);
    knots[i - 1].radius = std::min(knots[i - 1].radius, most);
  }
}

// A point of the centripetal Catmull-Rom curve between b and c, by Barry and Goldman's pyramid.
// The centripetal one alone neither loops nor overshoots at sharp turns.
Knot OnCurve(const Knot (&p)[4], const double (&t)[4], double at) {
  const auto mix = [](const Knot& a, const Knot& b, double ta, double tb, double t) {
    const double u = tb > ta ? (t - ta) / (tb - ta) : 0;
    return Knot{a.x + (b.x - a.x) * u, a.y + (b.y - a.y) * u, 0};
  };
  const Knot a1 = mix(p[0], p[1], t[0], t[1], at);
  const Knot a2 = mix(p[1], p[2], t[1], t[2], at);
  const Knot a3 = mix(p[2], p[3], t[2], t[3], at);
  const Knot b1 = mix(a1, a2, t[0], t[2], at);
  const Knot b2 = mix(a2, a3, t[1], t[3], at);
  Knot result = mix(b1, b2, t[1], t[2], at);
  const double u = (at - t[1]) / (t[2] - t[1]);
  result.radius = p[1].radius + (p[2].radius - p[1].radius) * u;
  result.at = p[1].at + (p[2].at - p[1].at) * u;
  return result;
}

// How many straight pieces the curve between b and c takes to stay within the tolerance.
int PiecesBetween(const Knot& a, const Knot& b, const Knot& c, const Knot& d, double tolerance) {
  const double turn = std::acos(std::clamp(TurnCosine(a, b, c), -1.0, 1.0)) +
                      std::acos(std::clamp(TurnCosine(b, c, d), -1.0, 1.0));
  const double length = Distance(b, c) + std::max(b.radius, c.radius);
  const double sag = length * turn / 8;
  return std::clamp(static_cast<int>(std::ceil(std::sqrt(sag / tolerance))), 1, 24);
}

// Appends a knot unless it is on top of the last: such a knot has no direction.
void AppendApart(std::vector<Knot>& curve, const Knot& knot) {
  if (curve.empty() || Distance(curve.back(), knot) >= 1) curve.push_back(knot);
}

// Whether the pen turned sharply at knot i between two long straight pieces, as in a frame that a
// program drew. A hand that turns slows down, and a pen that is slow reports close points.
bool IsCorner(const std::vector<Knot>& knots, std::size_t i) {
  if (i == 0 || i + 1 >= knots.size()) return false;
  const Knot &a = knots[i - 1], &b = knots[i], &c = knots[i + 1];
  return Distance(a, b) > kLongPieceUm && Distance(b, c) > kLongPieceUm &&
         TurnCosine(a, b, c) < kCornerCosine;
}

// Appends the curve from knot i to the next as short straight pieces, without its end.
void AppendSpan(std::vector<Knot>& curve, const std::vector<Knot>& knots, std::size_t i,
                double tolerance) {
  const Knot &b = knots[i], &c = knots[i + 1];
  // Beyond the ends, and beyond corners, the curve goes on as it came.
  const bool begins = i == 0 || IsCorner(knots, i);
  const bool ends = i + 2 == knots.size() || IsCorner(knots, i + 1);
  const Knot a = begins ? Knot{2 * b.x - c.x, 2 * b.y - c.y, b.radius} : knots[i - 1];
  const Knot d = ends ? Knot{2 * c.x - b.x, 2 * c.y - b.y, c.radius} : knots[i + 2];
  const Knot p[4] = {a, b, c, d};
  double t[4] = {0, 0, 0, 0};
  for (int k = 1; k < 4; ++k) t[k] = t[k - 1] + std::sqrt(std::max(Distance(p[k - 1], p[k]), 1e-6));
  const int pieces = PiecesBetween(a, b, c, d, tolerance);
  for (int k = 0; k < pieces; ++k)
    AppendApart(curve, OnCurve(p, t, t[1] + (t[2] - t[1]) * k / pieces));
}

// The curve through the knots, as far as the knot `end`.
void AppendCurve(std::vector<Knot>& curve, const std::vector<Knot>& knots, std::size_t begin,
                 std::size_t end, double tolerance) {
  if (knots.size() < 3) {  // as they are
    if (begin == 0) curve = knots;
    return;
  }
  for (std::size_t i = begin; i < end && i + 1 < knots.size(); ++i)
    AppendSpan(curve, knots, i, tolerance);
  if (end == knots.size()) AppendApart(curve, knots.back());
}

void Append(Polygon& polygon, double x, double y) {
  const Corner corner = RoundedCorner(x, y);
  const bool same =
      !polygon.empty() && polygon.back().x == corner.x && polygon.back().y == corner.y;
  if (!same) polygon.push_back(corner);
}

// The corners of an arc around the knot, of `angle` radians from a direction on, both ends
// included.
void AppendArc(Polygon& polygon, const Knot& knot, Vector from, double angle, double tolerance) {
  const double step = 2 * std::acos(1 - std::min(tolerance / 2 / std::max(knot.radius, 1.0), 1.0));
  const int pieces = std::max(2, static_cast<int>(std::ceil(angle / step)));
  const double cosine = std::cos(angle / pieces), sine = std::sin(angle / pieces);
  for (int i = 0; i <= pieces; ++i) {
    Append(polygon, knot.x + knot.radius * from.x, knot.y + knot.radius * from.y);
    from = {from.x * cosine - from.y * sine, from.x * sine + from.y * cosine};
  }
}

Polygon Disc(const Knot& knot) {
  Polygon polygon;
  AppendArc(polygon, knot, {1, 0}, 2 * kPi, kFine.tolerance);
  polygon.pop_back();
  return polygon;
}

// The direction of the curve at one of its knots: that between its neighbours.
Vector DirectionAt(const std::vector<Knot>& curve, std::size_t first, std::size_t last,
                   std::size_t i) {
  const Knot& a = curve[i > first ? i - 1 : i];
  const Knot& b = curve[i < last ? i + 1 : i];
  const double length = Distance(a, b);
  // A curve that comes back to where it was has no direction there; any will do.
  return length > 0 ? Vector{(b.x - a.x) / length, (b.y - a.y) / length} : Vector{1, 0};
}

// A quarter turn of a direction to the side of `sign`.
Vector Turned(Vector direction, double sign) {
  return {-sign * direction.y, sign * direction.x};
}

Knot Side(const Knot& knot, Vector direction, double sign) {
  const Vector across = Turned(direction, sign);
  return {knot.x + knot.radius * across.x, knot.y + knot.radius * across.y, 0};
}

// Whether both sides of the piece from a to b run forward, given the directions at its ends. A
// side that runs backward would turn its part of the polygon inside out.
bool RunsForward(const Knot& a, const Knot& b, Vector direction_a, Vector direction_b) {
  for (const double sign : {-1.0, 1.0}) {
    const Knot from = Side(a, direction_a, sign);
    const Knot to = Side(b, direction_b, sign);
    if ((to.x - from.x) * (b.x - a.x) + (to.y - from.y) * (b.y - a.y) <= 0) return false;
  }
  return true;
}

// The end of the longest band that begins at `first` and can be one polygon.
std::size_t BandEnd(const std::vector<Knot>& curve, std::size_t first, std::size_t longest) {
  std::size_t last = first + 1;
  while (last + 1 < curve.size() && last - first < longest) {
    // The band would turn at `last`: by little, and with both pieces there still running forward.
    if (TurnCosine(curve[last - 1], curve[last], curve[last + 1]) < 0.8) break;
    const Vector before = DirectionAt(curve, first, last + 1, last - 1);
    const Vector at = DirectionAt(curve, first, last + 1, last);
    const Vector after = DirectionAt(curve, first, last + 1, last + 1);
    if (!RunsForward(curve[last - 1], curve[last], before, at)) break;
    if (!RunsForward(curve[last], curve[last + 1], at, after)) break;
    ++last;
  }
  return last;
}

// One band of the stroke with a round end on either side.
Polygon Band(const std::vector<Knot>& curve, std::size_t first, std::size_t last,
             double tolerance) {
  Polygon polygon;
  const Vector begin = DirectionAt(curve, first, last, first);
  const Vector end = DirectionAt(curve, first, last, last);
  AppendArc(polygon, curve[first], Turned(begin, 1), kPi, tolerance);
  for (std::size_t i = first + 1; i < last; ++i) {
    const Knot side = Side(curve[i], DirectionAt(curve, first, last, i), -1);
    Append(polygon, side.x, side.y);
  }
  AppendArc(polygon, curve[last], Turned(end, -1), kPi, tolerance);
  for (std::size_t i = last; i-- > first + 1;) {
    const Knot side = Side(curve[i], DirectionAt(curve, first, last, i), 1);
    Append(polygon, side.x, side.y);
  }
  return polygon;
}

// The tip at a knot, whose radius is half of the tip's width there. Force makes the tip higher as
// it makes it wider.
TipPrint PrintAt(const Knot& knot, const Tip& tip, double width) {
  const double half_height = tip.height_um / 2.0 * (2 * knot.radius / width);
  return {knot.x, knot.y, knot.radius, half_height};
}

// What a tip that is not round leaves between two knots.
Polygon Sweep(const Knot& a, const Knot& b, const Tip& tip, double width) {
  return SweepOf(tip.shape, PrintAt(a, tip, width), PrintAt(b, tip, width), kFine.tolerance);
}

// The smooth curve's knots that the tip's middle follows.
std::vector<Knot> SmoothKnotsOf(const Stroke& stroke, const Tip& tip) {
  std::vector<Knot> knots = KnotsOf(stroke, tip.is_constant);
  if (knots.size() < 2) return knots;
  Smooth(knots);
  SmoothRadii(knots);
  return knots;
}

// Takes what the tip leaves on its way along the curve from its knot `first` on. Answers where the
// next polygon begins: if the curve goes on behind its last knot (`goes_on`), the last band may
// not have ended yet.
std::size_t TakeBands(const std::vector<Knot>& curve, bool goes_on, const Tip& tip, double width,
                      const Fineness& fineness, const TakePolygon& take) {
  std::size_t first = 0;
  if (tip.shape != Tip::Shape::kRound) {
    for (; first + 1 < curve.size(); ++first)
      take(Sweep(curve[first], curve[first + 1], tip, width));
    return first;
  }
  while (first + 1 < curve.size()) {
    const std::size_t last = BandEnd(curve, first, fineness.longest_band);
    if (goes_on && last + 1 == curve.size()) break;
    take(Band(curve, first, last, fineness.tolerance));
    first = last;
  }
  return first;
}

void TakePrint(const Knot& knot, const Tip& tip, double width, const TakePolygon& take) {
  take(tip.shape == Tip::Shape::kRound ? Disc(knot) : Sweep(knot, knot, tip, width));
}

std::vector<Polygon> PolygonsOf(const std::vector<Knot>& curve, const Tip& tip, double width) {
  std::vector<Polygon> polygons;
  const TakePolygon take = [&](Polygon polygon) { polygons.push_back(std::move(polygon)); };
  if (curve.size() == 1) {
    TakePrint(curve.front(), tip, width, take);
  } else {
    TakeBands(curve, false, tip, width, kFine, take);
  }
  return polygons;
}

}  // namespace

Box BoxOf(const Stroke& stroke, const Tip& tip) {
  Box box;
  const double width = WidthOf(stroke);
  for (const Knot& knot : KnotsOf(stroke, tip.is_constant)) {
    TipPrint print = PrintAt(knot, tip, width);
    if (tip.shape == Tip::Shape::kRound) print.half_height = knot.radius;
    const Corner first = RoundedCorner(print.x - print.half_width, print.y - print.half_height);
    const Corner last = RoundedCorner(print.x + print.half_width, print.y + print.half_height);
    box.Take({first.x, first.y, last.x, last.y, false});
  }
  return box;
}

bool IsLong(const Stroke& stroke) {
  return WayAlong(KnotsOf(stroke, true)) > kLongWayUm;
}

void ForEachPolygon(const Stroke& stroke, const Tip& tip, const TakePolygon& take) {
  const std::vector<Knot> knots = SmoothKnotsOf(stroke, tip);
  const double width = WidthOf(stroke);
  const Fineness& fineness = IsLong(stroke) ? kScribbled : kFine;
  std::vector<Knot> curve;  // a part of it
  for (std::size_t begin = 0; begin < knots.size(); begin += kKnotsOfAPart) {
    const std::size_t end = std::min(begin + kKnotsOfAPart, knots.size());
    AppendCurve(curve, knots, begin, end, fineness.tolerance);
    const std::size_t first = TakeBands(curve, end < knots.size(), tip, width, fineness, take);
    curve.erase(curve.begin(), curve.begin() + static_cast<std::ptrdiff_t>(first));
    if (first == 0 && curve.size() == 1 && end == knots.size())
      TakePrint(curve.front(), tip, width, take);
  }
}

std::vector<double> WidthsOf(const Stroke& stroke, const Tip& tip) {
  std::vector<double> widths = RadiiOf(stroke, PositionsOf(stroke), tip.is_constant);
  for (double& width : widths) width *= 2;
  return widths;
}

std::vector<Polygon> OutlineOf(const Stroke& stroke, const Tip& tip) {
  std::vector<Polygon> polygons;
  ForEachPolygon(stroke, tip, [&](Polygon polygon) { polygons.push_back(std::move(polygon)); });
  return polygons;
}

std::vector<OutlinePiece> OutlinePiecesOf(const Stroke& stroke, const Tip& tip,
                                          const std::vector<double>& times_ms, double step_ms) {
  const std::vector<Knot> knots = SmoothKnotsOf(stroke, tip);
  std::vector<Knot> curve;
  AppendCurve(curve, knots, 0, knots.size(), kFine.tolerance);
  const auto time_at = [&](const Knot& knot) {
    const std::size_t point = std::min(static_cast<std::size_t>(knot.at), times_ms.size() - 1);
    const double next = times_ms[std::min(point + 1, times_ms.size() - 1)];
    return times_ms[point] + (next - times_ms[point]) * (knot.at - double(point));
  };
  std::vector<OutlinePiece> pieces;
  for (std::size_t first = 0; first < curve.size();) {
    const double begin = time_at(curve[first]);
    std::size_t last = first;
    while (last + 1 < curve.size() && (last == first || time_at(curve[last]) < begin + step_ms))
      ++last;
    const std::vector<Knot> part(curve.begin() + static_cast<std::ptrdiff_t>(first),
                                 curve.begin() + static_cast<std::ptrdiff_t>(last) + 1);
    pieces.push_back({begin, PolygonsOf(part, tip, WidthOf(stroke))});
    first = last + 1 == curve.size() ? curve.size() : last;
  }
  return pieces;
}

}  // namespace TalvoInk
