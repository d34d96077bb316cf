#include "ink/Tips.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <locale>
#include <sstream>
#include <tuple>

#include "ink/PlainText.h"

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

// Without white space and "=".
std::string Encoded(const std::string& text) {
  std::string out;
  for (const char c : EncodePercent(text)) {
    const bool ends_word = c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '=';
    char code[8];
    std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(c));
    out += ends_word ? code : std::string(1, c);
  }
  return out;
}

std::string FormatWord(const BrushWord& word) {
  const std::string unit = word.unit.empty() ? "" : "=" + Encoded(word.unit);
  return Encoded(word.name) + "=" + Encoded(word.value) + unit;
}

std::optional<BrushWord> ParseWord(const std::string& text) {
  const std::size_t first = text.find('=');
  if (first == std::string::npos || first == 0) return std::nullopt;
  const std::size_t second = std::min(text.find('=', first + 1), text.size());
  BrushWord word{DecodePercent(text.substr(0, first)),
                 DecodePercent(text.substr(first + 1, second - first - 1)), ""};
  if (second < text.size()) word.unit = DecodePercent(text.substr(second + 1));
  for (const std::string& part : {word.name, word.value, word.unit}) {
    if (part.size() > kLongestBrushWord || !IsPlainText(part)) return std::nullopt;
  }
  return word;
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
    const auto other = ParseWord(word);
    if (other && tip.others.size() < kMostBrushWords) tip.others.push_back(*other);
    tip.is_constant = tip.is_constant || word == "constant";
    tip.darkens = tip.darkens || word == "darkening";
  }
  return std::make_pair(std::make_pair(*color, *width), tip);
}

}  // namespace

bool operator==(const BrushWord& a, const BrushWord& b) {
  return std::tie(a.name, a.value, a.unit) == std::tie(b.name, b.value, b.unit);
}

bool operator==(const Tip& a, const Tip& b) {
  return std::tie(a.shape, a.height_um, a.is_constant, a.darkens, a.others) ==
         std::tie(b.shape, b.height_um, b.is_constant, b.darkens, b.others);
}

Tips::Tips(const Ink& ink) {
  for (const Item& item : ink.items) {
    const auto* property = std::get_if<Property>(&item);
    if (property == nullptr || property->key != kTipKey || !property->value) continue;
    if (const auto stated = Parse(*property->value)) tips_.insert(*stated);
  }
}

const Tip& Tips::Of(std::uint32_t color, std::uint32_t width_um) const {
  const auto found = tips_.find({color, width_um});
  static const Tip kPlain;
  return found == tips_.end() ? kPlain : found->second;
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
    for (const BrushWord& word : tip.others) value += " " + FormatWord(word);
    properties.push_back({kTipKey, value});
  }
  return properties;
}

}  // namespace TalvoInk
