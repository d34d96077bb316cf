// The tips of pens that are not plain round points: highlighters with a broad edge, brushes that
// don't heed pressure, ink that only darkens. STF2 has a colour and a width for each stroke and
// nothing else, so a tip is kept as a property of the ink, under the colour and the width of its
// strokes:
//
//   key    pen tip
//   value  #80FFEE00 700 rectangle 5000 constant darkening
//
// colour as AARRGGBB and width in micrometres, then "round", "ellipse" or "rectangle", and for the
// last two the height in micrometres; then the words that hold. What else a brush says, which no
// picture shows, follows as NAME=VALUE, with a unit NAME=VALUE=UNIT; bytes that would end the word
// are written %XX. So a tip survives splitting,
// merging and every program that keeps properties; one that does not know it draws a round line of
// the same width.

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ink/Ink.h"

namespace TalvoInk {

// What a brush says and no picture shows; none of the texts holds a zero byte.
struct BrushWord {
  std::string name, value, unit;  // the unit is mostly empty
};

bool operator==(const BrushWord& a, const BrushWord& b);

// The most words that are kept of one brush, and the bytes of one. More would make every stroke of
// a hostile document expensive.
constexpr std::size_t kMostBrushWords = 32;
constexpr std::size_t kLongestBrushWord = 256;

struct Tip {
  enum class Shape { kRound, kEllipse, kRectangle };
  Shape shape = Shape::kRound;
  std::uint32_t height_um = 0;         // across the width; 0 for a round one
  bool is_constant = false;            // as wide whatever the pen's force
  bool darkens = false;                // like a transparent foil: never lighter than what is below
  std::vector<BrushWord> others = {};  // in the order of the brush

  bool IsPlain() const {
    return shape == Shape::kRound && !is_constant && !darkens && others.empty();
  }
};

bool operator==(const Tip& a, const Tip& b);

// The tips of one ink.
class Tips {
 public:
  Tips() = default;

  // Those that the ink's properties state. Of two for one colour and width the first counts; a
  // property that does not read as a tip states none.
  explicit Tips(const Ink& ink);

  // The tip of strokes of this colour and width; a plain one if none is stated. It lives as long as
  // this object.
  const Tip& Of(std::uint32_t color, std::uint32_t width_um) const;
  const Tip& Of(const Stroke& stroke) const { return Of(stroke.color, stroke.width_um); }

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
