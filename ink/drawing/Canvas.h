// Drawing with cairo: images and what is common to all of its surfaces.

#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ink/Sink.h"
#include "ink/drawing/Painter.h"

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

// An image of a whole leaf at a resolution, with white paper or transparent. Throws
// PictureSizeError, before it takes any memory, for one of more than 32000 pixels a side or 300
// million in all.
Surface MakeImage(const Leaf& leaf, double dpi, bool transparent);

// The pixels of a page as an image.
Surface ImageOf(const Backdrop& backdrop);

// A context on such an image whose unit is the micrometre.
Context DrawOn(const Surface& image, double dpi);

// Fills the polygons on the sheet whose corner is the context's origin.
void Fill(cairo_t* context, const Look& look, const std::vector<Polygon>& polygons);

// Lets what follows be drawn on the sheet alone, in its place, until cairo_restore.
void SaveAndClip(cairo_t* context, const Placed& sheet);

// The image as the bytes of a PNG.
std::string WritePng(const Surface& image);
void WritePng(const Surface& image, const Sink& sink);

// A corner of a polygon as files and cairo can count it: ink may lie kilometres beside the sheet.
std::int64_t Near(std::int64_t um);

// Draws on an image with such a context.
std::unique_ptr<Painter> MakeImagePainter(const Surface& image, double dpi);

}  // namespace TalvoInk
