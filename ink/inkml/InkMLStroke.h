// Strokes from decoded traces: values become micrometres, milliseconds and force. If a document
// gives no unit, no range of force or no date, the whole of it decides what is assumed, so every
// trace is shown twice: first to be measured, then to be made into a stroke.

#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "ink/Ink.h"
#include "ink/Losses.h"
#include "ink/ReadOptions.h"
#include "ink/inkml/InkMLContext.h"
#include "ink/inkml/InkMLUnits.h"
#include "ink/inkml/TraceText.h"

namespace TalvoInk {

// A trace's timeOffset in milliseconds.
using TraceOffset = std::optional<WideMs>;

class StrokeMaker {
 public:
  // All must outlive this object.
  StrokeMaker(Definitions& definitions, const ReadOptions& options, Losses& losses)
      : definitions_(definitions), options_(options), losses_(losses) {}

  void Measure(const TraceContext& context, const TraceDecoder& trace, TraceOffset offset);

  // Between the two passes: settles what is assumed.
  void EndMeasuring();

  // What the measured traces tell about their unit.
  const UnitEvidence& evidence() const { return evidence_; }

  // The stroke, without page and brush; none for a trace without points. Throws InkError if a
  // position is out of range.
  std::optional<Stroke> Make(const TraceContext& context, const TraceDecoder& trace,
                             TraceOffset offset);

 private:
  struct Range {
    double low = 0, high = 0;
    bool empty = true;
    void Take(double value);
  };

  // What the T channel of a trace says, in whole milliseconds.
  struct PointTimes {
    std::vector<double> ms;  // of each point; NaN if it has no time
    Range range;             // of those that have one
  };

  // Where a point of the trace is: in micrometres, or in counts if no unit is known.
  std::pair<double, double> PlaceOf(const TraceContext& context, const TracePoint& point) const;

  void AssumeUnit();
  void PlacePoints(const TraceContext& context, const TraceDecoder& trace,
                   std::vector<Stf2Sample>& points);
  void PressPoints(const TraceFormat& format, const TraceDecoder& trace,
                   std::vector<Stf2Sample>& points);
  void TimePoints(const TraceContext& context, const TraceDecoder& trace, TraceOffset offset,
                  Stroke& stroke, std::vector<Stf2Sample>& points);
  PointTimes TimesOf(const ChannelMeaning& meaning, const TraceDecoder& trace);

  // Sets the stroke's start, if it has one, and answers which value of T is the offset 0. None,
  // with the loss told, for a start that is no date.
  std::optional<double> StartStroke(const TraceContext& context, TraceOffset offset, double lowest,
                                    Stroke& stroke);

  void OffsetPoints(const std::vector<double>& times, double zero, std::vector<Stf2Sample>& points);
  void TimeStart(const TraceContext& context, TraceOffset offset, Stroke& stroke,
                 std::vector<Stf2Sample>& points);
  Stroke MakeExact(const TraceContext& context, const TraceDecoder& trace, TraceOffset offset);
  bool SetStart(WideMs start, Stroke& stroke);
  WideMs StartOfUndated() const;

  Definitions& definitions_;
  const ReadOptions& options_;
  Losses& losses_;
  UnitEvidence evidence_;
  Range x_, y_;     // of positions without a unit, in counts
  Range force_;     // of force without a range
  Range relative_;  // of times without a date, in ms
  double assumed_unit_um_ = 1;
  double move_x_um_ = 0, move_y_um_ = 0;  // of ink without a unit, to the page's corner
  std::optional<WideMs> first_date_;      // that a trace of the document has
  double assumed_force_ = 1;
  bool times_are_dates_ = false;  // the times without a date count from 1970
  WideMs relative_zero_ = 0;      // what is taken off times without a date
  std::set<std::size_t> begun_;   // timestamps whose first trace has been made
};

}  // namespace TalvoInk
