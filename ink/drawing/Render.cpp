#include "ink/drawing/Render.h"

#include <algorithm>

#include "ink/drawing/Canvas.h"
#include "ink/drawing/Painter.h"

namespace TalvoInk {
namespace {

constexpr double kContactLeafMm = 297;
constexpr double kMostDpi = 4800;

// Packing a PNG takes about as long as a third of the drawing; nobody tells how far it is.
constexpr double kShareOfDrawing = 0.75;

Picture PictureOf(const std::vector<TitledInk>& documents, PictureFormat format,
                  const RenderOptions& options) {
  const bool is_pdf = format == PictureFormat::kPdf;
  PictureOptions picture;
  picture.layout = options.layout;
  if (options.paper.backdrop && !picture.layout.page_size) {
    picture.layout.page_size = options.paper.backdrop->size;
  }
  picture.color = options.color;
  picture.columns = options.columns;
  picture.arrangement = is_pdf ? Arrangement::kLeaves : Arrangement::kStacked;
  if (options.contact_sheet) {
    picture.arrangement = Arrangement::kContact;
    if (is_pdf) picture.leaf_mm = kContactLeafMm;
  }
  return MakePicture(documents, picture);
}

// Rounding up must not make a pixel more than fits.
double DpiFor(const Leaf& leaf, const RenderOptions& options) {
  if (!options.fit) return options.dpi;
  const double wide = options.fit->width * 25400.0 / double(leaf.width);
  const double high = options.fit->height * 25400.0 / double(leaf.height);
  return std::min(std::min(wide, high) * (1 - 1e-9), kMostDpi);
}

void RenderPng(const Picture& picture, const RenderOptions& options, const Sink& sink) {
  const double dpi = DpiFor(picture.leaves.front(), options);
  const Surface image = MakeImage(picture.leaves.front(), dpi, options.transparent);
  const auto painter = MakeImagePainter(image, dpi);
  PaintPicture(picture, options.paper, *painter, options.tell, kShareOfDrawing);
  WritePng(image, sink);
}

}  // namespace

Rendering Render(const std::vector<TitledInk>& documents, PictureFormat format,
                 const RenderOptions& options, const Sink& sink) {
  const Picture picture = PictureOf(documents, format, options);
  Rendering out{{}, picture.sheets.size(), picture.strokes, picture.points, 0};
  const bool has_paper =
      options.layout.page_size || options.layout.own_paper || options.paper.backdrop;
  if (has_paper) out.strokes_off_paper = picture.strokes_off_paper;
  if (format == PictureFormat::kPng) {
    RenderPng(picture, options, sink);
    return out;
  }
  const auto painter = format == PictureFormat::kSvg
                           ? MakeSvgPainter(picture, options.transparent, sink)
                           : MakePdfPainter(picture, sink);
  PaintPicture(picture, options.paper, *painter, options.tell);
  return out;
}

Rendering Render(const Ink& ink, PictureFormat format, const RenderOptions& options) {
  std::string bytes;
  Rendering out =
      Render({{&ink, ""}}, format, options, [&](std::string_view piece) { bytes += piece; });
  out.bytes = std::move(bytes);
  return out;
}

}  // namespace TalvoInk
