// The unit of positions for which InkML states none. Files without units come from screens
// (pixels), from tablets (0.01 mm), from programs that think in millimetres, and from data sets
// whose authors scaled everything to 1. What tells them apart is the size of a stroke beside the
// pen that drew it: no hand writes strokes of twice the pen's width, and few draw strokes of a
// metre.

#pragma once

#include <optional>
#include <vector>

#include "ink/ReadOptions.h"

namespace TalvoInk {

// What the traces without a unit tell. Evidence of several documents that belong together is
// merged, so that one unit is assumed for all of them.
class UnitEvidence {
 public:
  // A trace of one document, point by point, in its own counts; `pen_um` is the width of its brush.
  void BeginTrace(double pen_um);
  void Take(double x, double y);
  void EndTrace();

  // Adds what another document tells.
  void Merge(const UnitEvidence& other);

  // The unit that makes most of the ink look as if a hand had written it; none without traces.
  std::optional<AssumedUnit> Judge() const;

  // The unit for this document, given the one that it and others agree on: that one, unless it is
  // plainly not of their kind. With the agreed unit its strokes would be smaller than the pen's
  // tip, or its page larger than any canvas. None without traces.
  std::optional<AssumedUnit> JudgeBeside(const std::optional<AssumedUnit>& agreed) const;

 private:
  struct Trace {
    double left, top, right, bottom;
    double length;  // of the way along it
    double pen_um;
    std::size_t points = 0;
  };
  struct Size {
    double counts;  // how far the stroke reaches; less for one that winds to and fro
    double length;
    double pen_um;
  };

  // Half of all ink, by length, is in strokes of at least this size, in counts and in counts for
  // each micrometre of the pen.
  double TypicalSize() const;
  double TypicalRatio() const;

  // Whether the ink is legible and not too large if a count is `um`.
  bool Suits(double um, double most_stroke_um, double most_extent_um) const;

  Trace trace_{};
  double last_x_ = 0, last_y_ = 0;
  std::vector<Size> sizes_;                             // without dots
  bool any_ = false;                                    // dots included
  double left_ = 0, top_ = 0, right_ = 0, bottom_ = 0;  // of this document
  double extent_ = 0;                                   // of the largest document
};

}  // namespace TalvoInk
