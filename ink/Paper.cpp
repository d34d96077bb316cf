#include "ink/Paper.h"

#include "ink/Text.h"
#include "ink/Units.h"

namespace TalvoInk {
namespace {

constexpr struct {
  const char* name;
  PageSize size;
} kSizes[] = {{"A3", {297, 420}}, {"A4", {210, 297}},         {"A5", {148, 210}},
              {"A6", {105, 148}}, {"Letter", {215.9, 279.4}}, {"Legal", {215.9, 355.6}}};

}  // namespace

std::optional<PageSize> ParsePageSize(const std::string& text) {
  for (const auto& known : kSizes) {
    if (LowerCase(text) == LowerCase(known.name)) return known.size;
  }
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos) return std::nullopt;
  const auto width = ParseNumber(text.substr(0, cross));
  const auto height = ParseNumber(text.substr(cross + 1));
  const auto paper = [](const std::optional<double>& mm) { return mm && *mm >= 1 && *mm <= 5000; };
  if (!paper(width) || !paper(height)) return std::nullopt;
  return PageSize{*width, *height};
}

std::vector<std::string> PageSizeNames() {
  std::vector<std::string> names;
  for (const auto& known : kSizes) names.emplace_back(known.name);
  return names;
}

std::optional<Ruling> ParseRuling(const std::string& text) {
  if (text == "plain") return Ruling::kPlain;
  if (text == "ruled") return Ruling::kRuled;
  if (text == "squared") return Ruling::kSquared;
  if (text == "dotted") return Ruling::kDotted;
  return std::nullopt;
}

}  // namespace TalvoInk
