#include "ink/drawing/SvgText.h"

#include "ink/Color.h"

namespace TalvoInk {
namespace {

std::string Millimetres(std::int64_t um) {
  const std::string digits = std::to_string(1000 + um % 1000);
  return std::to_string(um / 1000) + "." + digits.substr(1);
}

void AppendNumber(std::string& out, std::int64_t number) {
  if (number >= 0 && out.back() >= '0' && out.back() <= '9') out += ' ';
  out += std::to_string(number);
}

}  // namespace

std::string BeginSvg(const Leaf& leaf, bool transparent) {
  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  out += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Millimetres(leaf.width) +
         "mm\" height=\"" + Millimetres(leaf.height) + "mm\" viewBox=\"0 0 " +
         std::to_string(leaf.width) + " " + std::to_string(leaf.height) +
         "\" fill-rule=\"nonzero\">\n";
  if (!transparent) out += "<rect width=\"100%\" height=\"100%\" fill=\"#FFFFFF\"/>\n";
  return out;
}

std::string BeginSheet(const Placed& placed, std::size_t number) {
  const Sheet& sheet = placed.sheet;
  const std::string id = "page" + std::to_string(number);
  return "<clipPath id=\"" + id + "\"><rect width=\"" + std::to_string(sheet.width) +
         "\" height=\"" + std::to_string(sheet.height) + "\"/></clipPath>\n" +
         "<g transform=\"translate(" + std::to_string(placed.left) + " " +
         std::to_string(placed.top) + ")\" clip-path=\"url(#" + id + ")\">\n";
}

std::string FillAttributes(const Look& look, bool group) {
  std::string out = " fill=\"" + FormatColor(look.color) + "\"";
  if (const std::uint32_t alpha = look.color >> 24; alpha != 255) {
    const std::string digits = std::to_string(1000 + (alpha * 1000 + 127) / 255);
    out += std::string(group ? " opacity" : " fill-opacity") + "=\"0." + digits.substr(1) + "\"";
  }
  if (look.darkens) out += " style=\"mix-blend-mode:multiply\"";
  return out;
}

// Micrometres from corner to corner: whole numbers, and short ones.
void AppendPath(std::string& out, const Polygon& polygon) {
  Corner last = polygon.front();
  out += 'M';
  AppendNumber(out, last.x);
  AppendNumber(out, last.y);
  out += 'l';
  for (std::size_t i = 1; i < polygon.size(); ++i) {
    AppendNumber(out, polygon[i].x - last.x);
    AppendNumber(out, polygon[i].y - last.y);
    last = polygon[i];
  }
  out += 'z';
}

}  // namespace TalvoInk
