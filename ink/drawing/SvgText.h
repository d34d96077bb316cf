// The pieces of SVG text that pictures and replays are made of. The unit of the drawing is the
// micrometre, so that all numbers are whole.

#pragma once

#include <cstddef>
#include <string>

#include "ink/drawing/Picture.h"

namespace TalvoInk {

// The root element, shown at the picture's own size, with white paper unless it is to be
// transparent.
std::string BeginSvg(const Picture& picture, bool transparent);

// The group of one sheet, `top` micrometres from the picture's top, clipped at its edges.
std::string BeginSheet(const Sheet& sheet, std::size_t number, std::int64_t top);

// The attributes of an element that is filled in this colour; of a group if `group` is set, whose
// parts then show through it as one.
std::string FillAttributes(const Shape& shape, bool group);

// The polygon as path data.
void AppendPath(std::string& out, const Polygon& polygon);

}  // namespace TalvoInk
