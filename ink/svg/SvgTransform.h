// Where SVG puts things: its transforms and the size of its canvas.

#pragma once

#include <optional>
#include <pugixml.hpp>
#include <string>

#include "ink/Affine.h"

namespace TalvoInk {

// The value of a "transform" attribute, such as "translate(10,20) rotate(45)". None for what is not
// one.
std::optional<Affine> ParseSvgTransform(const std::string& text);

// A length in micrometres: "12", "12px", "1.5e1mm". None for percentages and for what is not a
// length.
std::optional<double> ParseSvgLength(const std::string& text);

struct SvgCanvas {
  Affine to_um;  // from the drawing's units to micrometres
  std::optional<double> width_um, height_um;
};

// What width, height, viewBox and preserveAspectRatio of the root say.
SvgCanvas ReadSvgCanvas(pugi::xml_node root);

}  // namespace TalvoInk
