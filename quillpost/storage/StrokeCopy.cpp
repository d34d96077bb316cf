#include "storage/StrokeCopy.h"

#include <fcntl.h>

#include <utility>

#include "common/File.h"
#include "common/ScratchFile.h"
#include "storage/StrokeFiles.h"

namespace TalvoQuillpost {
namespace Storage {

namespace {

boost::filesystem::path PathOf(const std::string& pen, const StrokeID& id) {
  return GetStorageRoot() / pen / id.string();
}

}  // namespace

void StrokeCopy::Make(const std::string& pen, const StrokeID& id) {
  constexpr off_t kMaxBytes = 1 << 20;
  if (IsOf(pen, id)) return;
  copy_.Close();
  TalvoCppUtils::Descriptor copy;
  TalvoCppUtils::Descriptor stroke;
  // The copy first: a file system without unnamed files says so, and the stroke need not be opened.
  if (!Common::OpenUnnamedScratchFile(copy) ||
      Common::OpenRegularFile(PathOf(pen, id), O_RDONLY, stroke) ||
      ::fstat(stroke.get(), &copied_) != 0 || copied_.st_size > kMaxBytes ||
      Common::CopyFile(stroke.get(), copy.get())) {
    return;
  }
  pen_ = pen;
  id_ = id;
  copy_ = std::move(copy);
}

bool StrokeCopy::Take(const std::string& pen, const StrokeID& id, boost::filesystem::path& out) {
  out.clear();
  if (!IsOf(pen, id)) return false;
  const TalvoCppUtils::Descriptor copy = std::move(copy_);
  struct stat now;
  return ::stat(PathOf(pen, id).c_str(), &now) == 0 && Common::IsUntouched(copied_, now) &&
         Common::NameScratchFile(copy.get(), out);
}

bool StrokeCopy::IsOf(const std::string& pen, const StrokeID& id) const {
  return copy_.is_open() && pen_ == pen && id_ == id;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
