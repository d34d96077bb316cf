// The line that a pen leaves, as InkML's brushes describe it.

#pragma once

#include <cstdint>
#include <pugixml.hpp>
#include <vector>

#include "ink/Losses.h"
#include "ink/Tips.h"

namespace TalvoInk {

struct Brush {
  std::uint32_t color = 0xFF000000;  // 0xAARRGGBB
  std::uint32_t width_um = 0;        // 0 for the default width
  std::uint32_t height_um = 0;       // 0 for one that is not stated
  bool is_rectangle = false;
  bool ignores_pressure = false;
  bool masks = false;
  std::vector<BrushWord> others;  // that ink can't show

  Tip AsTip() const;
};

// Takes over what a <brushProperty> says. What it says wrongly goes into `losses`; what it says and
// ink can't show is kept in `others`, one word for each name.
void ReadBrushProperty(pugi::xml_node property, Brush& out, Losses& losses);

}  // namespace TalvoInk
