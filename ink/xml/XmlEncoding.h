// The bytes of an XML document as text: what a byte-order mark, or else the XML declaration, says
// of its encoding is followed. Read are UTF-8, UTF-16, and the two that old programs of the West
// write: ISO-8859-1 and windows-1252.

#pragma once

#include <string>

namespace TalvoInk {

// The document in UTF-8 without a byte-order mark: the bytes themselves if they are that already,
// since a document may be large; else `room`, which is overwritten. A document that declares
// another encoding than these is read if it holds ASCII alone. Throws InkError, with line and
// column, for bytes that the encoding doesn't have and for control characters that XML can't hold.
const std::string& DecodeDocument(const std::string& bytes, std::string& room);

}  // namespace TalvoInk
