#include "ink/svg/SvgPath.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kMostPieces = 1000;  // of one curve

double Distance(const SvgPoint& a, const SvgPoint& b) {
  return std::hypot(b.x - a.x, b.y - a.y);
}

// Numbers with or without commas between them; a sign or a second point begins the next number.
class Scanner {
 public:
  explicit Scanner(const std::string& text) : text_(text) {}

  bool AtEnd() {
    SkipWhite();
    return at_ == text_.size();
  }

  // The letter of a command, if one is next; it is taken.
  bool TakeCommand(char& command) {
    SkipWhite();
    static const std::string kCommands = "MmZzLlHhVvCcSsQqTtAa";
    if (at_ == text_.size() || kCommands.find(text_[at_]) == std::string::npos) return false;
    command = text_[at_++];
    return true;
  }

  double Number() {
    SkipComma();
    const char* begin = text_.data() + at_;
    const char* const end = text_.data() + text_.size();
    if (begin != end && *begin == '+') ++begin;
    double value = 0;
    const auto result = std::from_chars(begin, end, value);
    if (result.ec != std::errc() || !std::isfinite(value)) Refuse();
    at_ = static_cast<std::size_t>(result.ptr - text_.data());
    return value;
  }

  // A flag of an arc is one digit, and the next may touch it.
  bool Flag() {
    SkipComma();
    if (at_ == text_.size() || (text_[at_] != '0' && text_[at_] != '1')) Refuse();
    return text_[at_++] == '1';
  }

  SvgPoint Point() {
    const double x = Number();
    return {x, Number()};
  }

  [[noreturn]] void Refuse() const {
    throw InkError("not path data at character " + std::to_string(at_ + 1));
  }

 private:
  void SkipWhite() {
    while (at_ < text_.size() && std::string(" \t\r\n\f").find(text_[at_]) != std::string::npos)
      ++at_;
  }
  void SkipComma() {
    SkipWhite();
    if (at_ < text_.size() && text_[at_] == ',') ++at_;
    SkipWhite();
  }

  const std::string& text_;
  std::size_t at_ = 0;
};

class PathReader {
 public:
  PathReader(const std::string& d, double tolerance) : scan_(d), tolerance_(tolerance) {}

  std::vector<SvgRun> Read() {
    char command = 0;
    if (!scan_.AtEnd() && (!scan_.TakeCommand(command) || (command != 'M' && command != 'm'))) {
      scan_.Refuse();
    }
    while (command != 0) {
      Obey(command);
      if (scan_.AtEnd()) break;
      const bool repeats = !scan_.TakeCommand(command);
      if (repeats && (command == 'Z' || command == 'z')) scan_.Refuse();
      // Further pairs behind a "move to" are lines.
      if (repeats && command == 'M') command = 'L';
      if (repeats && command == 'm') command = 'l';
    }
    return std::move(runs_);
  }

 private:
  void Obey(char command) {
    const SvgPoint origin = command >= 'a' ? at_ : SvgPoint{0, 0};
    bool is_cubic = false, is_quadratic = false;
    switch (static_cast<char>(command & ~0x20)) {  // in upper case
      case 'M':
        MoveTo(Next(origin));
        break;
      case 'Z':
        LineTo(start_);
        is_closed_ = true;  // what follows begins there anew
        break;
      case 'L':
        LineTo(Next(origin));
        break;
      case 'H':
        LineTo({origin.x + scan_.Number(), at_.y});
        break;
      case 'V':
        LineTo({at_.x, origin.y + scan_.Number()});
        break;
      case 'A':
        ReadArc(origin);
        break;
      case 'C':
      case 'S':
        ReadCubic(origin, (command & ~0x20) == 'S');
        is_cubic = true;
        break;
      default:
        ReadQuadratic(origin, (command & ~0x20) == 'T');
        is_quadratic = true;
    }
    last_cubic_ = is_cubic;
    last_quadratic_ = is_quadratic;
  }

  SvgPoint Next(const SvgPoint& origin) {
    const SvgPoint point = scan_.Point();
    return {origin.x + point.x, origin.y + point.y};
  }

  void MoveTo(const SvgPoint& to) {
    at_ = start_ = to;
    runs_.push_back({at_});
    is_closed_ = false;
  }

  // A smooth curve goes on from the last one without a bend.
  void ReadCubic(const SvgPoint& origin, bool smooth) {
    const SvgPoint a = smooth ? Mirrored(last_cubic_) : Next(origin);
    const SvgPoint b = Next(origin);
    Cubic(a, b, Next(origin));
    control_ = b;
  }

  void ReadQuadratic(const SvgPoint& origin, bool smooth) {
    const SvgPoint from = at_;
    const SvgPoint c = smooth ? Mirrored(last_quadratic_) : Next(origin);
    const SvgPoint end = Next(origin);
    Cubic({from.x + 2 * (c.x - from.x) / 3, from.y + 2 * (c.y - from.y) / 3},
          {end.x + 2 * (c.x - end.x) / 3, end.y + 2 * (c.y - end.y) / 3}, end);
    control_ = c;
  }

  void ReadArc(const SvgPoint& origin) {
    const double rx = scan_.Number(), ry = scan_.Number(), turn = scan_.Number();
    const bool large = scan_.Flag(), sweep = scan_.Flag();
    Arc(std::abs(rx), std::abs(ry), turn * kPi / 180, large, sweep, Next(origin));
  }

  // The last control point mirrored at the pen, if the command before was a curve of that kind.
  SvgPoint Mirrored(bool of_such_a_curve) const {
    if (!of_such_a_curve) return at_;
    return {2 * at_.x - control_.x, 2 * at_.y - control_.y};
  }

  void LineTo(const SvgPoint& to) {
    if (runs_.empty() || is_closed_) runs_.push_back({at_});
    is_closed_ = false;
    if (++points_ > kMostSvgPoints || !std::isfinite(to.x) || !std::isfinite(to.y)) {
      throw InkError("a path of more than " + std::to_string(kMostSvgPoints) +
                     " points, or beyond all numbers");
    }
    runs_.back().push_back(to);
    at_ = to;
  }

  // In n straight pieces a cubic curve is off by at most 3/4 of its largest second difference,
  // divided by n^2.
  void Cubic(const SvgPoint& a, const SvgPoint& b, const SvgPoint& end) {
    const SvgPoint from = at_;
    const double bend = std::max(std::hypot(from.x - 2 * a.x + b.x, from.y - 2 * a.y + b.y),
                                 std::hypot(a.x - 2 * b.x + end.x, a.y - 2 * b.y + end.y));
    const int pieces = PiecesFor(std::sqrt(0.75 * bend / tolerance_));
    for (int i = 1; i < pieces; ++i) {
      const double t = double(i) / pieces, u = 1 - t;
      const double p = u * u * u, q = 3 * u * u * t, r = 3 * u * t * t, s = t * t * t;
      LineTo(
          {p * from.x + q * a.x + r * b.x + s * end.x, p * from.y + q * a.y + r * b.y + s * end.y});
    }
    LineTo(end);
  }

  static int PiecesFor(double wanted) {
    return wanted < kMostPieces ? std::max(1, static_cast<int>(std::ceil(wanted))) : kMostPieces;
  }

  // From ends and radii to the middle and angles: SVG 1.1, appendix F.6.5.
  void Arc(double rx, double ry, double turn, bool large, bool sweep, const SvgPoint& end) {
    const SvgPoint from = at_;
    if (rx == 0 || ry == 0 || Distance(from, end) == 0) {
      LineTo(end);
      return;
    }
    const double c = std::cos(turn), s = std::sin(turn);
    const double dx = (from.x - end.x) / 2, dy = (from.y - end.y) / 2;
    const double x = c * dx + s * dy, y = -s * dx + c * dy;
    const double excess = x * x / (rx * rx) + y * y / (ry * ry);
    if (excess > 1) {
      rx *= std::sqrt(excess);
      ry *= std::sqrt(excess);
    }
    const double below = rx * rx * y * y + ry * ry * x * x;
    const double root = std::sqrt(std::max(0.0, (rx * rx * ry * ry - below) / below));
    const double factor = large == sweep ? -root : root;
    const double mx = factor * rx * y / ry, my = -factor * ry * x / rx;
    const double first = std::atan2((y - my) / ry, (x - mx) / rx);
    double span = std::atan2((-y - my) / ry, (-x - mx) / rx) - first;
    if (sweep && span < 0) span += 2 * kPi;
    if (!sweep && span > 0) span -= 2 * kPi;
    const double cx = c * mx - s * my + (from.x + end.x) / 2;
    const double cy = s * mx + c * my + (from.y + end.y) / 2;
    const double radius = std::max(rx, ry);
    const double step = 2 * std::acos(1 - std::min(tolerance_ / radius, 1.0));
    const int pieces = PiecesFor(std::abs(span) / std::max(step, 1e-6));
    for (int i = 1; i < pieces; ++i) {
      const double at = first + span * i / pieces;
      const double ex = rx * std::cos(at), ey = ry * std::sin(at);
      LineTo({cx + c * ex - s * ey, cy + s * ex + c * ey});
    }
    LineTo(end);
  }

  Scanner scan_;
  const double tolerance_;
  std::vector<SvgRun> runs_;
  std::size_t points_ = 0;
  SvgPoint at_{0, 0}, start_{0, 0}, control_{0, 0};
  bool last_cubic_ = false, last_quadratic_ = false;
  bool is_closed_ = false;
};

}  // namespace

std::vector<SvgRun> ParseSvgPath(const std::string& d, double tolerance) {
  return PathReader(d, tolerance).Read();
}

SvgRun ParseSvgPoints(const std::string& points) {
  Scanner scan(points);
  SvgRun run;
  while (!scan.AtEnd()) run.push_back(scan.Point());
  return run;
}

SvgRun SvgEllipse(double cx, double cy, double rx, double ry, double tolerance) {
  const double step = 2 * std::acos(1 - std::min(tolerance / std::max(rx, ry), 1.0));
  const int pieces =
      std::clamp(static_cast<int>(2 * kPi / std::max(step, 1e-6)) + 1, 8, kMostPieces);
  SvgRun run;
  for (int i = 0; i <= pieces; ++i) {
    const double angle = 2 * kPi * i / pieces;
    run.push_back({cx + rx * std::cos(angle), cy + ry * std::sin(angle)});
  }
  return run;
}

SvgRun SvgRectangle(double x, double y, double width, double height, double rx, double ry,
                    double tolerance) {
  if (!(width > 0 && height > 0)) return {};
  if (rx < 0) rx = ry;
  if (ry < 0) ry = rx;
  rx = std::clamp(rx, 0.0, width / 2);
  ry = std::clamp(ry, 0.0, height / 2);
  const double right = x + width, bottom = y + height;
  if (rx == 0 || ry == 0) return {{x, y}, {right, y}, {right, bottom}, {x, bottom}, {x, y}};
  const double step = 2 * std::acos(1 - std::min(tolerance / std::max(rx, ry), 1.0));
  const int pieces =
      std::clamp(static_cast<int>(kPi / 2 / std::max(step, 1e-6)) + 1, 2, kMostPieces);
  SvgRun run;
  const SvgPoint middles[] = {
      {right - rx, y + ry}, {right - rx, bottom - ry}, {x + rx, bottom - ry}, {x + rx, y + ry}};
  for (int corner = 0; corner < 4; ++corner) {
    for (int i = 0; i <= pieces; ++i) {
      const double angle = kPi / 2 * (corner - 1 + double(i) / pieces);
      run.push_back(
          {middles[corner].x + rx * std::cos(angle), middles[corner].y + ry * std::sin(angle)});
    }
  }
  run.push_back(run.front());
  return run;
}

}  // namespace TalvoInk
