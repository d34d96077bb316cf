// The line that a pen leaves, as InkML's brushes describe it.

#pragma once

#include <cstdint>
#include <pugixml.hpp>

#include "Losses.h"

namespace InkTool {

struct Brush {
  std::uint32_t color = 0xFF000000;  // 0xAARRGGBB
  std::uint32_t width_um = 0;        // 0 for the default width
};

// Takes over what a <brushProperty> says. What it says and ink can't hold, or says wrongly, goes
// into `losses`.
void ReadBrushProperty(pugi::xml_node property, Brush& out, Losses& losses);

}  // namespace InkTool
