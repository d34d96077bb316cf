#include "ink/xml/XmlNodes.h"

#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

constexpr std::size_t kMostParts = 1000;

}  // namespace

bool IsNamed(pugi::xml_node node, const char* name) {
  return LocalName(node.name()) == name;
}

bool IsText(pugi::xml_node node) {
  return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

std::size_t OffsetOf(pugi::xml_node node) {
  const std::ptrdiff_t offset = node.offset_debug();
  return offset < 0 ? 0 : static_cast<std::size_t>(offset);
}

pugi::xml_attribute FindAttribute(pugi::xml_node node, const char* name) {
  return node.find_attribute(
      [name](const pugi::xml_attribute& attribute) { return LocalName(attribute.name()) == name; });
}

std::string AttributeOf(pugi::xml_node node, const char* name) {
  return FindAttribute(node, name).value();
}

std::string TextOf(pugi::xml_node node) {
  std::string text;
  for (const pugi::xml_node& child : node.children()) {
    if (IsText(child)) text += child.value();
  }
  return text;
}

std::vector<pugi::xml_node> PartsOf(pugi::xml_node definition) {
  std::vector<pugi::xml_node> parts;
  for (const pugi::xml_node& child : definition.children()) {
    if (parts.size() == kMostParts) break;
    if (child.type() == pugi::node_element) parts.push_back(child);
  }
  return parts;
}

pugi::xml_node ChildOf(pugi::xml_node definition, const char* name) {
  for (const pugi::xml_node& part : PartsOf(definition)) {
    if (IsNamed(part, name)) return part;
  }
  return {};
}

}  // namespace TalvoInk
