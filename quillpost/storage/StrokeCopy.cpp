#include "storage/StrokeCopy.h"

#include <fcntl.h>
#include <sys/stat.h>

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
  struct stat status;
  // The copy first: a file system without unnamed files says so, and nothing else need be asked.
  if (!Common::OpenUnnamedScratchFile(copy)) return;
  const boost::filesystem::path path = PathOf(pen, id);
  copied_ = FileStamp(path);
  if (!copied_.proves() || Common::OpenRegularFile(path, O_RDONLY, stroke) ||
      ::fstat(stroke.get(), &status) != 0 || status.st_size > kMaxBytes ||
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
  return copied_ == FileStamp(PathOf(pen, id)) && Common::NameScratchFile(copy.get(), out);
}

bool StrokeCopy::IsOf(const std::string& pen, const StrokeID& id) const {
  return copy_.is_open() && pen_ == pen && id_ == id;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
