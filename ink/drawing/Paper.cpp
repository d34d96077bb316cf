#include "ink/drawing/Paper.h"

#include "ink/Units.h"

namespace TalvoInk {

std::optional<PageSize> ParsePageSize(const std::string& text) {
  if (text == "A4") return PageSize{210, 297};
  if (text == "A5") return PageSize{148, 210};
  if (text == "Letter") return PageSize{215.9, 279.4};
  const std::size_t cross = text.find('x');
  if (cross == std::string::npos) return std::nullopt;
  const auto width = ParseNumber(text.substr(0, cross));
  const auto height = ParseNumber(text.substr(cross + 1));
  const auto paper = [](const std::optional<double>& mm) { return mm && *mm >= 1 && *mm <= 5000; };
  if (!paper(width) || !paper(height)) return std::nullopt;
  return PageSize{*width, *height};
}

}  // namespace TalvoInk
