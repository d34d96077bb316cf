#include "ink/drawing/Picture.h"

#include <algorithm>

namespace TalvoInk {

Picture MakePicture(const Ink& ink, const LayoutOptions& options,
                    std::optional<std::uint32_t> color) {
  Picture picture;
  picture.tips = Tips(ink);
  picture.layout = LayOut(ink, picture.tips, options);
  picture.color = color;
  for (const Sheet& sheet : picture.layout.sheets) {
    if (picture.height != 0) picture.height += kGapUm;
    picture.height += sheet.height;
    picture.width = std::max(picture.width, sheet.width);
  }
  return picture;
}

Shape ShapeOf(const Stroke& stroke, const Sheet& sheet, const Picture& picture) {
  const Tip tip = picture.tips.Of(stroke);
  Shape shape{picture.color.value_or(stroke.color), tip.darkens, OutlineOf(stroke, tip)};
  for (Polygon& polygon : shape.polygons) {
    for (Corner& corner : polygon) corner = sheet.Place(corner);
  }
  return shape;
}

}  // namespace TalvoInk
