// A copy of a stroke file that is made before it is asked for, so that nobody waits for the
// copying: while an application looks at one package, the ink of the next is made ready. One thread
// at a time.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

#include <boost/filesystem/path.hpp>
#include <string>

#include "storage/FileStamp.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// Holds a descriptor while it has a copy. The copy has no name until it is taken: nothing is left
// of one that is not.
class StrokeCopy {
 public:
  // Copies that stroke, unless the object has a copy of it already; one of another stroke is
  // dropped. The object has no copy afterwards, and nothing is told of it, if the stroke has more
  // than 1 MiB, if it can't be copied, or if its file was changed only just now (FileStamp.h).
  void Make(const std::string& pen, const StrokeID& id);

  // If the object has a copy of that stroke, whose file has not changed since, gives it a name in
  // the scratch directory: `out` is its path, and the caller owns it. Otherwise false, with `out`
  // empty.
  bool Take(const std::string& pen, const StrokeID& id, boost::filesystem::path& out);

 private:
  bool IsOf(const std::string& pen, const StrokeID& id) const;

  TalvoCppUtils::Descriptor copy_;
  std::string pen_;
  StrokeID id_;
  FileStamp copied_;  // the stroke's file when its copy was begun
};

}  // namespace Storage
}  // namespace TalvoQuillpost
