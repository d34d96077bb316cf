#include "ink/svg/SvgTransform.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

constexpr double kPxUm = 25400.0 / 96;
constexpr double kDegree = 3.14159265358979323846 / 180;

// Numbers with blanks or commas between them; none if one is not a number.
std::optional<std::vector<double>> NumbersOf(std::string text) {
  std::replace(text.begin(), text.end(), ',', ' ');
  std::vector<double> numbers;
  static const char kWhite[] = " \t\r\n";
  for (std::size_t at = text.find_first_not_of(kWhite); at != std::string::npos;) {
    const std::size_t end = std::min(text.find_first_of(kWhite, at), text.size());
    const std::optional<double> number = ParseNumber(text.substr(at, end - at));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    at = text.find_first_not_of(kWhite, end);
  }
  return numbers;
}

Affine Turned(double degrees) {
  const double c = std::cos(degrees * kDegree), s = std::sin(degrees * kDegree);
  return {c, -s, 0, s, c, 0};
}

std::optional<Affine> OneTransform(const std::string& name, const std::vector<double>& n) {
  const std::size_t count = n.size();
  if (name == "matrix" && count == 6) return Affine{n[0], n[2], n[4], n[1], n[3], n[5]};
  if (name == "translate" && (count == 1 || count == 2)) {
    return Affine{1, 0, n[0], 0, 1, count == 2 ? n[1] : 0};
  }
  if (name == "scale" && (count == 1 || count == 2)) {
    return Affine{n[0], 0, 0, 0, count == 2 ? n[1] : n[0], 0};
  }
  if (name == "rotate" && count == 1) return Turned(n[0]);
  if (name == "rotate" && count == 3) {
    return Affine{1, 0, n[1], 0, 1, n[2]} * Turned(n[0]) * Affine{1, 0, -n[1], 0, 1, -n[2]};
  }
  if (name == "skewX" && count == 1) return Affine{1, std::tan(n[0] * kDegree), 0, 0, 1, 0};
  if (name == "skewY" && count == 1) return Affine{1, 0, 0, std::tan(n[0] * kDegree), 1, 0};
  return std::nullopt;
}

}  // namespace

std::optional<Affine> ParseSvgTransform(const std::string& text) {
  Affine all;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t open = text.find('(', at);
    const std::size_t close = text.find(')', at);
    if (open == std::string::npos || close == std::string::npos || close < open) {
      return Trim(text.substr(at)).empty() ? std::optional<Affine>(all) : std::nullopt;
    }
    std::string name = Trim(text.substr(at, open - at));
    if (!name.empty() && name[0] == ',') name = Trim(name.substr(1));
    const auto numbers = NumbersOf(text.substr(open + 1, close - open - 1));
    const auto one = numbers ? OneTransform(name, *numbers) : std::nullopt;
    if (!one) return std::nullopt;
    all = all * *one;
    at = close + 1;
  }
  return all;
}

std::optional<double> ParseSvgLength(const std::string& text) {
  const std::string trimmed = Trim(text);
  std::size_t unit = trimmed.size();
  while (unit > 0 && ((trimmed[unit - 1] >= 'a' && trimmed[unit - 1] <= 'z') ||
                      (trimmed[unit - 1] >= 'A' && trimmed[unit - 1] <= 'Z'))) {
    --unit;
  }
  const std::optional<double> number = ParseNumber(trimmed.substr(0, unit));
  const std::optional<double> length =
      unit == trimmed.size() ? kPxUm : MicrometresOf(trimmed.substr(unit));
  if (!number || !length) return std::nullopt;
  return *number * *length;
}

SvgCanvas ReadSvgCanvas(pugi::xml_node root) {
  SvgCanvas canvas;
  canvas.width_um = ParseSvgLength(AttributeOf(root, "width"));
  canvas.height_um = ParseSvgLength(AttributeOf(root, "height"));
  canvas.to_um = {kPxUm, 0, 0, 0, kPxUm, 0};
  const auto box = NumbersOf(AttributeOf(root, "viewBox"));
  if (!box || box->size() != 4 || (*box)[2] <= 0 || (*box)[3] <= 0) return canvas;
  const double width = (*box)[2], height = (*box)[3];
  if (!canvas.width_um && !canvas.height_um) {
    canvas.width_um = width * kPxUm;
    canvas.height_um = height * kPxUm;
  }
  if (!canvas.width_um) canvas.width_um = *canvas.height_um * width / height;
  if (!canvas.height_um) canvas.height_um = *canvas.width_um * height / width;
  double scale_x = *canvas.width_um / width, scale_y = *canvas.height_um / height;
  if (AttributeOf(root, "preserveAspectRatio") != "none") {
    scale_x = scale_y = std::min(scale_x, scale_y);
  }
  // The box stands in the middle of the room that its shape leaves.
  const double left = (*canvas.width_um - width * scale_x) / 2;
  const double top = (*canvas.height_um - height * scale_y) / 2;
  canvas.to_um = {scale_x, 0, left - (*box)[0] * scale_x, 0, scale_y, top - (*box)[1] * scale_y};
  return canvas;
}

}  // namespace TalvoInk
