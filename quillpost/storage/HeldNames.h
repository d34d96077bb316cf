// Names of stroke files that were removed, and that no other ink may have yet.
//
// RoutingInfo.txt may still call such a stroke processed. New ink filed under its name
// would be taken for it after the next start and be removed. So a name is held from before its file
// is removed until a saved RoutingInfo.txt does not know the stroke any more; new ink of the same
// page and times gets a number instead.
//
// One set for the process, guarded by a mutex of its own: an import never waits for the lock of the
// routing info, which is held while a file is synced. Any thread.

#pragma once

#include <boost/noncopyable.hpp>
#include <boost/system/error_code.hpp>
#include <functional>
#include <set>
#include <string>

#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// Holds the names of strokes, from now on.
void HoldNames(const std::string& pen, const std::set<StrokeID>& ids);

// The same for strokes whose files are going to be removed. As long as the object lives, no save of
// the pen releases names: another thread may erase a stroke from the table before the removal ends.
class RemovalHold : boost::noncopyable {
 public:
  RemovalHold(const std::string& pen, const std::set<StrokeID>& ids);
  ~RemovalHold();

 private:
  const std::string pen_;
};

// To be called when the pen's routing info was saved: lets other ink have the names of all strokes
// that are not in `saved`.
void ReleaseNames(const std::string& pen, const StrokeMap& saved);

// Lets other ink have all names of the pen, or of all pens.
void ReleaseNames(const std::string& pen);
void ReleaseNames();

// Runs `give`, which gives a new stroke file the name of `id`, and answers its error; file_exists,
// without a call, if the name is held. `give` must not call these functions.
boost::system::error_code GiveName(const std::string& pen, const StrokeID& id,
                                   const std::function<boost::system::error_code()>& give);

}  // namespace Storage
}  // namespace TalvoQuillpost
