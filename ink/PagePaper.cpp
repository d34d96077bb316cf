#include "ink/PagePaper.h"

#include <algorithm>

#include "ink/Units.h"

namespace TalvoInk {
namespace {

const char kBegin[] = "paper ";
const char kUnit[] = " mm ";

}  // namespace

std::string WritePaper(const PagePaper& paper) {
  return kBegin + FormatNumber(paper.size.width_mm, 3) + "x" +
         FormatNumber(paper.size.height_mm, 3) + kUnit + paper.ruling;
}

std::optional<PagePaper> ParsePaper(const std::string& name) {
  const std::size_t begin = sizeof kBegin - 1;
  const std::size_t unit = name.find(kUnit);
  if (name.compare(0, begin, kBegin) != 0 || unit == std::string::npos) return std::nullopt;
  const auto size = ParsePageSize(name.substr(begin, unit - begin));
  PagePaper paper;
  paper.ruling = name.substr(unit + sizeof kUnit - 1);
  const auto is_letter = [](char c) { return (c >= 'a' && c <= 'z') || c == '_'; };
  if (!size || paper.ruling.empty() ||
      !std::all_of(paper.ruling.begin(), paper.ruling.end(), is_letter)) {
    return std::nullopt;
  }
  paper.size = *size;
  return paper;
}

}  // namespace TalvoInk
