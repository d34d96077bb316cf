#include "InkMLBrush.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include "Color.h"
#include "Units.h"
#include "XmlNodes.h"
#include "XmlText.h"

namespace InkTool {
namespace {

constexpr double kWidestUm = std::numeric_limits<std::uint32_t>::max();

// Micrometres; none for what is no line's width.
std::optional<std::uint32_t> ReadWidth(const std::string& value, const std::string& unit,
                                       Losses& losses) {
  const std::optional<double> number = ParseNumber(value);
  if (!number || *number <= 0) return std::nullopt;
  std::optional<double> length = MicrometresOf(unit);
  if (!length) {
    // Twenty pixels are a broad marker; a larger number is that of a finer unit.
    const char* assumed = *number <= 20 ? "px" : "himetric";
    length = MicrometresOf(assumed);
    losses.Add(std::string("a brush without a unit of its width; ") + assumed + " taken");
  }
  const double width = *number * *length;
  if (width > kWidestUm) return std::nullopt;
  return static_cast<std::uint32_t>(std::max(std::llround(width), 1LL));
}

// Whether the line that this ink leaves is as the property wants it: round,
// smooth, wider where the pen presses.
bool SaysWhatHoldsAnyway(pugi::xml_node property, const std::string& name,
                         const std::string& value) {
  if (name == "height") {  // of a round tip
    for (const pugi::xml_node& other : PartsOf(property.parent())) {
      if (LowerCase(AttributeOf(other, "name")) != "width") continue;
      return Trim(AttributeOf(other, "value")) == value &&
             AttributeOf(other, "units") == AttributeOf(property, "units");
    }
    return false;
  }
  static const std::pair<const char*, const char*> kSuch[] = {
      {"tip", "ellipse"},      {"rasterop", "copypen"},    {"antialiased", "1"},
      {"antialiased", "true"}, {"fittocurve", "1"},        {"fittocurve", "true"},
      {"ignorepressure", "0"}, {"ignorepressure", "false"}};
  for (const auto& [such_name, such_value] : kSuch) {
    if (name == such_name && LowerCase(value) == such_value) return true;
  }
  return false;
}

}  // namespace

void ReadBrushProperty(pugi::xml_node property, Brush& out, Losses& losses) {
  const std::string name = LowerCase(Trim(AttributeOf(property, "name")));
  const std::string value = Trim(AttributeOf(property, "value"));
  if (name == "color") {
    const std::optional<std::uint32_t> color = ParseColor(value);
    if (!color) losses.Add("colour '" + value + "' is not known; black taken");
    out.color = (out.color & 0xFF000000) | (color.value_or(0) & 0x00FFFFFF);
  } else if (name == "transparency") {
    const std::optional<double> number = ParseNumber(value);
    const bool known = number && *number >= 0 && *number <= 255;
    if (!known) losses.Add("transparency '" + value + "' is none from 0 to 255; opaque taken");
    const auto alpha = static_cast<std::uint32_t>(known ? 255 - std::lround(*number) : 255);
    out.color = (out.color & 0x00FFFFFF) | alpha << 24;
  } else if (name == "width") {
    const std::optional<std::uint32_t> width =
        ReadWidth(value, AttributeOf(property, "units"), losses);
    if (!width) losses.Add("width '" + value + "' is no line's; the default width taken");
    out.width_um = width.value_or(0);
  } else if (!SaysWhatHoldsAnyway(property, name, value)) {
    losses.Add("brush property " + name + " dropped");
  }
}

}  // namespace InkTool
