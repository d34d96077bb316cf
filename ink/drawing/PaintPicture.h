// Draws a picture with any painter: paper, rulings, strokes, names below the sheets of a contact
// sheet. Everything that pictures of all kinds have in common.

#pragma once

#include "ink/Paper.h"
#include "ink/Sink.h"
#include "ink/drawing/Painter.h"
#include "ink/drawing/Picture.h"

namespace TalvoInk {

struct PaperOptions {
  Ruling ruling = Ruling::kPlain;
  std::shared_ptr<const Backdrop> backdrop;  // on each sheet, below the ink; none if empty
};

// Draws all leaves and finishes the painter. `tell` is told the share of the points that are drawn,
// up to `end`.
void PaintPicture(const Picture& picture, const PaperOptions& paper, Painter& painter,
                  const TellShare& tell, double end = 1);

}  // namespace TalvoInk
