// What pictures are drawn on: one class for each kind of picture (SVG, PNG, PDF). It is told leaf
// by leaf and sheet by sheet what there is to fill; it never learns of strokes.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ink/Sink.h"
#include "ink/drawing/Backdrop.h"
#include "ink/drawing/Picture.h"
#include "ink/drawing/Polygon.h"

namespace TalvoInk {

class Painter {
 public:
  virtual ~Painter() = default;

  virtual void BeginLeaf(const Leaf& leaf) = 0;
  virtual void EndLeaf() = 0;

  // What follows lies on the sheet: corners count from its own corner, and nothing is drawn beyond
  // its edges.
  virtual void BeginSheet(const Placed& sheet) = 0;
  virtual void EndSheet() = 0;

  // Fills the polygons as one shape by the nonzero rule: ink that shows through is even in places
  // where they overlap.
  virtual void Fill(const Look& look, const std::vector<Polygon>& polygons) = 0;

  // What is filled until EndGroup, with opaque colours, then shows through as one in this look.
  virtual void BeginGroup(const Look& look) = 0;
  virtual void EndGroup() = 0;

  // A page as a picture, from the sheet's corner on, this much wider and higher.
  virtual void Show(const Backdrop& backdrop, double scale) = 0;

  // Words of this size on the leaf, in the middle of `x`.
  virtual void Write(const std::string& words, std::int64_t x, std::int64_t baseline,
                     std::int64_t size) = 0;

  // After the last leaf: hands all on that was drawn.
  virtual void Finish() = 0;
};

// The picture must outlive its painter. Throw PictureSizeError for one that would be too large,
// before anything is handed to the sink.
std::unique_ptr<Painter> MakeSvgPainter(const Picture& picture, bool transparent, const Sink& sink);
std::unique_ptr<Painter> MakePdfPainter(const Picture& picture, const Sink& sink);

}  // namespace TalvoInk
