// Ink as the bytes of an STF2 file, both ways. Reading and writing again gives the same ink, item
// for item and sample for sample. Nothing here opens a file: the caller has the bytes.

#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ink/Ink.h"
#include "ink/Sink.h"

namespace TalvoInk {

// Whether the bytes call themselves a buffer of this kind, "STF2" or "STFE" (sealed); they may be
// damaged.
bool HasIdentifier(const std::string& bytes, const char* identifier);

// Reads a plain STF2 buffer. Throws SealedInkError if it is sealed, InkError with the number of the
// damaged item if it is malformed, and InkError if it is not STF2 at all.
Ink ReadStf2(const std::string& bytes);

// The ink as an STF2 buffer. Throws InkError if it is too large for one (4 GiB), and for text that
// is not UTF-8 or holds a zero byte.
std::string WriteStf2(const Ink& ink);

// The same for ink that is large: the buffer goes to the sink in one piece, and is not copied.
void WriteStf2(const Ink& ink, const Sink& sink);

// The ink page by page, as it is stored: each page of its strokes (none for strokes without one)
// with the strokes of that page, and with the properties and markers that belong to it. Empty for
// ink without strokes. Throws what WriteStf2 throws.
std::vector<std::pair<std::optional<std::string>, Ink>> SplitByPage(const Ink& ink);

}  // namespace TalvoInk
