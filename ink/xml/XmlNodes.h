// Questions to the elements of an XML document, by names without the prefix of their namespace:
// many programs write a wrong one or none. Nodes
// belong to their document and live as long as it.

#pragma once

#include <pugixml.hpp>
#include <string>
#include <vector>

namespace TalvoInk {

bool IsNamed(pugi::xml_node node, const char* name);

// Whether the node is text, plain or in a CDATA section.
bool IsText(pugi::xml_node node);

// Where the node is in the text that was parsed.
std::size_t OffsetOf(pugi::xml_node node);

// The first attribute of that name; null if there is none.
pugi::xml_attribute FindAttribute(pugi::xml_node node, const char* name);

// Its value; empty if there is none.
std::string AttributeOf(pugi::xml_node node, const char* name);

// The text directly inside an element.
std::string TextOf(pugi::xml_node node);

// The elements directly inside a definition: the first thousand, more than any has. So definitions
// that are looked at again and again cost little, whatever they hold.
std::vector<pugi::xml_node> PartsOf(pugi::xml_node definition);

// The first of these of the local name; null if there is none.
pugi::xml_node ChildOf(pugi::xml_node definition, const char* name);

}  // namespace TalvoInk
