// Clean-up: removes the strokes that every claiming application has received and at least one has
// accepted, and the directories that are empty then. Any thread; failures are in the log.

#pragma once

#include <string>

namespace TalvoQuillpost {

// Of all pens, and what an import of a killed service has left behind. At the start, before the
// first import.
void CleanupStorage();

// Of one pen.
void CleanupStorage(const std::string& pen);

}  // namespace TalvoQuillpost
