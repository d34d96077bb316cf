// Text as it stands in XML: where a byte of a document is, which bytes it can hold, and how those
// that it can't are written.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace TalvoInk {

// "line 3, column 14" of the byte at `offset`, both counted from 1, columns in characters.
std::string PlaceIn(const std::string& document, std::size_t offset);

// Whether XML can hold the text as it is: valid UTF-8 without control characters.
bool IsPlainXmlText(const std::string& text);

// The text with the characters escaped that mean something in XML, in content and in attributes.
std::string EscapeXml(const std::string& text);

// The text with "%" and every byte that XML can't hold written as %XX: any bytes at all can be
// kept in an attribute this way. Decoding leaves a "%" without two hexadecimal digits alone.
std::string EncodePercent(const std::string& text);
std::string DecodePercent(const std::string& text);

// The name behind the prefix of a namespace: "trace" of "inkml:trace".
std::string LocalName(const char* name);

}  // namespace TalvoInk
