// XML from bytes to a tree, for all formats of ink that are XML: strict if a lenient reader
// would hide damage, and never following anything that leads out of the document.

#pragma once

#include <pugixml.hpp>
#include <string>

namespace TalvoInk {

// Whether the bytes look like XML rather than STF2. They may be damaged.
bool LooksLikeXml(const std::string& bytes);

// The local name of the root element, as far as the first bytes tell it; empty if they don't. To
// tell formats apart before the document is read.
std::string RootNameOf(const std::string& bytes);

// Parses a document in UTF-8 (see XmlEncoding.h) into `document`. Text and CDATA keep their white
// space, so that offset_debug() of a node is its place in `text`. Throws InkError, with line and
// column, if the document is not well-formed or declares entities, which are never expanded, and
// std::bad_alloc if memory runs out.
void ParseXml(const std::string& text, pugi::xml_document& document);

}  // namespace TalvoInk
