#include "ink/drawing/Canvas.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <optional>

#include "ink/InkError.h"
#include "ink/drawing/CoveredTiles.h"

namespace TalvoInk {
namespace {

constexpr int kMostPixels = 32000;          // on one side of a PNG
constexpr double kMostPixelsInAll = 300e6;  // 1.2 GB

cairo_operator_t OperatorOf(const Look& look) {
  return look.darkens ? CAIRO_OPERATOR_MULTIPLY : CAIRO_OPERATOR_OVER;
}

void SetColor(cairo_t* context, std::uint32_t color) {
  const auto part = [&](int shift) { return (color >> shift & 255) / 255.0; };
  cairo_set_source_rgba(context, part(16), part(8), part(0), part(24));
}

// What a sink throws must not pass through cairo, which is C: it is kept until cairo has returned.
struct PngOutput {
  const Sink& sink;
  std::exception_ptr fault;
};

cairo_status_t HandOn(void* closure, const unsigned char* bytes, unsigned size) {
  auto* const output = static_cast<PngOutput*>(closure);
  try {
    output->sink({reinterpret_cast<const char*>(bytes), size});
    return CAIRO_STATUS_SUCCESS;
  } catch (...) {
    output->fault = std::current_exception();
    return CAIRO_STATUS_WRITE_ERROR;
  }
}

class ImagePainter : public Painter {
 public:
  ImagePainter(const Surface& image, double dpi)
      : context_(DrawOn(image, dpi)), covered_(image.get()) {}

  void BeginLeaf(const Leaf&) override {}
  void EndLeaf() override {}
  void BeginSheet(const Placed& sheet) override { SaveAndClip(context_.get(), sheet); }
  void EndSheet() override { cairo_restore(context_.get()); }

  void Fill(const Look& look, const std::vector<Polygon>& polygons) override {
    const bool is_opaque = look.color >> 24 == 255 && !look.darkens;
    if (is_grouped_ || !is_opaque) {
      if (!is_grouped_) covered_.Forget();
      TalvoInk::Fill(context_.get(), look, polygons);
      return;
    }
    cairo_matrix_t to_pixels;
    cairo_get_matrix(context_.get(), &to_pixels);
    const std::optional<PixelBox> seen = covered_.WhereSeen(look.color, polygons, to_pixels);
    if (!seen) return;
    cairo_save(context_.get());
    cairo_identity_matrix(context_.get());
    cairo_rectangle(context_.get(), seen->left, seen->top, seen->right - seen->left,
                    seen->bottom - seen->top);
    cairo_clip(context_.get());
    cairo_set_matrix(context_.get(), &to_pixels);
    TalvoInk::Fill(context_.get(), look, polygons);
    cairo_restore(context_.get());
    covered_.HasFilled(look.color);
  }

  void BeginGroup(const Look& look) override {
    group_ = look;
    is_grouped_ = true;
    cairo_push_group(context_.get());
  }

  void EndGroup() override {
    cairo_pop_group_to_source(context_.get());
    cairo_set_operator(context_.get(), OperatorOf(group_));
    cairo_paint_with_alpha(context_.get(), (group_.color >> 24) / 255.0);
    is_grouped_ = false;
    covered_.Forget();
  }

  void Show(const Backdrop& backdrop, double scale) override {
    if (!backdrop_) backdrop_ = ImageOf(backdrop);
    covered_.Forget();
    cairo_save(context_.get());
    cairo_scale(context_.get(), scale * backdrop.size.width_mm * 1000 / backdrop.width,
                scale * backdrop.size.height_mm * 1000 / backdrop.height);
    cairo_set_source_surface(context_.get(), backdrop_.get(), 0, 0);
    cairo_set_operator(context_.get(), CAIRO_OPERATOR_OVER);
    cairo_paint(context_.get());
    cairo_restore(context_.get());
  }

  void Write(const std::string& words, std::int64_t x, std::int64_t baseline,
             std::int64_t size) override {
    covered_.Forget();
    cairo_select_font_face(context_.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context_.get(), double(size));
    cairo_text_extents_t extents;
    cairo_text_extents(context_.get(), words.c_str(), &extents);
    cairo_move_to(context_.get(), double(x) - extents.x_advance / 2, double(baseline));
    SetColor(context_.get(), kBlack);
    cairo_set_operator(context_.get(), CAIRO_OPERATOR_OVER);
    cairo_show_text(context_.get(), words.c_str());
  }

  void Finish() override { CheckCairo(cairo_status(context_.get())); }

 private:
  const Context context_;
  CoveredTiles covered_;
  Surface backdrop_;
  Look group_{};
  bool is_grouped_ = false;
};

}  // namespace

void CheckCairo(cairo_status_t status) {
  if (status != CAIRO_STATUS_SUCCESS) {
    throw InkError(std::string("can't draw: ") + cairo_status_to_string(status));
  }
}

std::int64_t Near(std::int64_t um) {
  constexpr std::int64_t kFar = 10000000;
  return std::clamp(um, -kFar, kFar);
}

Surface MakeImage(const Leaf& leaf, double dpi, bool transparent) {
  const double scale = dpi / 25400;
  const double width = std::ceil(double(leaf.width) * scale);
  const double height = std::ceil(double(leaf.height) * scale);
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

Surface ImageOf(const Backdrop& backdrop) {
  Surface image(cairo_image_surface_create(CAIRO_FORMAT_RGB24, backdrop.width, backdrop.height));
  CheckCairo(cairo_surface_status(image.get()));
  unsigned char* const data = cairo_image_surface_get_data(image.get());
  const int stride = cairo_image_surface_get_stride(image.get());
  auto from = reinterpret_cast<const unsigned char*>(backdrop.pixels.data());
  for (int y = 0; y < backdrop.height; ++y) {
    auto* to = reinterpret_cast<std::uint32_t*>(data + std::ptrdiff_t{y} * stride);
    for (int x = 0; x < backdrop.width; ++x, from += 3) {
      to[x] = std::uint32_t{from[0]} << 16 | std::uint32_t{from[1]} << 8 | from[2];
    }
  }
  cairo_surface_mark_dirty(image.get());
  return image;
}

void Fill(cairo_t* context, const Look& look, const std::vector<Polygon>& polygons) {
  SetColor(context, look.color);
  cairo_set_operator(context, OperatorOf(look));
  for (const Polygon& polygon : polygons) {
    cairo_new_sub_path(context);
    for (const Corner& corner : polygon)
      cairo_line_to(context, double(Near(corner.x)), double(Near(corner.y)));
    cairo_close_path(context);
  }
  cairo_fill(context);
}

void SaveAndClip(cairo_t* context, const Placed& placed) {
  cairo_save(context);
  cairo_translate(context, double(placed.left), double(placed.top));
  cairo_rectangle(context, 0, 0, double(placed.sheet.width), double(placed.sheet.height));
  cairo_clip(context);
}

void WritePng(const Surface& image, const Sink& sink) {
  PngOutput output{sink, nullptr};
  const cairo_status_t status = cairo_surface_write_to_png_stream(image.get(), HandOn, &output);
  if (output.fault) std::rethrow_exception(output.fault);
  CheckCairo(status);
}

std::string WritePng(const Surface& image) {
  std::string bytes;
  WritePng(image, [&](std::string_view piece) { bytes += piece; });
  return bytes;
}

std::unique_ptr<Painter> MakeImagePainter(const Surface& image, double dpi) {
  return std::make_unique<ImagePainter>(image, dpi);
}

}  // namespace TalvoInk
