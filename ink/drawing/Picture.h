// What a picture of ink shows: the sheets of its layout below one another, and how each stroke
// looks on its sheet. SVG, PNG, PDF and replays draw from it.

#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ink/Tips.h"
#include "ink/drawing/Layout.h"

namespace TalvoInk {

constexpr std::int64_t kGapUm = 3000;  // between two pages of one picture

struct Picture {
  Layout layout;
  Tips tips;
  std::optional<std::uint32_t> color;  // instead of the strokes' own
  std::int64_t width = 0, height = 0;  // of all sheets below one another, in micrometres
};

// The ink must outlive the picture. Throws what LayOut throws.
Picture MakePicture(const Ink& ink, const LayoutOptions& options,
                    std::optional<std::uint32_t> color);

// One stroke as it is drawn.
struct Shape {
  std::uint32_t color;
  bool darkens;                   // multiplied with what is below
  std::vector<Polygon> polygons;  // on the sheet
};

// Outlines are made when they are drawn: together they are several times as large as the ink.
Shape ShapeOf(const Stroke& stroke, const Sheet& sheet, const Picture& picture);

}  // namespace TalvoInk
