#include "ink/drawing/Render.h"

#include <cairo-pdf.h>

#include <utility>

#include "ink/InkError.h"
#include "ink/drawing/Canvas.h"
#include "ink/drawing/Picture.h"
#include "ink/drawing/SvgText.h"

namespace TalvoInk {
namespace {

constexpr double kMostPoints = 14400;  // of a PDF page's side: what readers show

std::string RenderSvg(const Picture& picture, const RenderOptions& options) {
  std::string out = BeginSvg(picture, options.transparent);
  std::int64_t top = 0;
  for (std::size_t i = 0; i < picture.layout.sheets.size(); ++i) {
    const Sheet& sheet = picture.layout.sheets[i];
    out += BeginSheet(sheet, i, top);
    for (const Stroke* stroke : sheet.strokes) {
      const Shape shape = ShapeOf(*stroke, sheet, picture);
      if (shape.polygons.empty()) continue;
      out += "<path" + FillAttributes(shape, false) + " d=\"";
      for (const Polygon& polygon : shape.polygons) AppendPath(out, polygon);
      out += "\"/>\n";
    }
    out += "</g>\n";
    top += sheet.height + kGapUm;
  }
  out += "</svg>\n";
  return out;
}

// The context's unit is the micrometre, its origin the sheet's top left corner.
void DrawSheet(cairo_t* context, const Sheet& sheet, const Picture& picture) {
  SaveAndClip(context, sheet);
  for (const Stroke* stroke : sheet.strokes) Fill(context, ShapeOf(*stroke, sheet, picture));
  cairo_restore(context);
}

std::string RenderPng(const Picture& picture, const RenderOptions& options) {
  const Surface image = MakeImage(picture, options.dpi, options.transparent);
  const Context context = DrawOn(image, options.dpi);
  for (const Sheet& sheet : picture.layout.sheets) {
    DrawSheet(context.get(), sheet, picture);
    cairo_translate(context.get(), 0, double(sheet.height + kGapUm));
  }
  CheckCairo(cairo_status(context.get()));
  return WritePng(image);
}

std::string RenderPdf(const Picture& picture) {
  constexpr double kPoint = 72 / 25400.0;
  std::string bytes;
  const Surface surface(cairo_pdf_surface_create_for_stream(AppendBytes, &bytes, 1, 1));
  const Context context(cairo_create(surface.get()));
  CheckCairo(cairo_status(context.get()));
  for (const Sheet& sheet : picture.layout.sheets) {
    const double width = double(sheet.width) * kPoint;
    const double height = double(sheet.height) * kPoint;
    if (width > kMostPoints || height > kMostPoints) {
      throw PictureSizeError("the page would be larger than a PDF's 5 m");
    }
    cairo_pdf_surface_set_size(surface.get(), width, height);
    cairo_save(context.get());
    cairo_scale(context.get(), kPoint, kPoint);
    DrawSheet(context.get(), sheet, picture);
    cairo_restore(context.get());
    cairo_show_page(context.get());
  }
  CheckCairo(cairo_status(context.get()));
  cairo_surface_finish(surface.get());
  CheckCairo(cairo_surface_status(surface.get()));
  return bytes;
}

}  // namespace

Rendering Render(const Ink& ink, PictureFormat format, const RenderOptions& options) {
  const Picture picture = MakePicture(ink, options.layout, options.color);
  const Layout& layout = picture.layout;
  Rendering out{{}, layout.sheets.size(), layout.strokes, layout.points, layout.strokes_off_paper};
  if (!options.layout.page_size) out.strokes_off_paper = 0;
  out.bytes = format == PictureFormat::kSvg   ? RenderSvg(picture, options)
              : format == PictureFormat::kPng ? RenderPng(picture, options)
                                              : RenderPdf(picture);
  return out;
}

}  // namespace TalvoInk
