#include "ink/inkml/InkMLUnits.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ink/Ink.h"
#include "ink/Units.h"

namespace TalvoInk {
namespace {

constexpr double kLeastPens = 4;          // of a stroke's size: with fewer, letters are blobs
constexpr double kMostStrokeUm = 1e5;     // a stroke of a hand that does not move the arm
constexpr double kMostCanvasUm = 2e6;     // a canvas that is scrolled over
constexpr double kMostPosterUm = 6e5;     // paper on a wall
constexpr double kHandsWidthUm = 1e5;     // what ink of no plausible unit is scaled to
constexpr double kScaledStrokeUm = 8000;  // or its strokes, if they would be blobs

// Of values with lengths, the one below which half of the length lies.
double MedianByLength(std::vector<std::pair<double, double>>& values) {
  std::sort(values.begin(), values.end());
  double all = 0;
  for (const auto& entry : values) all += entry.second;
  double below = 0;
  for (const auto& [value, length] : values) {
    below += length;
    if (below >= all / 2) return value;
  }
  return 0;
}

}  // namespace

void UnitEvidence::BeginTrace(double pen_um) {
  trace_ = {};
  trace_.pen_um = pen_um;
}

void UnitEvidence::Take(double x, double y) {
  const bool first = trace_.points++ == 0;
  trace_.left = first ? x : std::min(trace_.left, x);
  trace_.right = first ? x : std::max(trace_.right, x);
  trace_.top = first ? y : std::min(trace_.top, y);
  trace_.bottom = first ? y : std::max(trace_.bottom, y);
  if (!first) trace_.length += std::hypot(x - last_x_, y - last_y_);
  last_x_ = x;
  last_y_ = y;
}

void UnitEvidence::EndTrace() {
  if (trace_.points == 0) return;
  left_ = any_ ? std::min(left_, trace_.left) : trace_.left;
  right_ = any_ ? std::max(right_, trace_.right) : trace_.right;
  top_ = any_ ? std::min(top_, trace_.top) : trace_.top;
  bottom_ = any_ ? std::max(bottom_, trace_.bottom) : trace_.bottom;
  any_ = true;
  extent_ = std::max({extent_, right_ - left_, bottom_ - top_});
  const double reach = std::max(trace_.right - trace_.left, trace_.bottom - trace_.top);
  if (!(reach > 0) || !std::isfinite(trace_.length)) return;
  // A stroke three times as long as it reaches is cursive writing; one that is longer fills its
  // box, like a spiral, and its turns must stay apart.
  const double winding = std::min(1.0, 3 * reach / trace_.length);
  sizes_.push_back({reach * winding, trace_.length, trace_.pen_um});
}

void UnitEvidence::Merge(const UnitEvidence& other) {
  sizes_.insert(sizes_.end(), other.sizes_.begin(), other.sizes_.end());
  any_ = any_ || other.any_;
  extent_ = std::max(extent_, other.extent_);
}

double UnitEvidence::TypicalSize() const {
  std::vector<std::pair<double, double>> values;
  for (const Size& size : sizes_) values.emplace_back(size.counts, size.length);
  return MedianByLength(values);
}

double UnitEvidence::TypicalRatio() const {
  std::vector<std::pair<double, double>> values;
  for (const Size& size : sizes_) values.emplace_back(size.counts / size.pen_um, size.length);
  return MedianByLength(values);
}

bool UnitEvidence::Suits(double um, double most_stroke_um, double most_extent_um) const {
  return TypicalRatio() * um >= kLeastPens && TypicalSize() * um <= most_stroke_um &&
         extent_ * um <= most_extent_um;
}

std::optional<AssumedUnit> UnitEvidence::Judge() const {
  if (!any_) return std::nullopt;
  const std::string told = "X and Y without a unit; ";
  if (sizes_.empty()) return AssumedUnit{MicrometresOf("px").value(), told + "px taken"};
  for (const auto& [stroke, extent] :
       {std::pair<double, double>(kMostStrokeUm, kMostCanvasUm), {kMostPosterUm, kMostPosterUm}}) {
    for (const char* unit : {"px", "himetric", "mm"}) {
      const double um = MicrometresOf(unit).value();
      if (Suits(um, stroke, extent)) return AssumedUnit{um, told + unit + " taken"};
    }
  }
  const double whole = kHandsWidthUm / extent_;
  if (Suits(whole, kMostPosterUm, kMostPosterUm)) {
    return AssumedUnit{whole, told + "scaled so that the ink is 100 mm large", true};
  }
  return AssumedUnit{kScaledStrokeUm / TypicalSize(),
                     told + "scaled so that most strokes are 8 mm large", true};
}

std::optional<AssumedUnit> UnitEvidence::JudgeBeside(
    const std::optional<AssumedUnit>& agreed) const {
  const std::optional<AssumedUnit> own = Judge();
  if (!own || !agreed) return own;
  if (sizes_.empty()) return agreed;
  const bool is_invisible = extent_ * agreed->um < kDefaultWidthUm;
  const bool is_blobs = TypicalRatio() * agreed->um < 1;
  const bool is_huge = extent_ * agreed->um > kMostCanvasUm;
  return is_invisible || (!own->is_invented && (is_blobs || is_huge)) ? own : agreed;
}

}  // namespace TalvoInk
