#include "ink/drawing/CoveredTiles.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace TalvoInk {
namespace {

// Smaller tiles are covered sooner, larger ones are faster to ask.
constexpr int kTilePixels = 16;

// Looking at all pixels of a tile takes as long as a few fills.
constexpr std::uint32_t kFillsBetweenLooks = 8;

// A shape's soft edge, drawn over its own colour, rounds to within this of the colour.
constexpr int kRounding = 2;

// Edges reach into the pixels beside them.
constexpr double kEdge = 1.0 / kTilePixels;

int TilesFor(int pixels) {
  return (pixels + kTilePixels - 1) / kTilePixels;
}

bool IsAlike(std::uint32_t pixel, std::uint32_t color) {
  for (const int shift : {0, 8, 16}) {
    const int a = static_cast<int>(pixel >> shift & 255),
              b = static_cast<int>(color >> shift & 255);
    if (std::abs(a - b) > kRounding) return false;
  }
  return true;
}

}  // namespace

CoveredTiles::CoveredTiles(cairo_surface_t* image)
    : image_(image),
      width_(cairo_image_surface_get_width(image)),
      height_(cairo_image_surface_get_height(image)),
      columns_(TilesFor(width_)),
      rows_(TilesFor(height_)),
      tiles_(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows_)),
      spans_(static_cast<std::size_t>(rows_), kNoSpan) {}

void CoveredTiles::Forget() {
  std::fill(tiles_.begin(), tiles_.end(), Tile());
}

// Widens the spans of the rows that the edge crosses.
void CoveredTiles::TakeEdge(double x0, double y0, double x1, double y1) {
  if (y0 > y1) {
    std::swap(x0, x1);
    std::swap(y0, y1);
  }
  const double top = y0 - kEdge, bottom = y1 + kEdge;
  if (!(bottom >= 0 && top < rows_)) return;
  const int first = static_cast<int>(std::max(top, 0.0));
  const int last = static_cast<int>(std::min(bottom, rows_ - 1.0));
  const double slope = y1 > y0 ? (x1 - x0) / (y1 - y0) : 0;
  const double least = std::min(x0, x1), most = std::max(x0, x1);
  for (int row = first; row <= last; ++row) {
    // Where the edge enters the row and leaves it; all of an edge that lies within.
    const double enters = y1 > y0 ? x0 + slope * (std::max(row - kEdge, y0) - y0) : x0;
    const double leaves = y1 > y0 ? x0 + slope * (std::min(row + 1 + kEdge, y1) - y0) : x1;
    Span& span = spans_[static_cast<std::size_t>(row)];
    span.left = std::min(span.left, std::max(std::min(enters, leaves), least) - kEdge);
    span.right = std::max(span.right, std::min(std::max(enters, leaves), most) + kEdge);
  }
  first_row_ = std::min(first_row_, first);
  last_row_ = std::max(last_row_, last);
}

// Collects the tiles in the spans that may change, and makes the spans empty again. The spans hold
// all that lies between a polygon's outermost edges: never less than the polygon.
void CoveredTiles::TakeSpans(std::uint32_t color) {
  for (int row = first_row_; row <= last_row_; ++row) {
    Span& span = spans_[static_cast<std::size_t>(row)];
    if (span.right >= 0 && span.left < columns_) {
      const int last = static_cast<int>(std::min(span.right, columns_ - 1.0));
      for (int column = static_cast<int>(std::max(span.left, 0.0)); column <= last; ++column) {
        const std::size_t tile =
            static_cast<std::size_t>(row) * static_cast<std::size_t>(columns_) +
            static_cast<std::size_t>(column);
        if (tiles_[tile].covered_with != color) open_.push_back(tile);
      }
    }
    span = kNoSpan;
  }
}

std::optional<PixelBox> CoveredTiles::WhereSeen(std::uint32_t color,
                                                const std::vector<Polygon>& polygons,
                                                const cairo_matrix_t& to_pixels) {
  open_.clear();
  for (const Polygon& polygon : polygons) {
    if (polygon.empty()) continue;
    first_row_ = rows_;
    last_row_ = -1;
    const auto place = [&](const Corner& corner) {
      double x = double(corner.x), y = double(corner.y);
      cairo_matrix_transform_point(&to_pixels, &x, &y);
      return std::make_pair(x / kTilePixels, y / kTilePixels);
    };
    auto [x0, y0] = place(polygon.back());
    for (const Corner& corner : polygon) {
      const auto [x1, y1] = place(corner);
      TakeEdge(x0, y0, x1, y1);
      x0 = x1;
      y0 = y1;
    }
    TakeSpans(color);
  }
  if (open_.empty()) return std::nullopt;
  PixelBox box{width_, height_, 0, 0};
  const auto columns = static_cast<std::size_t>(columns_);
  for (const std::size_t tile : open_) {
    const int left = static_cast<int>(tile % columns) * kTilePixels;
    const int top = static_cast<int>(tile / columns) * kTilePixels;
    box.left = std::min(box.left, left);
    box.top = std::min(box.top, top);
    box.right = std::max(box.right, left + kTilePixels);
    box.bottom = std::max(box.bottom, top + kTilePixels);
  }
  return box;
}

void CoveredTiles::HasFilled(std::uint32_t color) {
  for (const std::size_t number : open_) {
    Tile& tile = tiles_[number];
    tile.covered_with = 0;
    if (++tile.fills % kFillsBetweenLooks != 0) continue;
    if (LooksCovered(number, color)) tile.covered_with = color;
  }
}

bool CoveredTiles::LooksCovered(std::size_t tile, std::uint32_t color) const {
  cairo_surface_flush(image_);
  const unsigned char* const data = cairo_image_surface_get_data(image_);
  const std::ptrdiff_t stride = cairo_image_surface_get_stride(image_);
  const bool has_alpha = cairo_image_surface_get_format(image_) == CAIRO_FORMAT_ARGB32;
  const int left = static_cast<int>(tile % static_cast<std::size_t>(columns_)) * kTilePixels;
  const int top = static_cast<int>(tile / static_cast<std::size_t>(columns_)) * kTilePixels;
  for (int y = top; y < std::min(top + kTilePixels, height_); ++y) {
    const auto* const row = reinterpret_cast<const std::uint32_t*>(data + y * stride);
    for (int x = left; x < std::min(left + kTilePixels, width_); ++x) {
      if (!IsAlike(row[x], color) || (has_alpha && row[x] >> 24 < 255 - kRounding)) return false;
    }
  }
  return true;
}

}  // namespace TalvoInk
