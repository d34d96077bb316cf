// Which parts of an image are covered with one opaque colour already, so that more ink of this
// colour changes nothing there. A page that is scribbled over again and again is covered after some
// thousand strokes; the hundred thousands that follow need not be filled.
//
// The image is divided into square tiles. A tile is covered with a colour if no pixel of it differs
// from the colour by more than filling the same colour again would make it differ.

#pragma once

#include <cairo.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "ink/drawing/Polygon.h"

namespace TalvoInk {

// Pixels from left to before right and from top to before bottom.
struct PixelBox {
  int left, top, right, bottom;
};

class CoveredTiles {
 public:
  // Of an image of 32-bit pixels, which must outlive this object.
  explicit CoveredTiles(cairo_surface_t* image);

  // Where filling these polygons with an opaque colour may change the image; none if nowhere.
  // `to_pixels` maps the polygons' corners to pixels.
  std::optional<PixelBox> WhereSeen(std::uint32_t color, const std::vector<Polygon>& polygons,
                                    const cairo_matrix_t& to_pixels);

  // To be called when the polygons of the last WhereSeen have been filled.
  void HasFilled(std::uint32_t color);

  // Anything else was drawn, anywhere.
  void Forget();

 private:
  struct Tile {
    std::uint32_t covered_with = 0;  // 0xFFRRGGBB; 0 for not known to be covered
    std::uint32_t fills = 0;         // since it was looked at
  };
  struct Span {
    double left, right;  // in tiles
  };

  static constexpr Span kNoSpan{std::numeric_limits<double>::max(),
                                std::numeric_limits<double>::lowest()};

  void TakeEdge(double x0, double y0, double x1, double y1);
  void TakeSpans(std::uint32_t color);
  bool LooksCovered(std::size_t tile, std::uint32_t color) const;

  cairo_surface_t* const image_;
  const int width_, height_, columns_, rows_;
  std::vector<Tile> tiles_;
  std::vector<Span> spans_;  // of the polygon that is looked at, by rows
  int first_row_ = 0, last_row_ = -1;
  std::vector<std::size_t> open_;  // the tiles that the polygons reach and may change
};

}  // namespace TalvoInk
