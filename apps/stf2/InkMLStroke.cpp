#include "InkMLStroke.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "Refusal.h"
#include "Time.h"
#include "Units.h"

namespace InkTool {
namespace {

constexpr double kMostOffset = std::numeric_limits<std::uint32_t>::max();
constexpr double kSameTime = 1e-3;      // ms: what reckoning in fractions of seconds is off by
constexpr double kEarliestDate = 1e11;  // ms: in 1973; a smaller count is no date

double Scaled(const ChannelMeaning& meaning, double value) {
  return (meaning.mirrored ? -value : value) * meaning.scale;
}

// Whole numbers of one width or another; digitisers count force up to a power of two.
double ForceCeiling(double highest) {
  if (highest <= 1) return 1;
  for (const double ceiling : {255, 511, 1023, 2047, 4095, 8191, 16383, 32767}) {
    if (highest <= ceiling) return ceiling;
  }
  return std::max(highest, 65535.0);
}

std::string Plain(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6g", value);
  return text;
}

std::uint16_t ForceFrom(double share) {
  return static_cast<std::uint16_t>(std::lround(std::clamp(share, 0.0, 1.0) * 65535));
}

}  // namespace

void StrokeMaker::Range::Take(double value) {
  low = empty ? value : std::min(low, value);
  high = empty ? value : std::max(high, value);
  empty = false;
}

void StrokeMaker::Measure(const TraceContext& context, const TraceDecoder& trace,
                          TraceOffset offset) {
  const TraceFormat& format = *context.format;
  const bool no_unit = !format.meanings[kX].has_unit && !format.meanings[kY].has_unit;
  if (format.meanings[kX].has_unit != format.meanings[kY].has_unit && !trace.points().empty()) {
    losses_.Add(std::string(format.meanings[kX].has_unit ? "Y" : "X") +
                " without a unit; that of the other taken");
  }
  const bool dated = definitions_.BaseOf(context).has_value();
  const double shift = offset ? static_cast<double>(*offset) : 0;
  for (const TracePoint& point : trace.points()) {
    if (no_unit) {
      x_.Take(point[kX]);
      y_.Take(point[kY]);
    }
    if (!format.meanings[kForce].max && !std::isnan(point[kForce])) force_.Take(point[kForce]);
    if (!dated && !std::isnan(point[kTime])) {
      relative_.Take(Scaled(format.meanings[kTime], point[kTime]) + shift);
    }
  }
}

void StrokeMaker::EndMeasuring() {
  if (!x_.empty) {
    const double size = std::max(x_.high - x_.low, y_.high - y_.low);
    if (options_.unit_um) {
      assumed_unit_um_ = *options_.unit_um;
    } else {
      // The unit under which the ink is neither a speck nor larger than a poster.
      const auto fits = [&](const char* unit) {
        const double length = size * MicrometresOf(unit).value();
        return size == 0 || (length >= 3e3 && length <= 6e5);
      };
      const char* unit = fits("px") ? "px" : fits("himetric") ? "himetric" : nullptr;
      assumed_unit_um_ = unit != nullptr ? MicrometresOf(unit).value() : 1e5 / size;
      losses_.Add(unit != nullptr
                      ? std::string("X and Y without a unit; ") + unit + " taken"
                      : std::string("X and Y without a unit; scaled so that the ink is 100 mm "
                                    "large"));
    }
  }
  if (!force_.empty) {
    assumed_force_ = ForceCeiling(force_.high);
    losses_.Add("force without a range; 0 to " + Plain(assumed_force_) + " taken");
  }
  if (!relative_.empty) {
    times_are_dates_ = relative_.low >= kEarliestDate && relative_.high <= kLastTimeMs;
    const bool fits = relative_.low >= 0 && relative_.high <= kMostOffset;
    const bool shifted = !times_are_dates_ && (options_.start_time_ms || !fits);
    if (shifted && std::abs(relative_.low) < 9e18) relative_zero_ = std::llround(relative_.low);
    if (times_are_dates_) {
      losses_.Add("times without a timestamp; milliseconds since 1970 taken");
    } else if (!options_.start_time_ms) {
      losses_.Add("times without a timestamp: the time of day is not known");
    }
  }
}

std::optional<Stroke> StrokeMaker::Make(const TraceContext& context, const TraceDecoder& trace,
                                        TraceOffset offset) {
  if (trace.undeclared() > 0) {
    losses_.Count("values without a declared channel dropped", trace.undeclared());
  }
  if (trace.unplaced() > 0) {
    losses_.Count("points without a position left out", trace.unplaced());
  }
  if (trace.short_points() > trace.unplaced()) {
    losses_.Count("points with fewer values than channels",
                  trace.short_points() - trace.unplaced());
  }
  if (context.format->Has(kSampleType)) return MakeExact(context, trace, offset);
  if (trace.points().empty()) {
    losses_.Count("traces without points left out", 1);
    return std::nullopt;
  }
  Stroke stroke;
  std::vector<Stf2Sample> points(trace.points().size());
  PlacePoints(*context.format, trace, points);
  PressPoints(*context.format, trace, points);
  TimePoints(context, trace, offset, stroke, points);
  begun_.insert(context.timestamp_id);
  stroke.samples = DrawThrough(points);
  return stroke;
}

double StrokeMaker::UnitOf(const TraceFormat& format, Role role) const {
  const ChannelMeaning& own = format.meanings[role];
  const ChannelMeaning& other = format.meanings[role == kX ? kY : kX];
  const double unit = own.has_unit ? own.scale : other.has_unit ? other.scale : assumed_unit_um_;
  return own.mirrored ? -unit : unit;
}

void StrokeMaker::PlacePoints(const TraceFormat& format, const TraceDecoder& trace,
                              std::vector<Stf2Sample>& points) {
  const double unit_x = UnitOf(format, kX);
  const double unit_y = UnitOf(format, kY);
  constexpr double kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double x = std::round(trace.points()[i][kX] * unit_x);
    const double y = std::round(trace.points()[i][kY] * unit_y);
    // Written so that a number that overflowed is refused as well.
    if (!(x >= kLeast && x <= kMost && y >= kLeast && y <= kMost)) {
      throw Refusal("point " + std::to_string(i + 1) + " of the trace is " +
                    Plain(std::max(std::abs(x), std::abs(y)) / 1e6) +
                    " m away; ink reaches 2147 m from the page's corner");
    }
    points[i].x_um = static_cast<std::int32_t>(x);
    points[i].y_um = static_cast<std::int32_t>(y);
  }
}

void StrokeMaker::PressPoints(const TraceFormat& format, const TraceDecoder& trace,
                              std::vector<Stf2Sample>& points) {
  if (!format.Has(kForce)) return;
  const ChannelMeaning& meaning = format.meanings[kForce];
  const double low = meaning.min.value_or(0);
  const double high = meaning.max.value_or(assumed_force_);
  const double span = high > low ? high - low : 1;
  std::uint16_t last = 0;
  std::size_t missing = 0;
  std::size_t beyond = 0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    const double force = trace.points()[i][kForce];
    if (std::isnan(force)) {
      ++missing;
    } else {
      if (force < low || force > high) ++beyond;
      last = ForceFrom((force - low) / span);
    }
    points[i].force = last;
  }
  if (missing > 0) losses_.Count("points without a force; that of the point before taken", missing);
  if (beyond > 0) losses_.Count("forces beyond the stated range cut", beyond);
}

bool StrokeMaker::SetStart(WideMs start, Stroke& stroke) {
  if (start <= 0 || start > static_cast<WideMs>(kLastTimeMs)) {
    losses_.Count("strokes with a time before 1970 or after 9999; the time dropped", 1);
    return false;
  }
  stroke.start_time_ms = static_cast<std::uint64_t>(start);
  return true;
}

void StrokeMaker::TimePoints(const TraceContext& context, const TraceDecoder& trace,
                             TraceOffset offset, Stroke& stroke, std::vector<Stf2Sample>& points) {
  const ChannelMeaning& meaning = context.format->meanings[kTime];
  std::vector<double> times(points.size());
  Range range;
  std::size_t rounded = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    const double time = Scaled(meaning, trace.points()[i][kTime]);
    times[i] = std::round(time);
    if (std::isnan(time)) continue;
    range.Take(times[i]);
    if (std::abs(time - times[i]) > kSameTime) ++rounded;
  }
  if (rounded > 0) losses_.Count("times rounded to whole milliseconds", rounded);
  if (range.empty || std::abs(range.low) > 9e18) {
    TimeStart(context, offset, stroke, points);
    return;
  }
  const std::optional<WideMs> base = definitions_.BaseOf(context);
  const bool shifted = offset && meaning.respect_to.empty();
  const WideMs own_offset = shifted ? *offset : 0;
  double zero = 0;  // the time of a point whose offset is 0
  if (base || times_are_dates_ || options_.start_time_ms) {
    // Without an offset of its own a stroke begins with its first point.
    if (!shifted || range.low < 0) zero = range.low;
    const WideMs shift = base               ? *base
                         : times_are_dates_ ? 0
                                            : WideMs(*options_.start_time_ms) - relative_zero_;
    if (!SetStart(shift + own_offset + static_cast<WideMs>(zero), stroke)) return;
  } else {
    zero = static_cast<double>(relative_zero_ - own_offset);
  }
  std::size_t missing = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    const double after = times[i] - zero;
    const bool known = after >= 0 && after <= kMostOffset;  // false for NaN
    if (!known) ++missing;
    points[i].time_offset_ms = known ? static_cast<std::uint32_t>(after) : 0;
    points[i].flags = known ? STF2_SAMPLE_HAS_TIME : 0;
  }
  if (missing > 0) losses_.Count("points without a time", missing);
}

// A trace without a T channel: at most the time of its beginning is known.
void StrokeMaker::TimeStart(const TraceContext& context, TraceOffset offset, Stroke& stroke,
                            std::vector<Stf2Sample>& points) {
  const WideMs after = offset.value_or(0);
  const bool first = begun_.count(context.timestamp_id) == 0;
  if (context.timestamp && (offset || first)) {
    losses_.Add("points without a time but the first of each stroke");
    if (!SetStart(*context.timestamp + after, stroke)) return;
  } else if (options_.start_time_ms) {
    if (!SetStart(static_cast<WideMs>(*options_.start_time_ms) + after, stroke)) return;
  } else {
    losses_.Count("strokes without a time", 1);
    return;
  }
  points.front().flags = STF2_SAMPLE_HAS_TIME;
}

// A trace whose every sample is spelled out, the pen's touching down and lifting included.
Stroke StrokeMaker::MakeExact(const TraceContext& context, const TraceDecoder& trace,
                              TraceOffset offset) {
  Stroke stroke;
  stroke.samples.resize(trace.points().size());
  PlacePoints(*context.format, trace, stroke.samples);
  PressPoints(*context.format, trace, stroke.samples);
  for (std::size_t i = 0; i < stroke.samples.size(); ++i) {
    const TracePoint& point = trace.points()[i];
    const bool whole = !(point[kSampleType] < 0 || point[kSampleType] > 255) &&
                       !(point[kSampleFlags] < 0 || point[kSampleFlags] > 255) &&
                       !(point[kTime] < 0 || point[kTime] > kMostOffset);
    if (!whole) throw Refusal("sample " + std::to_string(i + 1) + " of the trace is out of range");
    const auto number = [](double value) { return std::isnan(value) ? 0 : std::llround(value); };
    stroke.samples[i].type = static_cast<std::uint8_t>(number(point[kSampleType]));
    stroke.samples[i].flags = static_cast<std::uint8_t>(number(point[kSampleFlags]));
    stroke.samples[i].time_offset_ms = static_cast<std::uint32_t>(number(point[kTime]));
  }
  if (offset) {
    const WideMs start = context.timestamp.value_or(0) + *offset;
    if (start < 0 || start > static_cast<WideMs>(std::numeric_limits<std::uint64_t>::max())) {
      throw Refusal("the trace's time is out of range");
    }
    stroke.start_time_ms = static_cast<std::uint64_t>(start);
  }
  return stroke;
}

}  // namespace InkTool
