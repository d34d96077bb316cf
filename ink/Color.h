// Colours as people and files write them, as 0xAARRGGBB.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace TalvoInk {

// "#RGB", "#RRGGBB", "#RRGGBBAA" (a backslash before the # is read over), "rgb(r, g, b)" or one of
// the sixteen basic names of HTML, orange, brown and pink. None for
// anything else; opaque unless the text says how opaque.
std::optional<std::uint32_t> ParseColor(const std::string& text);

// "#RRGGBB".
std::string FormatColor(std::uint32_t color);

}  // namespace TalvoInk
