#include "ink/inkml/InkMLStroke.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "ink/InkError.h"
#include "ink/Time.h"
#include "ink/Units.h"

namespace TalvoInk {
namespace {

constexpr double kMostOffset = std::numeric_limits<std::uint32_t>::max();
constexpr double kSameTime = 1e-3;      // ms: the rounding error of times in fractions of seconds
constexpr double kEarliestDate = 1e11;  // ms: in 1973; a smaller count is not a date

// Ink whose unit is a guess belongs on a sheet of A4, this far from its corner.
constexpr double kSheetWidthUm = 210e3;
constexpr double kSheetHeightUm = 297e3;
constexpr double kCornerUm = 10e3;

double Scaled(const ChannelMeaning& meaning, double value) {
  const double mapped = meaning.Mapped(value);
  return (meaning.mirrored ? -mapped : mapped) * meaning.scale;
}

// Digitisers count force in whole numbers of 8 to 16 bits: the next full range is taken.
double ForceCeiling(double highest) {
  if (highest <= 1) return 1;
  for (const double ceiling : {255, 511, 1023, 2047, 4095, 8191, 16383, 32767}) {
    if (highest <= ceiling) return ceiling;
  }
  return std::max(highest, 65535.0);
}

// Whether the unit of the trace's positions is not known.
bool IsUnitless(const TraceContext& context) {
  const auto& meanings = context.format->meanings;
  const bool canvas_has_unit = context.canvas && context.canvas->unit_um;
  return !canvas_has_unit && !meanings[kX].has_unit && !meanings[kY].has_unit;
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
  const bool no_unit = IsUnitless(context);
  if (no_unit) {
    const std::uint32_t width = context.brush.width_um;
    evidence_.BeginTrace(width == 0 ? kDefaultWidthUm : width);
  }
  if (format.meanings[kX].has_unit != format.meanings[kY].has_unit && !trace.points().empty()) {
    losses_.Add(std::string(format.meanings[kX].has_unit ? "Y" : "X") +
                " without a unit; that of the other taken");
  }
  const std::optional<WideMs> base = definitions_.BaseOf(context);
  const bool dated = base.has_value();
  const double shift = offset ? static_cast<double>(*offset) : 0;
  if (dated && !trace.points().empty()) {
    const WideMs date = *base + offset.value_or(0);
    first_date_ = std::min(first_date_.value_or(date), date);
  }
  for (const TracePoint& point : trace.points()) {
    if (no_unit) {
      const auto [x, y] = PlaceOf(context, point);
      x_.Take(x);
      y_.Take(y);
      evidence_.Take(x, y);
    }
    if (!format.meanings[kForce].max && !std::isnan(point[kForce]))
      force_.Take(format.meanings[kForce].Mapped(point[kForce]));
    if (!dated && !std::isnan(point[kTime])) {
      relative_.Take(Scaled(format.meanings[kTime], point[kTime]) + shift);
    }
  }
  if (no_unit) evidence_.EndTrace();
}

// If the unit is a guess, the place on the page means nothing: ink that begins off a sheet, or
// sticks out and could begin nearer to its corner, is moved there.
void StrokeMaker::AssumeUnit() {
  const std::optional<AssumedUnit> assumed = evidence_.JudgeBeside(options_.assumed_unit);
  if (!assumed) return;
  if (options_.unit_um) {
    assumed_unit_um_ = *options_.unit_um;
    return;
  }
  assumed_unit_um_ = assumed->um;
  losses_.Add(assumed->told);
  const double left = x_.low * assumed->um, right = x_.high * assumed->um;
  const double top = y_.low * assumed->um, bottom = y_.high * assumed->um;
  const bool off_x = left < 0 || (right > kSheetWidthUm && left > kCornerUm);
  const bool off_y = top < 0 || (bottom > kSheetHeightUm && top > kCornerUm);
  if (!off_x && !off_y) return;
  move_x_um_ = kCornerUm - left;
  move_y_um_ = kCornerUm - top;
  losses_.Add("X and Y without a unit; moved to the page's corner by " + Plain(move_x_um_ / 1000) +
              ", " + Plain(move_y_um_ / 1000) + " mm");
}

void StrokeMaker::EndMeasuring() {
  AssumeUnit();
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
      losses_.Note("times without a timestamp: the time of day is not known");
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
  PlacePoints(context, trace, points);
  PressPoints(*context.format, trace, points);
  TimePoints(context, trace, offset, stroke, points);
  begun_.insert(context.timestamp_id);
  stroke.samples = DrawThrough(points);
  return stroke;
}

std::pair<double, double> StrokeMaker::PlaceOf(const TraceContext& context,
                                               const TracePoint& point) const {
  const ChannelMeaning& x = context.format->meanings[kX];
  const ChannelMeaning& y = context.format->meanings[kY];
  double unit_x = x.has_unit ? x.scale : y.has_unit ? y.scale : 1;
  double unit_y = y.has_unit ? y.scale : unit_x;
  const double at_x = x.Mapped(point[kX]), at_y = y.Mapped(point[kY]);
  if (!context.canvas) {
    return {(x.mirrored ? -at_x : at_x) * unit_x, (y.mirrored ? -at_y : at_y) * unit_y};
  }
  // The canvas says which way its axes run, so that the device's orientation counts no more.
  // Without a unit of its own it counts in that of the device.
  if (context.canvas->unit_um) {
    const auto [mapped_x, mapped_y] = context.canvas->affine.Map(at_x, at_y);
    return {mapped_x * *context.canvas->unit_um, mapped_y * *context.canvas->unit_um};
  }
  Affine affine = context.canvas->affine;
  affine.x0 *= unit_x;
  affine.y0 *= unit_y;
  return affine.Map(at_x * unit_x, at_y * unit_y);
}

void StrokeMaker::PlacePoints(const TraceContext& context, const TraceDecoder& trace,
                              std::vector<Stf2Sample>& points) {
  const bool no_unit = IsUnitless(context);
  const double unit = no_unit ? assumed_unit_um_ : 1;
  const double move_x = no_unit ? move_x_um_ : 0, move_y = no_unit ? move_y_um_ : 0;
  constexpr double kLeast = std::numeric_limits<std::int32_t>::min();
  constexpr double kMost = std::numeric_limits<std::int32_t>::max();
  for (std::size_t i = 0; i < points.size(); ++i) {
    const auto [at_x, at_y] = PlaceOf(context, trace.points()[i]);
    const double x = std::round(at_x * unit + move_x);
    const double y = std::round(at_y * unit + move_y);
    // Negated, so that NaN (infinity minus infinity) is refused, too.
    if (!(x >= kLeast && x <= kMost && y >= kLeast && y <= kMost)) {
      throw InkError("point " + std::to_string(i + 1) + " of the trace is " +
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
    const double force = meaning.Mapped(trace.points()[i][kForce]);
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
  // 0 means "no time" in a stroke, so the first moment of 1970 can't be told either.
  if (start <= 0 || start > static_cast<WideMs>(kLastTimeMs)) {
    losses_.Count("strokes with a time before 1970 or after 9999; the time dropped", 1);
    return false;
  }
  stroke.start_time_ms = static_cast<std::uint64_t>(start);
  return true;
}

StrokeMaker::PointTimes StrokeMaker::TimesOf(const ChannelMeaning& meaning,
                                             const TraceDecoder& trace) {
  PointTimes times;
  std::size_t rounded = 0;
  times.ms.reserve(trace.points().size());
  for (const TracePoint& point : trace.points()) {
    const double time = Scaled(meaning, point[kTime]);
    const double whole = std::round(time);
    times.ms.push_back(whole);
    if (std::isnan(time)) continue;
    times.range.Take(whole);
    // A document that counts seconds says 1.001, which times 1000 is 1000.9999999999999 in binary:
    // nothing was rounded there.
    if (std::abs(time - whole) > kSameTime) ++rounded;
  }
  if (rounded > 0) losses_.Count("times rounded to whole milliseconds", rounded);
  return times;
}

void StrokeMaker::TimePoints(const TraceContext& context, const TraceDecoder& trace,
                             TraceOffset offset, Stroke& stroke, std::vector<Stf2Sample>& points) {
  const PointTimes times = TimesOf(context.format->meanings[kTime], trace);
  // Counts beyond 64 bits are no times, and could not be converted to whole numbers.
  if (times.range.empty || std::abs(times.range.low) > 9e18) {
    TimeStart(context, offset, stroke, points);
  } else if (const auto zero = StartStroke(context, offset, times.range.low, stroke)) {
    OffsetPoints(times.ms, *zero, points);
  }
}

// The document says of a point: it was drawn at base + own + T. The base is a timestamp; `own` is
// the trace's timeOffset, but 0 if T counts from a timestamp that the channel names (respectTo),
// not from the trace's beginning. STF2 says: at start + offset, where the offset is not negative
// and fits 32 bits. Both agree for any `zero`, the T whose offset is 0, if
//
//   start = base + own + zero,   offset = T - zero.
//
// With a timeOffset zero is 0, even if the first point comes later: it states when the stroke
// began, and a stroke that was written this way gets the start back that it had. Zero is the lowest
// T if that is negative, or if T counts from the base and may lie days behind it. The lowest, not
// the first: points may be out of order.
std::optional<double> StrokeMaker::StartStroke(const TraceContext& context, TraceOffset offset,
                                               double lowest, Stroke& stroke) {
  const bool shifted = offset && context.format->meanings[kTime].respect_to.empty();
  const WideMs own = shifted ? *offset : 0;
  const std::optional<WideMs> base = definitions_.BaseOf(context);
  if (!base && !times_are_dates_ && !options_.start_time_ms) {
    // No date, no start. The offsets of all strokes then count from one instant, so that the
    // pauses between them can still be told.
    return static_cast<double>(relative_zero_ - own);
  }
  const double zero = !shifted || lowest < 0 ? lowest : 0;
  const WideMs shift = base ? *base : times_are_dates_ ? 0 : StartOfUndated() - relative_zero_;
  if (!SetStart(shift + own + static_cast<WideMs>(zero), stroke)) return std::nullopt;
  return zero;
}

void StrokeMaker::OffsetPoints(const std::vector<double>& times, double zero,
                               std::vector<Stf2Sample>& points) {
  std::size_t missing = 0;
  std::size_t beyond = 0;
  for (std::size_t i = 0; i < times.size(); ++i) {
    const double after = times[i] - zero;
    const bool known = after >= 0 && after <= kMostOffset;  // false for NaN
    if (!known) ++(std::isnan(after) ? missing : beyond);
    points[i].time_offset_ms = known ? static_cast<std::uint32_t>(after) : 0;
    points[i].flags = known ? STF2_SAMPLE_HAS_TIME : 0;
  }
  if (missing > 0) losses_.Note("points without a time", missing);
  if (beyond > 0) losses_.Count("times of points out of reach of their stroke's start", beyond);
}

// The start of ink without a date: the document's first date if any part has one, else the time
// that the caller gave.
WideMs StrokeMaker::StartOfUndated() const {
  if (!first_date_) return static_cast<WideMs>(*options_.start_time_ms);
  losses_.Add("ink without a date in a document with dates; its first date taken");
  return *first_date_;
}

// A trace without a T channel: at most the time of its beginning is known, and its first sample
// bears it. The traces of one context share its timestamp, so only the first of them, in the order
// of the document, began then as far as anybody knows; a timeOffset tells it of the others.
void StrokeMaker::TimeStart(const TraceContext& context, TraceOffset offset, Stroke& stroke,
                            std::vector<Stf2Sample>& points) {
  const WideMs after = offset.value_or(0);
  if (context.timestamp) {
    const bool first = begun_.count(context.timestamp_id) == 0;
    losses_.Add("points without a time but the first of each stroke");
    if (!offset && !first) {
      losses_.Count("strokes without a time of their own; that of their context taken", 1);
    }
    if (!SetStart(*context.timestamp + after, stroke)) return;
  } else if (options_.start_time_ms) {
    if (!SetStart(StartOfUndated() + after, stroke)) return;
  } else {
    losses_.Note("strokes without a time", 1);
    return;
  }
  points.front().flags = STF2_SAMPLE_HAS_TIME;
}

// A trace whose every sample is spelled out, the pen's touching down and lifting included. This is
// how InkMLWriter writes strokes that a list of points can't say, and they must come back byte for
// byte: type and flags are STF2's own, and the times are offsets as they stand in the samples,
// whether their flag says that they count or not. No sample is added or moved in time, and any
// 64-bit start is taken, even one that is no date.
Stroke StrokeMaker::MakeExact(const TraceContext& context, const TraceDecoder& trace,
                              TraceOffset offset) {
  Stroke stroke;
  stroke.samples.resize(trace.points().size());
  PlacePoints(context, trace, stroke.samples);
  PressPoints(*context.format, trace, stroke.samples);
  for (std::size_t i = 0; i < stroke.samples.size(); ++i) {
    const TracePoint& point = trace.points()[i];
    // Comparisons with NaN are false: a value that the trace leaves out passes, and counts as 0.
    const bool whole = !(point[kSampleType] < 0 || point[kSampleType] > 255) &&
                       !(point[kSampleFlags] < 0 || point[kSampleFlags] > 255) &&
                       !(point[kTime] < 0 || point[kTime] > kMostOffset);
    if (!whole) throw InkError("sample " + std::to_string(i + 1) + " of the trace is out of range");
    const auto number = [](double value) { return std::isnan(value) ? 0 : std::llround(value); };
    stroke.samples[i].type = static_cast<std::uint8_t>(number(point[kSampleType]));
    stroke.samples[i].flags = static_cast<std::uint8_t>(number(point[kSampleFlags]));
    stroke.samples[i].time_offset_ms = static_cast<std::uint32_t>(number(point[kTime]));
  }
  if (offset) {
    const WideMs start = context.timestamp.value_or(0) + *offset;
    if (start < 0 || start > static_cast<WideMs>(std::numeric_limits<std::uint64_t>::max())) {
      throw InkError("the trace's time is out of range");
    }
    stroke.start_time_ms = static_cast<std::uint64_t>(start);
  }
  return stroke;
}

}  // namespace TalvoInk
