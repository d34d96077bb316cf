// The sizes of paper that people name.

#pragma once

#include <optional>
#include <string>

namespace TalvoInk {

struct PageSize {
  double width_mm, height_mm;
};

// "A4", "A5", "Letter", or width and height in millimetres: "210x297". None for anything else, and
// for sizes that no paper has (below 1 mm, above 5 m).
std::optional<PageSize> ParsePageSize(const std::string& text);

}  // namespace TalvoInk
