#include "ink/Color.h"

#include <charconv>
#include <cstdio>
#include <utility>

#include "ink/Text.h"

namespace TalvoInk {
namespace {

std::optional<std::uint32_t> ParseHex(const std::string& digits) {
  std::uint32_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value, 16);
  if (result.ec != std::errc() || result.ptr != end) return std::nullopt;
  if (digits.size() == 3) {
    const std::uint32_t r = value >> 8, g = value >> 4 & 15, b = value & 15;
    return 0xFF000000 | (r * 17) << 16 | (g * 17) << 8 | b * 17;
  }
  if (digits.size() == 6) return 0xFF000000 | value;
  if (digits.size() == 8) return value << 24 | value >> 8;
  return std::nullopt;
}

// The inside of "rgb(...)": three numbers from 0 to 255 with commas between them.
std::optional<std::uint32_t> ParseRgb(const std::string& list) {
  std::uint32_t color = 0xFF;
  const char* at = list.data();
  const char* end = at + list.size();
  for (int i = 0; i < 3; ++i) {
    while (at != end && (*at == ' ' || (*at == ',' && i > 0))) ++at;
    std::uint8_t part = 0;
    const auto result = std::from_chars(at, end, part);
    if (result.ec != std::errc()) return std::nullopt;
    color = color << 8 | part;
    at = result.ptr;
  }
  return Trim(std::string(at, end)).empty() ? std::optional<std::uint32_t>(color) : std::nullopt;
}

}  // namespace

std::optional<std::uint32_t> ParseColor(const std::string& text) {
  static const std::pair<const char*, std::uint32_t> kNames[] = {
      {"black", 0x000000},  {"silver", 0xC0C0C0}, {"gray", 0x808080},   {"white", 0xFFFFFF},
      {"maroon", 0x800000}, {"red", 0xFF0000},    {"purple", 0x800080}, {"fuchsia", 0xFF00FF},
      {"green", 0x008000},  {"lime", 0x00FF00},   {"olive", 0x808000},  {"yellow", 0xFFFF00},
      {"navy", 0x000080},   {"blue", 0x0000FF},   {"teal", 0x008080},   {"aqua", 0x00FFFF},
      {"orange", 0xFFA500}, {"brown", 0xA52A2A},  {"pink", 0xFFC0CB}};
  std::string color = Trim(text);
  if (!color.empty() && color[0] == '\\') color.erase(0, 1);
  if (!color.empty() && color[0] == '#') return ParseHex(color.substr(1));
  if (color.compare(0, 4, "rgb(") == 0 && color.back() == ')') {
    return ParseRgb(color.substr(4, color.size() - 5));
  }
  for (const auto& [name, value] : kNames) {
    if (color == name) return 0xFF000000 | value;
  }
  return std::nullopt;
}

std::string FormatColor(std::uint32_t color) {
  char text[8];
  std::snprintf(text, sizeof text, "#%06X", static_cast<unsigned>(color & 0x00FFFFFF));
  return text;
}

}  // namespace TalvoInk
