// The pixels of a PNG, for tests that look at what was drawn.

#pragma once

#include <cairo.h>

#include <string>

namespace TalvoInk {

// Blue, green, red and alpha (or nothing) of each.
class Pixels {
 public:
  explicit Pixels(const std::string& bytes) : rest_(bytes) {
    surface_ = cairo_image_surface_create_from_png_stream(Read, this);
  }
  ~Pixels() { cairo_surface_destroy(surface_); }
  Pixels(const Pixels&) = delete;
  Pixels& operator=(const Pixels&) = delete;

  bool valid() const { return cairo_surface_status(surface_) == CAIRO_STATUS_SUCCESS; }
  int width() const { return cairo_image_surface_get_width(surface_); }
  int height() const { return cairo_image_surface_get_height(surface_); }
  int At(int x, int y, int part) const {
    const unsigned char* row =
        cairo_image_surface_get_data(surface_) + y * cairo_image_surface_get_stride(surface_);
    return row[4 * x + part];
  }

 private:
  static cairo_status_t Read(void* self, unsigned char* out, unsigned size) {
    std::string& rest = static_cast<Pixels*>(self)->rest_;
    if (rest.size() < size) return CAIRO_STATUS_READ_ERROR;
    rest.copy(reinterpret_cast<char*>(out), size);
    rest.erase(0, size);
    return CAIRO_STATUS_SUCCESS;
  }
  std::string rest_;
  cairo_surface_t* surface_;
};

}  // namespace TalvoInk
