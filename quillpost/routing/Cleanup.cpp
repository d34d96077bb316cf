// Clean-up: removes the strokes that every claiming application has received and at least one has
// accepted, and the directories that are empty then.

#include "common/Job.h"
#include "service/Service.h"
#include "storage/FilesStorage.h"

namespace TalvoQuillpost {

void Service::CleanupStorage() {
  std::set<std::string> pens;
  if (!Storage::GetKnownPens(pens)) return;
  for (const std::string& pen : pens) {
    Common::RunJob("clean-up of a pen's ink", [&] {
      Storage::RemoveLeftoverStrokes(pen);
      CleanupStorage(pen);
    });
  }
}

void Service::CleanupStorage(const std::string& pen) {
  Storage::RemoveProccessedStrokes(pen);
  Storage::Cleanup(pen);
}

}  // namespace TalvoQuillpost
