// Pictures of ink, as the bytes of a file. The pages of one ink stand below one another in an SVG
// or PNG, and follow one another in a PDF. All three draw the polygons of Outline.h. No global
// state: different threads may draw at the same time.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "ink/Ink.h"
#include "ink/drawing/Layout.h"

namespace TalvoInk {

struct RenderOptions {
  LayoutOptions layout;
  double dpi = 200;                    // of a PNG, and the size at which an SVG is shown
  bool transparent = false;            // no white paper (SVG and PNG)
  std::optional<std::uint32_t> color;  // instead of the strokes' own
};

enum class PictureFormat { kSvg, kPng, kPdf };

// A picture as the bytes of a file, and what it shows.
struct Rendering {
  std::string bytes;
  std::size_t pages = 0, strokes = 0, points = 0;
  std::size_t strokes_off_paper = 0;  // that have a point beyond the edge of the paper
};

// Throws InkError for ink without strokes and for a page that has none, PictureSizeError for a
// picture that would be too large (32000 pixels a side or 300 million in all, 5 m of a PDF's page)
// before it takes any memory for it.
Rendering Render(const Ink& ink, PictureFormat format, const RenderOptions& options);

}  // namespace TalvoInk
