// A copy of a stroke file that is made before it is asked for, so that nobody waits for the
// copying: while an application looks at one package, the ink of the next is made ready.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

#include <boost/filesystem/path.hpp>
#include <boost/noncopyable.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "storage/FileStamp.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// Holds a descriptor, and up to 1 MiB of the scratch directory's file system, as a file without a
// name: nothing is left of a copy that is not taken. Used by one thread at a time; others may make
// and take copies of their own.
class StrokeCopy : boost::noncopyable {
 public:
  // Null, and nothing is logged, if the stroke has more than 1 MiB or was changed only just now
  // (FileStamp.h), if it can't be copied, if MaxCopies() exist already, and if `may_go_on`, which
  // is asked before each 64 KiB, says no.
  static std::unique_ptr<StrokeCopy> Make(const std::string& pen, const StrokeID& id,
                                          const std::function<bool()>& may_go_on = nullptr);

  // The most copies that exist at the same time in this process.
  static std::size_t MaxCopies();

  ~StrokeCopy();

  // If this is a copy of that stroke, whose file has not changed since, gives it a name in the
  // scratch directory: `out` is its path, and the caller owns it. False otherwise, and the second
  // time, with `out` empty.
  bool Take(const std::string& pen, const StrokeID& id, boost::filesystem::path& out);

 private:
  explicit StrokeCopy(const boost::filesystem::path& source);
  bool Copy(const std::function<bool()>& may_go_on);

  const boost::filesystem::path source_;
  FileStamp source_stamp_;  // when the copy was begun
  TalvoCppUtils::Descriptor copy_;
};

}  // namespace Storage
}  // namespace TalvoQuillpost
