// Drawing with cairo: images and what is common to all of its surfaces.

#pragma once

#include <cairo.h>

#include <memory>
#include <string>

#include "ink/drawing/Picture.h"

namespace TalvoInk {

struct DestroySurface {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct DestroyContext {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, DestroySurface>;
using Context = std::unique_ptr<cairo_t, DestroyContext>;

// Throws InkError unless the status is success.
void CheckCairo(cairo_status_t status);

// What cairo writes to, a std::string behind `out`.
cairo_status_t AppendBytes(void* out, const unsigned char* bytes, unsigned size);

// An image of the whole picture at a resolution, with white paper or transparent. Throws
// PictureSizeError, before it takes any memory, for one of more than 32000 pixels a side or 300
// million in all.
Surface MakeImage(const Picture& picture, double dpi, bool transparent);

// A context on such an image whose unit is the micrometre of the picture.
Context DrawOn(const Surface& image, double dpi);

// Fills the shape on the sheet whose corner is the context's origin.
void Fill(cairo_t* context, const Shape& shape);

// Lets what follows be drawn on the sheet alone, until cairo_restore.
void SaveAndClip(cairo_t* context, const Sheet& sheet);

// The image as the bytes of a PNG.
std::string WritePng(const Surface& image);

}  // namespace TalvoInk
