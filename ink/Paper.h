// The paper that people name: its sizes, and what is printed on it to write along.

#pragma once

#include <optional>
#include <string>
#include <vector>

namespace TalvoInk {

struct PageSize {
  double width_mm, height_mm;
};

// "A3" to "A6", "Letter", "Legal", in either case, or width and height in millimetres: "210x297".
// None for anything else, and for sizes that no paper has (below 1 mm, above 5 m).
std::optional<PageSize> ParsePageSize(const std::string& text);

// The names above.
std::vector<std::string> PageSizeNames();

enum class Ruling {
  kPlain,
  kRuled,    // lines, 8 mm apart
  kSquared,  // squares of 5 mm
  kDotted    // their corners
};

// "plain", "ruled", "squared", "dotted". None for anything else.
std::optional<Ruling> ParseRuling(const std::string& text);

}  // namespace TalvoInk
