// Text as it stands in XML: where a byte of a document is, how characters that mean something are
// escaped, names without their prefixes. Which text XML can hold at all, PlainText.h says.

#pragma once

#include <cstddef>
#include <string>

namespace TalvoInk {

// "line 3, column 14" of the byte at `offset`, both counted from 1, columns in characters.
std::string PlaceIn(const std::string& document, std::size_t offset);

// The text with the characters escaped that mean something in XML, in content and in attributes.
std::string EscapeXml(const std::string& text);

// The name behind the prefix of a namespace: "trace" of "inkml:trace".
std::string LocalName(const char* name);

}  // namespace TalvoInk
