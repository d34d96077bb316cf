// The tips of pens that are not plain round points: highlighters with a broad edge, brushes that
// don't heed pressure, ink that only darkens. STF2 has a colour and a width for each stroke and
// nothing else, so a tip is kept as a property of the ink, under the colour and the width of its
// strokes:
//
//   key    pen tip
//   value  #80FFEE00 700 rectangle 5000 constant darkening
//
// colour as AARRGGBB and width in micrometres, then "round", "ellipse" or "rectangle", and for the
// last two the height in micrometres; then the words that hold. So a tip survives splitting,
// merging and every program that keeps properties; one that does not know it draws a round line of
// the same width.

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>

#include "ink/Ink.h"

namespace TalvoInk {

struct Tip {
  enum class Shape { kRound, kEllipse, kRectangle };
  Shape shape = Shape::kRound;
  std::uint32_t height_um = 0;  // across the width; 0 for a round one
  bool is_constant = false;     // as wide whatever the pen's force
  bool darkens = false;         // like a transparent foil: never lighter than what is below

  bool IsPlain() const { return shape == Shape::kRound && !is_constant && !darkens; }
};

bool operator==(const Tip& a, const Tip& b);

// The tips of one ink.
class Tips {
 public:
  Tips() = default;

  // Those that the ink's properties state. Of two for one colour and width the first counts; a
  // property that does not read as a tip states none.
  explicit Tips(const Ink& ink);

  // The tip of strokes of this colour and width; a plain one if none is stated.
  Tip Of(std::uint32_t color, std::uint32_t width_um) const;
  Tip Of(const Stroke& stroke) const { return Of(stroke.color, stroke.width_um); }

  // Claims a colour and width for strokes of this tip. The width that it answers is `width_um`, or
  // a few micrometres more if other strokes, of another tip, have the same: so both can be told
  // apart.
  std::uint32_t Claim(std::uint32_t color, std::uint32_t width_um, const Tip& tip);

  // A property for each tip that is not plain.
  std::vector<Property> AsProperties() const;

 private:
  using Key = std::pair<std::uint32_t, std::uint32_t>;  // colour and width
  std::map<Key, Tip> tips_;
};

}  // namespace TalvoInk
