#include "ink/inkml/InkMLMapping.h"

#include <algorithm>
#include <string>
#include <vector>

#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

// Whether a <mapping> is more than the word that values stay as they are.
bool ChangesValues(pugi::xml_node mapping) {
  const std::string type = AttributeOf(mapping, "type");
  return mapping && type != "identity" && type != "unknown" &&
         !(type.empty() && !mapping.first_child());
}

// The first mapping directly below the element, or the one that it refers to, that changes values.
pugi::xml_node MappingOf(pugi::xml_node element, const References& references) {
  for (const pugi::xml_node& part : PartsOf(element)) {
    if (IsNamed(part, "mapping") && ChangesValues(part)) return part;
  }
  const pugi::xml_node referred = references.Referred(element, "mappingRef", "mapping");
  return ChangesValues(referred) ? referred : pugi::xml_node();
}

// All numbers of an affine mapping, row by row; empty if it is not one, or binds its channels in an
// order of its own. Early drafts call the element <matrix>, or leave it out.
std::vector<double> NumbersOf(pugi::xml_node mapping) {
  if (AttributeOf(mapping, "type") != "affine") return {};
  std::string text = TextOf(mapping);
  for (const char* name : {"affine", "matrix"}) {
    if (const pugi::xml_node matrix = ChildOf(mapping, name)) text = TextOf(matrix);
  }
  for (const pugi::xml_node& part : PartsOf(mapping)) {
    if (IsNamed(part, "bind") && !AttributeOf(part, "column").empty()) return {};
  }
  std::replace(text.begin(), text.end(), ',', ' ');
  std::vector<double> numbers;
  static const char kWhite[] = " \t\r\n";
  for (std::size_t at = text.find_first_not_of(kWhite); at != std::string::npos;) {
    const std::size_t end = std::min(text.find_first_of(kWhite, at), text.size());
    const std::optional<double> number = ParseNumber(text.substr(at, end - at));
    if (!number || numbers.size() == 9) return {};
    numbers.push_back(*number);
    at = text.find_first_not_of(kWhite, end);
  }
  return numbers;
}

std::optional<double> CanvasUnit(pugi::xml_node context, const References& references) {
  pugi::xml_node canvas = ChildOf(context, "canvas");
  if (!canvas) canvas = references.Referred(context, "canvasRef", "canvas");
  pugi::xml_node format = ChildOf(canvas, "traceFormat");
  if (!format) format = references.Referred(canvas, "traceFormatRef", "traceFormat");
  for (const pugi::xml_node& channel : PartsOf(format)) {
    if (LowerCase(AttributeOf(channel, "name")) != "x") continue;
    return MicrometresOf(AttributeOf(channel, "units"));
  }
  return std::nullopt;
}

}  // namespace

std::optional<ChannelMapping> ReadChannelMapping(pugi::xml_node channel,
                                                 const References& references, Losses& losses) {
  const pugi::xml_node mapping = MappingOf(channel, references);
  if (!mapping) return std::nullopt;
  const std::vector<double> numbers = NumbersOf(mapping);
  if (numbers.size() == 2) return ChannelMapping{numbers[0], numbers[1]};
  losses.Add(kMappingsLost);
  return std::nullopt;
}

std::optional<CanvasMapping> ReadCanvasMapping(pugi::xml_node context, const References& references,
                                               Losses& losses) {
  pugi::xml_node transform = ChildOf(context, "canvasTransform");
  if (!transform) transform = references.Referred(context, "canvasTransformRef", "canvasTransform");
  pugi::xml_node mapping = MappingOf(transform, references);
  if (!mapping) mapping = MappingOf(context, references);
  if (!mapping) return std::nullopt;
  const std::vector<double> m = NumbersOf(mapping);
  const bool whole = m.size() == 9 && m[6] == 0 && m[7] == 0 && m[8] == 1;
  if (m.size() != 6 && !whole) {
    losses.Add(kMappingsLost);
    return std::nullopt;
  }
  return CanvasMapping{{m[0], m[1], m[2], m[3], m[4], m[5]}, CanvasUnit(context, references)};
}

}  // namespace TalvoInk
