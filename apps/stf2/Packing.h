// Outputs that are packed with gzip because their names ask for it.

#pragma once

#include <string>

#include "Files.h"

namespace InkTool {

// Whether an output of this name is packed: "letter.inkml.gz", "letter.svgz".
bool IsPackedName(const std::string& output);

// The extension that says the format, in lower case: "inkml" of "letter.inkml.gz", "svg" of
// "letter.svgz".
std::string FormatExtensionOf(const std::string& output);

// Hands what `make` makes to the sink, packed if it is to be.
void Pack(bool packed, const Writer& make, const TalvoInk::Sink& sink);

}  // namespace InkTool
