#include "routing/Cleanup.h"

#include <set>

#include "common/Job.h"
#include "storage/FilesStorage.h"
#include "storage/NewStrokes.h"

namespace TalvoQuillpost {

void CleanupStorage(const EventQueue& queue) {
  std::set<std::string> pens;
  if (!Storage::GetKnownPens(pens)) return;
  for (const std::string& pen : pens) {
    if (queue.IsStopped()) return;
    Common::RunJob("clean-up of a pen's ink", [&] {
      Storage::RemoveLeftoverStrokes(pen);
      CleanupStorage(pen);
    });
  }
}

void CleanupStorage(const std::string& pen) {
  Storage::RemoveProccessedStrokes(pen);
  Storage::Cleanup(pen);
}

}  // namespace TalvoQuillpost
