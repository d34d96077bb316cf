#include "ink/inkml/InkMLBrush.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "ink/Color.h"
#include "ink/PlainText.h"
#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

constexpr double kWidestUm = std::numeric_limits<std::uint32_t>::max();

// Micrometres; none for what is not the width of a line.
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

bool IsTrue(const std::string& value) {
  return value == "1" || LowerCase(value) == "true";
}

// From 0 for opaque to 255, or a fraction of 1. None for anything else.
std::optional<std::uint32_t> ReadTransparency(const std::string& value) {
  const std::optional<double> number = ParseNumber(value);
  if (!number || *number < 0 || *number > 255) return std::nullopt;
  const double full = *number < 1 ? *number * 255 : *number;
  return static_cast<std::uint32_t>(std::lround(full));
}

// Takes over what is neither a colour nor a size. False for what ink can't show.
bool ReadManner(const std::string& name, const std::string& value, Brush& out) {
  const std::string lower = LowerCase(value);
  if (name == "tip" && (lower == "ellipse" || lower == "rectangle")) {
    out.is_rectangle = lower == "rectangle";
  } else if (name == "rasterop" && (lower == "copypen" || lower == "maskpen")) {
    out.masks = lower == "maskpen";
  } else if (name == "ignorepressure") {
    out.ignores_pressure = IsTrue(value);
  } else {
    return (name == "antialiased" || name == "fittocurve") && IsTrue(value);
  }
  return true;
}

// A brush's last word of a name counts, as it does for the others.
// False if it can't be kept.
bool KeepWord(const BrushWord& word, Brush& out) {
  if (word.name.empty()) return false;
  for (const std::string* text : {&word.name, &word.value, &word.unit}) {
    if (text->size() > kLongestBrushWord || !IsPlainText(*text)) return false;
  }
  const auto same = std::find_if(out.others.begin(), out.others.end(),
                                 [&](const BrushWord& other) { return other.name == word.name; });
  if (same != out.others.end()) {
    *same = word;
  } else if (out.others.size() < kMostBrushWords) {
    out.others.push_back(word);
  } else {
    return false;
  }
  return true;
}

}  // namespace

Tip Brush::AsTip() const {
  Tip tip;
  tip.is_constant = ignores_pressure;
  tip.darkens = masks;
  tip.others = others;
  const std::uint32_t width = width_um == 0 ? kDefaultWidthUm : width_um;
  const std::uint32_t height = height_um == 0 ? width : height_um;
  if (is_rectangle || height != width) {
    tip.shape = is_rectangle ? Tip::Shape::kRectangle : Tip::Shape::kEllipse;
    tip.height_um = height;
  }
  return tip;
}

void ReadBrushProperty(pugi::xml_node property, Brush& out, Losses& losses) {
  const std::string name = LowerCase(Trim(AttributeOf(property, "name")));
  const std::string value = Trim(AttributeOf(property, "value"));
  if (name == "color") {
    const std::optional<std::uint32_t> color = ParseColor(value);
    if (!color) losses.Add("colour '" + value + "' is not known; black taken");
    out.color = (out.color & 0xFF000000) | (color.value_or(0) & 0x00FFFFFF);
  } else if (name == "transparency") {
    const std::optional<std::uint32_t> transparency = ReadTransparency(value);
    if (!transparency) {
      losses.Add("transparency '" + value + "' is not from 0 to 255; opaque taken");
    }
    out.color = (out.color & 0x00FFFFFF) | (255 - transparency.value_or(0)) << 24;
  } else if (name == "width") {
    const std::optional<std::uint32_t> width =
        ReadWidth(value, AttributeOf(property, "units"), losses);
    if (!width) losses.Add("width '" + value + "' is not a line's; the default width taken");
    out.width_um = width.value_or(0);
  } else if (name == "height") {
    const std::optional<std::uint32_t> height =
        ReadWidth(value, AttributeOf(property, "units"), losses);
    if (!height) losses.Add("height '" + value + "' is not a line's; the width taken");
    out.height_um = height.value_or(0);
  } else if (!ReadManner(name, value, out)) {
    const BrushWord word{Trim(AttributeOf(property, "name")), value,
                         AttributeOf(property, "units")};
    if (!KeepWord(word, out)) losses.Add("brush property " + word.name + " dropped");
  }
}

}  // namespace TalvoInk
