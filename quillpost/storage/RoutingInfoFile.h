// The bytes of RoutingInfo.txt: a text archive of one pen's routing info. Not the file itself:
// where it lies, and what a failure means, is the store's business (FilesStorage.h).

#pragma once

#include <string>

#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// The archive of `strokes`, in the classic locale whatever the host's. Throws what the archive
// library throws.
std::string WriteRoutingInfo(const StrokeMap& strokes);

// Reads an archive back, also one with a change that was not finished (ArchiveChange.h). Throws
// std::exception where it is malformed, cut short, or of a version that the archive library does
// not read; asks for no more memory than `bytes` justifies.
StrokeMap ReadRoutingInfo(const std::string& bytes);

}  // namespace Storage
}  // namespace TalvoQuillpost
