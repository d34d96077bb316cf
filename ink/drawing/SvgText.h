// The pieces of SVG text that pictures and replays are made of. The unit of the drawing is the
// micrometre, so that all numbers are whole.

#pragma once

#include <cstddef>
#include <string>

#include "ink/drawing/Picture.h"

namespace TalvoInk {

// The root element, shown at the leaf's own size, with white paper unless it is to be transparent.
std::string BeginSvg(const Leaf& leaf, bool transparent);

// The group of one sheet in its place on the leaf, clipped at its edges. The number tells it from
// others of the document.
std::string BeginSheet(const Placed& placed, std::size_t number);

// The attributes of an element that is filled in this colour; of a group if `group` is set, whose
// parts then show through it as one.
std::string FillAttributes(const Look& look, bool group);

// The polygon as path data.
void AppendPath(std::string& out, const Polygon& polygon);

}  // namespace TalvoInk
