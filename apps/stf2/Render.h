// Pictures of ink. The pages of one ink stand below one another in an SVG or PNG, and follow one
// another in a PDF.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Ink.h"

namespace InkTool {

struct PageSize {
  double width_mm, height_mm;
};

struct RenderOptions {
  std::optional<PageSize> page_size;   // none: as large as the ink with a margin of 5 mm
  double dpi = 200;                    // of a PNG, and the size at which an SVG is shown
  bool transparent = false;            // no white paper (SVG and PNG)
  std::optional<std::uint32_t> color;  // instead of the strokes' own
  std::optional<std::string> page;     // this page alone
};

enum class PictureFormat { kSvg, kPng, kPdf };

// The picture as a file's bytes. Throws Refusal for ink without strokes, for a page that has none,
// and for a picture that would be too large.
std::string Render(const Ink& ink, PictureFormat format, const RenderOptions& options);

// How many strokes of the picture have a point beyond the edge of the paper that the options name.
std::size_t StrokesOffPaper(const Ink& ink, const RenderOptions& options);

// "A4", "A5", "Letter", or width and height in millimetres: "210x297". None for anything else, and
// for sizes that are no paper's (below 1 mm, above 5 m).
std::optional<PageSize> ParsePageSize(const std::string& text);

}  // namespace InkTool
