#include "ink/drawing/Canvas.h"

#include <algorithm>
#include <cmath>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

constexpr int kMostPixels = 32000;          // on one side of a PNG
constexpr double kMostPixelsInAll = 300e6;  // 1.2 GB

void SetColor(cairo_t* context, std::uint32_t color) {
  const auto part = [&](int shift) { return (color >> shift & 255) / 255.0; };
  cairo_set_source_rgba(context, part(16), part(8), part(0), part(24));
}

// Ink may lie kilometres beside the sheet; what is drawn stays within what cairo can count.
double Near(std::int64_t um) {
  constexpr std::int64_t kFar = 10000000;
  return double(std::clamp(um, -kFar, kFar));
}

}  // namespace

void CheckCairo(cairo_status_t status) {
  if (status != CAIRO_STATUS_SUCCESS) {
    throw InkError(std::string("can't draw: ") + cairo_status_to_string(status));
  }
}

cairo_status_t AppendBytes(void* out, const unsigned char* bytes, unsigned size) {
  static_cast<std::string*>(out)->append(reinterpret_cast<const char*>(bytes), size);
  return CAIRO_STATUS_SUCCESS;
}

Surface MakeImage(const Picture& picture, double dpi, bool transparent) {
  const double scale = dpi / 25400;
  const double width = std::ceil(double(picture.width) * scale);
  const double height = std::ceil(double(picture.height) * scale);
  if (width > kMostPixels || height > kMostPixels || width * height > kMostPixelsInAll) {
    throw PictureSizeError("the picture would be " + std::to_string(std::llround(width)) + " x " +
                           std::to_string(std::llround(height)) + " pixels");
  }
  const cairo_format_t format = transparent ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24;
  Surface image(cairo_image_surface_create(format, std::max(1, static_cast<int>(width)),
                                           std::max(1, static_cast<int>(height))));
  const Context context(cairo_create(image.get()));
  CheckCairo(cairo_status(context.get()));
  if (!transparent) {
    cairo_set_source_rgb(context.get(), 1, 1, 1);
    cairo_paint(context.get());
  }
  return image;
}

Context DrawOn(const Surface& image, double dpi) {
  Context context(cairo_create(image.get()));
  CheckCairo(cairo_status(context.get()));
  cairo_set_antialias(context.get(), CAIRO_ANTIALIAS_BEST);
  cairo_scale(context.get(), dpi / 25400, dpi / 25400);
  return context;
}

void Fill(cairo_t* context, const Shape& shape) {
  SetColor(context, shape.color);
  cairo_set_operator(context, shape.darkens ? CAIRO_OPERATOR_MULTIPLY : CAIRO_OPERATOR_OVER);
  for (const Polygon& polygon : shape.polygons) {
    cairo_new_sub_path(context);
    for (const Corner& corner : polygon) cairo_line_to(context, Near(corner.x), Near(corner.y));
    cairo_close_path(context);
  }
  cairo_fill(context);
}

void SaveAndClip(cairo_t* context, const Sheet& sheet) {
  cairo_save(context);
  cairo_rectangle(context, 0, 0, double(sheet.width), double(sheet.height));
  cairo_clip(context);
}

std::string WritePng(const Surface& image) {
  std::string bytes;
  CheckCairo(cairo_surface_write_to_png_stream(image.get(), AppendBytes, &bytes));
  return bytes;
}

}  // namespace TalvoInk
