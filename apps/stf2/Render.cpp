#include "Render.h"

#include <cairo-pdf.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "Color.h"
#include "Outline.h"
#include "Refusal.h"
#include "Units.h"

namespace InkTool {
namespace {

constexpr std::int64_t kMarginUm = 5000;
constexpr std::int64_t kGapUm = 3000;       // between two pages of one picture
constexpr int kMostPixels = 32000;          // on one side of a PNG
constexpr double kMostPixelsInAll = 300e6;  // 1.2 GB
constexpr double kMostPoints = 14400;       // of a PDF page's side: what readers show

struct Shape {
  std::uint32_t color;
  std::vector<Polygon> polygons;
};

// One page with its place in the picture, in micrometres.
struct Sheet {
  std::vector<Shape> shapes;
  std::int64_t left = 0, top = 0;  // what of the page is shown
  std::int64_t width = 0, height = 0;
  std::int64_t offset = 0;  // of its top in the picture
};

struct Picture {
  std::vector<Sheet> sheets;
  std::int64_t width = 0, height = 0;
};

std::int64_t Micrometres(double mm) {
  return std::llround(mm * 1000);
}

void FitToInk(Sheet& sheet) {
  std::int64_t right = 0, bottom = 0;
  bool first = true;
  for (const Shape& shape : sheet.shapes) {
    for (const Polygon& polygon : shape.polygons) {
      for (const Corner& corner : polygon) {
        sheet.left = first ? corner.x : std::min(sheet.left, corner.x);
        sheet.top = first ? corner.y : std::min(sheet.top, corner.y);
        right = first ? corner.x : std::max(right, corner.x);
        bottom = first ? corner.y : std::max(bottom, corner.y);
        first = false;
      }
    }
  }
  sheet.left -= kMarginUm;
  sheet.top -= kMarginUm;
  sheet.width = right + kMarginUm - sheet.left;
  sheet.height = bottom + kMarginUm - sheet.top;
}

// The stroke that the item is; null for other items and for strokes of other pages than asked for.
const Stroke* DrawnStroke(const Item& item, const RenderOptions& options) {
  const auto* stroke = std::get_if<Stroke>(&item);
  return stroke != nullptr && options.page && stroke->page != options.page ? nullptr : stroke;
}

Picture LayOut(const Ink& ink, const RenderOptions& options) {
  Picture picture;
  std::map<std::optional<std::string>, std::size_t> by_page;
  for (const Item& item : ink.items) {
    const Stroke* stroke = DrawnStroke(item, options);
    if (stroke == nullptr) continue;
    const auto [found, fresh] = by_page.emplace(stroke->page, picture.sheets.size());
    if (fresh) picture.sheets.emplace_back();
    const std::uint32_t color = options.color.value_or(stroke->color);
    picture.sheets[found->second].shapes.push_back({color, OutlineOf(*stroke)});
  }
  if (picture.sheets.empty()) {
    throw Refusal(options.page ? "no stroke on page " + *options.page : "no strokes to draw");
  }
  for (Sheet& sheet : picture.sheets) {
    if (options.page_size) {
      sheet.width = Micrometres(options.page_size->width_mm);
      sheet.height = Micrometres(options.page_size->height_mm);
    } else {
      FitToInk(sheet);
    }
    sheet.offset = picture.height == 0 ? 0 : picture.height + kGapUm;
    picture.height = sheet.offset + sheet.height;
    picture.width = std::max(picture.width, sheet.width);
  }
  return picture;
}

// ---- SVG ------------------------------------------------------------------------------------

std::string Millimetres(std::int64_t um) {
  const std::string digits = std::to_string(1000 + um % 1000);
  return std::to_string(um / 1000) + "." + digits.substr(1);
}

void AppendNumber(std::string& out, std::int64_t number) {
  if (number >= 0 && out.back() >= '0' && out.back() <= '9') out += ' ';
  out += std::to_string(number);
}

// Micrometres from corner to corner: whole numbers, and short ones.
void AppendPath(std::string& out, const Polygon& polygon) {
  Corner last = polygon.front();
  out += 'M';
  AppendNumber(out, last.x);
  AppendNumber(out, last.y);
  out += 'l';
  for (std::size_t i = 1; i < polygon.size(); ++i) {
    AppendNumber(out, polygon[i].x - last.x);
    AppendNumber(out, polygon[i].y - last.y);
    last = polygon[i];
  }
  out += 'z';
}

std::string Opacity(std::uint32_t color) {
  const std::uint32_t alpha = color >> 24;
  if (alpha == 255) return {};
  const std::string digits = std::to_string(1000 + (alpha * 1000 + 127) / 255);
  return " fill-opacity=\"0." + digits.substr(1) + "\"";
}

void AppendSheet(std::string& out, const Sheet& sheet, std::size_t number) {
  const std::string id = "page" + std::to_string(number);
  out += "<clipPath id=\"" + id + "\"><rect x=\"" + std::to_string(sheet.left) + "\" y=\"" +
         std::to_string(sheet.top) + "\" width=\"" + std::to_string(sheet.width) + "\" height=\"" +
         std::to_string(sheet.height) + "\"/></clipPath>\n";
  out += "<g transform=\"translate(" + std::to_string(-sheet.left) + " " +
         std::to_string(sheet.offset - sheet.top) + ")\" clip-path=\"url(#" + id + ")\">\n";
  for (const Shape& shape : sheet.shapes) {
    if (shape.polygons.empty()) continue;
    out += "<path fill=\"" + FormatColor(shape.color) + "\"" + Opacity(shape.color) + " d=\"";
    for (const Polygon& polygon : shape.polygons) AppendPath(out, polygon);
    out += "\"/>\n";
  }
  out += "</g>\n";
}

std::string RenderSvg(const Picture& picture, const RenderOptions& options) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Millimetres(picture.width) +
         "mm\" height=\"" + Millimetres(picture.height) + "mm\" viewBox=\"0 0 " +
         std::to_string(picture.width) + " " + std::to_string(picture.height) +
         "\" fill-rule=\"nonzero\">\n";
  if (!options.transparent) out += "<rect width=\"100%\" height=\"100%\" fill=\"#FFFFFF\"/>\n";
  for (std::size_t i = 0; i < picture.sheets.size(); ++i) AppendSheet(out, picture.sheets[i], i);
  out += "</svg>\n";
  return out;
}

// ---- PNG and PDF ----------------------------------------------------------------------------

struct DestroySurface {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct DestroyContext {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, DestroySurface>;
using Context = std::unique_ptr<cairo_t, DestroyContext>;

void CheckCairo(cairo_status_t status) {
  if (status != CAIRO_STATUS_SUCCESS) {
    throw Refusal(std::string("can't draw: ") + cairo_status_to_string(status));
  }
}

cairo_status_t AppendBytes(void* out, const unsigned char* bytes, unsigned size) {
  static_cast<std::string*>(out)->append(reinterpret_cast<const char*>(bytes), size);
  return CAIRO_STATUS_SUCCESS;
}

void SetColor(cairo_t* context, std::uint32_t color) {
  const auto part = [&](int shift) { return (color >> shift & 255) / 255.0; };
  cairo_set_source_rgba(context, part(16), part(8), part(0), part(24));
}

// Ink may lie kilometres beside the sheet; what is drawn stays within what cairo can count.
double Near(std::int64_t um) {
  constexpr std::int64_t kFar = 10000000;
  return double(std::clamp(um, -kFar, kFar));
}

// The context's unit is the micrometre, its origin the sheet's top left corner.
void DrawSheet(cairo_t* context, const Sheet& sheet) {
  cairo_save(context);
  cairo_rectangle(context, 0, 0, double(sheet.width), double(sheet.height));
  cairo_clip(context);
  for (const Shape& shape : sheet.shapes) {
    SetColor(context, shape.color);
    for (const Polygon& polygon : shape.polygons) {
      cairo_new_sub_path(context);
      for (const Corner& corner : polygon) {
        cairo_line_to(context, Near(corner.x - sheet.left), Near(corner.y - sheet.top));
      }
      cairo_close_path(context);
    }
    cairo_fill(context);
  }
  cairo_restore(context);
}

std::string RenderPng(const Picture& picture, const RenderOptions& options) {
  const double scale = options.dpi / 25400;
  const double width = std::ceil(double(picture.width) * scale);
  const double height = std::ceil(double(picture.height) * scale);
  if (width > kMostPixels || height > kMostPixels || width * height > kMostPixelsInAll) {
    throw Refusal("the picture would be " + std::to_string(std::llround(width)) + " x " +
                  std::to_string(std::llround(height)) +
                  " pixels; give a smaller --dpi or a --page-size");
  }
  const cairo_format_t format = options.transparent ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24;
  const Surface surface(cairo_image_surface_create(format, std::max(1, static_cast<int>(width)),
                                                   std::max(1, static_cast<int>(height))));
  const Context context(cairo_create(surface.get()));
  CheckCairo(cairo_status(context.get()));
  if (!options.transparent) {
    cairo_set_source_rgb(context.get(), 1, 1, 1);
    cairo_paint(context.get());
  }
  cairo_set_antialias(context.get(), CAIRO_ANTIALIAS_BEST);
  cairo_scale(context.get(), scale, scale);
  for (const Sheet& sheet : picture.sheets) {
    cairo_save(context.get());
    cairo_translate(context.get(), 0, double(sheet.offset));
    DrawSheet(context.get(), sheet);
    cairo_restore(context.get());
  }
  CheckCairo(cairo_status(context.get()));
  std::string bytes;
  CheckCairo(cairo_surface_write_to_png_stream(surface.get(), AppendBytes, &bytes));
  return bytes;
}

std::string RenderPdf(const Picture& picture) {
  constexpr double kPoint = 72 / 25400.0;
  std::string bytes;
  const Surface surface(cairo_pdf_surface_create_for_stream(AppendBytes, &bytes, 1, 1));
  const Context context(cairo_create(surface.get()));
  CheckCairo(cairo_status(context.get()));
  for (const Sheet& sheet : picture.sheets) {
    const double width = double(sheet.width) * kPoint;
    const double height = double(sheet.height) * kPoint;
    if (width > kMostPoints || height > kMostPoints) {
      throw Refusal("the page would be larger than a PDF's 5 m; give a --page-size");
    }
    cairo_pdf_surface_set_size(surface.get(), width, height);
    cairo_save(context.get());
    cairo_scale(context.get(), kPoint, kPoint);
    DrawSheet(context.get(), sheet);
    cairo_restore(context.get());
    cairo_show_page(context.get());
  }
  CheckCairo(cairo_status(context.get()));
  cairo_surface_finish(surface.get());
  CheckCairo(cairo_surface_status(surface.get()));
  return bytes;
}

}  // namespace

std::string Render(const Ink& ink, PictureFormat format, const RenderOptions& options) {
  const Picture picture = LayOut(ink, options);
  switch (format) {
    case PictureFormat::kSvg:
      return RenderSvg(picture, options);
    case PictureFormat::kPng:
      return RenderPng(picture, options);
    case PictureFormat::kPdf:
      return RenderPdf(picture);
  }
  return {};
}

std::size_t StrokesOffPaper(const Ink& ink, const RenderOptions& options) {
  if (!options.page_size) return 0;
  const std::int64_t width = Micrometres(options.page_size->width_mm);
  const std::int64_t height = Micrometres(options.page_size->height_mm);
  const auto is_off = [&](const Stf2Sample& point) {
    return point.x_um < 0 || point.y_um < 0 || point.x_um > width || point.y_um > height;
  };
  std::size_t off = 0;
  for (const Item& item : ink.items) {
    const Stroke* stroke = DrawnStroke(item, options);
    if (stroke == nullptr) continue;
    const std::vector<Stf2Sample> points = PositionsOf(*stroke);
    if (std::any_of(points.begin(), points.end(), is_off)) ++off;
  }
  return off;
}

std::optional<PageSize> ParsePageSize(const std::string& text) {
  if (text == "A4") return PageSize{210, 297};
  if (text == "A5") return PageSize{148, 210};
  if (text == "Letter") return PageSize{215.9, 279.4};
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos) return std::nullopt;
  const auto width = ParseNumber(text.substr(0, cross));
  const auto height = ParseNumber(text.substr(cross + 1));
  const auto paper = [](const std::optional<double>& mm) { return mm && *mm >= 1 && *mm <= 5000; };
  if (!paper(width) || !paper(height)) return std::nullopt;
  return PageSize{*width, *height};
}

}  // namespace InkTool
