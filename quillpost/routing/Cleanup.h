// Clean-up: removes the strokes that every claiming application has received and at least one has
// accepted, and the directories that are empty then. Any thread.

#pragma once

#include <string>

#include "common/EventQueue.h"

namespace TalvoQuillpost {

// Of all pens, and what the imports of a killed service have left behind. Failures are in the log.
// On the thread of `queue`: it ends between two pens once that is stopped, and the next start does
// the rest.
void CleanupStorage(const EventQueue& queue);

// Of one pen. Throws boost::filesystem::filesystem_error if its directories can't be read.
void CleanupStorage(const std::string& pen);

}  // namespace TalvoQuillpost
