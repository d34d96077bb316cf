#include "ink/Tips.h"

#include <charconv>
#include <cstdio>
#include <locale>
#include <sstream>
#include <tuple>

namespace TalvoInk {
namespace {

const std::pair<Tip::Shape, const char*> kShapes[] = {{Tip::Shape::kRound, "round"},
                                                      {Tip::Shape::kEllipse, "ellipse"},
                                                      {Tip::Shape::kRectangle, "rectangle"}};

std::string NameOf(Tip::Shape shape) {
  for (const auto& [known, name] : kShapes) {
    if (known == shape) return name;
  }
  return {};
}

std::optional<std::uint32_t> ReadNumber(std::istream& words, int base) {
  std::string word;
  words >> word;
  std::uint32_t number = 0;
  const char* end = word.data() + word.size();
  const auto result = std::from_chars(word.data(), end, number, base);
  if (word.empty() || result.ec != std::errc() || result.ptr != end) return std::nullopt;
  return number;
}

// The colour, width and tip that a property's value states.
std::optional<std::pair<std::pair<std::uint32_t, std::uint32_t>, Tip>> Parse(
    const std::string& value) {
  if (value.empty() || value[0] != '#') return std::nullopt;
  std::istringstream words(value.substr(1));
  words.imbue(std::locale::classic());
  const auto color = ReadNumber(words, 16);
  const auto width = ReadNumber(words, 10);
  std::string word;
  words >> word;
  Tip tip;
  bool known = false;
  for (const auto& [shape, name] : kShapes) {
    if (word != name) continue;
    tip.shape = shape;
    known = true;
  }
  if (!color || !width || *width == 0 || !known) return std::nullopt;
  if (tip.shape != Tip::Shape::kRound) {
    const auto height = ReadNumber(words, 10);
    if (!height || *height == 0) return std::nullopt;
    tip.height_um = *height;
  }
  while (words >> word) {
    tip.is_constant = tip.is_constant || word == "constant";
    tip.darkens = tip.darkens || word == "darkening";
  }
  return std::make_pair(std::make_pair(*color, *width), tip);
}

}  // namespace

bool operator==(const Tip& a, const Tip& b) {
  return std::tie(a.shape, a.height_um, a.is_constant, a.darkens) ==
         std::tie(b.shape, b.height_um, b.is_constant, b.darkens);
}

Tips::Tips(const Ink& ink) {
  for (const Item& item : ink.items) {
    const auto* property = std::get_if<Property>(&item);
    if (property == nullptr || property->key != kTipKey || !property->value) continue;
    if (const auto stated = Parse(*property->value)) tips_.insert(*stated);
  }
}

Tip Tips::Of(std::uint32_t color, std::uint32_t width_um) const {
  const auto found = tips_.find({color, width_um});
  return found == tips_.end() ? Tip() : found->second;
}

std::uint32_t Tips::Claim(std::uint32_t color, std::uint32_t width_um, const Tip& tip) {
  if (width_um == 0 && !tip.IsPlain()) width_um = kDefaultWidthUm;
  for (std::uint32_t width = width_um;; ++width) {
    const auto [found, fresh] = tips_.emplace(Key(color, width), tip);
    if (fresh || found->second == tip) return width;
  }
}

std::vector<Property> Tips::AsProperties() const {
  std::vector<Property> properties;
  for (const auto& [key, tip] : tips_) {
    if (tip.IsPlain()) continue;
    char color[16];
    std::snprintf(color, sizeof color, "#%08X ", static_cast<unsigned>(key.first));
    std::string value = color + std::to_string(key.second) + " " + NameOf(tip.shape);
    if (tip.shape != Tip::Shape::kRound) value += " " + std::to_string(tip.height_um);
    if (tip.is_constant) value += " constant";
    if (tip.darkens) value += " darkening";
    properties.push_back({kTipKey, value});
  }
  return properties;
}

}  // namespace TalvoInk
