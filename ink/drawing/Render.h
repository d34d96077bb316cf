// Pictures of ink, as the bytes of a file. The pages of one ink stand below one another in an SVG
// or PNG, and follow one another in a PDF. All three draw the polygons of Outline.h. No global
// state: different threads may draw at the same time.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ink/Ink.h"
#include "ink/Sink.h"
#include "ink/drawing/Backdrop.h"
#include "ink/drawing/Layout.h"
#include "ink/drawing/PaintPicture.h"
#include "ink/drawing/Picture.h"

namespace TalvoInk {

// The most pixels that a PNG may have on either side.
struct PixelSize {
  int width = 0, height = 0;
};

struct RenderOptions {
  LayoutOptions layout;
  PaperOptions paper;                  // what is on the paper below the ink
  double dpi = 200;                    // of a PNG
  std::optional<PixelSize> fit;        // the resolution at which a PNG just fits in, instead of dpi
  bool transparent = false;            // no white paper (SVG and PNG)
  std::optional<std::uint32_t> color;  // instead of the strokes' own
  bool contact_sheet = false;          // all pages small on one sheet, in a PDF on sheets of A4
  int columns = 4;                     // of a contact sheet, from 1 to 20
  TellShare tell;                      // how far the drawing is
};

enum class PictureFormat { kSvg, kPng, kPdf };

// A picture as the bytes of a file, and what it shows.
struct Rendering {
  std::string bytes;
  std::size_t pages = 0, strokes = 0, points = 0;
  std::size_t strokes_off_paper = 0;  // that have a point beyond the edge of the paper
};

// Hands the picture to the sink, piece by piece: memory is that of the ink and, for a PNG, of its
// pixels. The `bytes` of the result stay empty. A PDF has a page for each page and an outline that
// names them, by document if there are several.
//
// Throws InkError for ink without strokes and for a page that has none, PictureSizeError for a
// picture that would be too large (32000 pixels a side or 300 million in all, 5 m of a PDF's page),
// both before the sink is handed anything; and what the sink throws.
Rendering Render(const std::vector<TitledInk>& documents, PictureFormat format,
                 const RenderOptions& options, const Sink& sink);

// The same of one ink, in memory.
Rendering Render(const Ink& ink, PictureFormat format, const RenderOptions& options);

}  // namespace TalvoInk
