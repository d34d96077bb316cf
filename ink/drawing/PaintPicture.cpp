#include "ink/drawing/PaintPicture.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "ink/drawing/Outline.h"

namespace TalvoInk {
namespace {

constexpr std::uint32_t kRulingColor = 0xFFC4D3E3;
constexpr std::uint32_t kFrameColor = 0xFFB0B0B0;
constexpr double kLineUm = 150;  // the width of a ruling's line, and of a frame's
constexpr double kDotUm = 400;
constexpr std::int64_t kLabelSizeUm = 3000;

// A stroke of more corners is filled in parts: what a filled shape costs grows faster than its
// corners. Handwriting stays below, and is filled whole.
constexpr std::size_t kMostCorners = 4096;

Polygon Rectangle(double left, double top, double right, double bottom) {
  const std::int64_t x0 = std::llround(left), y0 = std::llround(top);
  const std::int64_t x1 = std::llround(right), y1 = std::llround(bottom);
  return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
}

Polygon Dot(double x, double y, double size) {
  const double half = size / 2, corner = half * 0.4142;  // an octagon
  Polygon polygon;
  for (const auto& [dx, dy] :
       {std::pair(half, corner), std::pair(corner, half), std::pair(-corner, half),
        std::pair(-half, corner), std::pair(-half, -corner), std::pair(-corner, -half),
        std::pair(corner, -half), std::pair(half, -corner)}) {
    polygon.push_back({std::llround(x + dx), std::llround(y + dy)});
  }
  return polygon;
}

// Rulings are not drawn finer than this many on a side: on a sheet of kilometres they are a grey.
constexpr int kMostLines = 1000;

std::vector<Polygon> RulingOf(const Sheet& sheet, Ruling ruling) {
  const double step = (ruling == Ruling::kRuled ? 8000 : 5000) * sheet.paper_scale;
  const double half = kLineUm / 2 * sheet.paper_scale;
  const auto width = double(sheet.width), height = double(sheet.height);
  std::vector<Polygon> polygons;
  if (std::max(width, height) / step > kMostLines) return polygons;
  for (double y = step; y < height; y += step) {
    if (ruling != Ruling::kDotted) {
      polygons.push_back(Rectangle(0, y - half, width, y + half));
      continue;
    }
    for (double x = step; x < width; x += step)
      polygons.push_back(Dot(x, y, kDotUm * sheet.paper_scale));
  }
  if (ruling == Ruling::kSquared) {
    for (double x = step; x < width; x += step)
      polygons.push_back(Rectangle(x - half, 0, x + half, height));
  }
  return polygons;
}

std::vector<Polygon> FrameOf(const Sheet& sheet) {
  const auto width = double(sheet.width), height = double(sheet.height);
  return {Rectangle(0, 0, width, kLineUm), Rectangle(0, height - kLineUm, width, height),
          Rectangle(0, 0, kLineUm, height), Rectangle(width - kLineUm, 0, width, height)};
}

// Fills a stroke's polygons: together if they are few, else in parts, which must not show
// if the ink is translucent.
class StrokeFiller {
 public:
  StrokeFiller(const Look& look, bool one_by_one, Painter& painter)
      : look_(look), most_corners_(one_by_one ? 0 : kMostCorners), painter_(painter) {}

  void Take(Polygon polygon) {
    if (corners_ + polygon.size() > most_corners_ && !polygons_.empty()) FillPart();
    corners_ += polygon.size();
    polygons_.push_back(std::move(polygon));
  }

  void Finish() {
    if (!polygons_.empty()) painter_.Fill(is_grouped_ ? opaque_ : look_, polygons_);
    if (is_grouped_) painter_.EndGroup();
  }

 private:
  void FillPart() {
    const bool is_even_anyway = look_.color >> 24 == 255 && !look_.darkens;
    if (!is_grouped_ && !is_even_anyway) {
      painter_.BeginGroup(look_);
      is_grouped_ = true;
    }
    painter_.Fill(is_grouped_ ? opaque_ : look_, polygons_);
    polygons_.clear();
    corners_ = 0;
  }

  const Look look_;
  const std::size_t most_corners_;
  const Look opaque_{look_.color | 0xFF000000, false};
  Painter& painter_;
  std::vector<Polygon> polygons_;
  std::size_t corners_ = 0;
  bool is_grouped_ = false;
};

void PaintStroke(const Stroke& stroke, const Sheet& sheet, const Picture& picture, Painter& painter,
                 ShareTeller& teller) {
  std::size_t untold = stroke.samples.size();
  StrokeFiller filler(LookOf(stroke, sheet, picture), IsLong(stroke), painter);
  ForEachPolygon(stroke, sheet.tips->Of(stroke), [&](Polygon polygon) {
    for (Corner& corner : polygon) corner = sheet.Place(corner);
    filler.Take(std::move(polygon));
    // A polygon is drawn of at least one point; a long stroke is drawn of many.
    if (untold > 0) {
      teller.Done(1);
      --untold;
    }
  });
  filler.Finish();
  teller.Done(untold);
}

void PaintSheet(const Placed& placed, const Picture& picture, const PaperOptions& paper,
                Painter& painter, ShareTeller& teller) {
  const Sheet& sheet = placed.sheet;
  painter.BeginSheet(placed);
  if (paper.backdrop) {
    const double wide = double(sheet.width) / (paper.backdrop->size.width_mm * 1000);
    const double high = double(sheet.height) / (paper.backdrop->size.height_mm * 1000);
    painter.Show(*paper.backdrop, std::min(wide, high));
  }
  const Ruling printed =
      paper.ruling == Ruling::kPlain ? sheet.ruling.value_or(Ruling::kPlain) : paper.ruling;
  if (printed != Ruling::kPlain) {
    const std::vector<Polygon> ruling = RulingOf(sheet, printed);
    if (!ruling.empty()) painter.Fill({kRulingColor, false}, ruling);
  }
  for (const Stroke* stroke : sheet.strokes) {
    PaintStroke(*stroke, sheet, picture, painter, teller);
  }
  if (!placed.label.empty()) painter.Fill({kFrameColor, false}, FrameOf(sheet));
  painter.EndSheet();
  if (placed.label.empty()) return;
  painter.Write(placed.label, placed.left + sheet.width / 2, placed.label_baseline, kLabelSizeUm);
}

std::size_t SamplesOf(const Picture& picture) {
  std::size_t samples = 0;
  for (const Placed& placed : picture.sheets) {
    for (const Stroke* stroke : placed.sheet.strokes) samples += stroke->samples.size();
  }
  return samples;
}

}  // namespace

void PaintPicture(const Picture& picture, const PaperOptions& paper, Painter& painter,
                  const TellShare& tell, double end) {
  ShareTeller teller(tell, SamplesOf(picture), 0, end);
  for (const Leaf& leaf : picture.leaves) {
    painter.BeginLeaf(leaf);
    for (std::size_t i = leaf.begin; i < leaf.end; ++i) {
      PaintSheet(picture.sheets[i], picture, paper, painter, teller);
    }
    painter.EndLeaf();
  }
  painter.Finish();
}

}  // namespace TalvoInk
