#include "storage/StrokeCopy.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <boost/filesystem/operations.hpp>
#include <utility>

#include "common/File.h"
#include "common/Identifiers.h"
#include "common/ScratchFile.h"
#include "storage/StrokeFiles.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

std::atomic<std::size_t> g_copies{0};  // that exist in this process

fs::path PathOf(const std::string& pen, const StrokeID& id) {
  return GetStorageRoot() / pen / id.string();
}

}  // namespace

std::unique_ptr<StrokeCopy> StrokeCopy::Make(const std::string& pen, const StrokeID& id,
                                             const std::function<bool()>& may_go_on) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsPageAddressValid(id.page_address) ||
      !IsStrokeIDValid(id)) {
    return nullptr;
  }
  std::unique_ptr<StrokeCopy> copy(new StrokeCopy(PathOf(pen, id)));
  return g_copies <= MaxCopies() && copy->Copy(may_go_on) ? std::move(copy) : nullptr;
}

std::size_t StrokeCopy::MaxCopies() {
  constexpr rlim_t kMost = 64;
  rlimit limit = {kMost, kMost};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<std::size_t>(std::min(kMost, limit.rlim_cur / 16));
}

StrokeCopy::StrokeCopy(const fs::path& source) : source_(source) {
  ++g_copies;
}

StrokeCopy::~StrokeCopy() {
  --g_copies;
}

bool StrokeCopy::Copy(const std::function<bool()>& may_go_on) {
  constexpr off_t kChunkBytes = 64 * 1024;
  constexpr off_t kMaxChunks = 16;
  TalvoCppUtils::Descriptor stroke;
  struct stat status;
  // The copy first: a file system without unnamed files says so, and nothing else need be asked.
  if (!Common::OpenUnnamedScratchFile(copy_) ||
      Common::OpenRegularFile(source_, O_RDONLY, stroke)) {
    return false;
  }
  source_stamp_ = FileStamp(stroke.get());
  // One that grows meanwhile is not followed: once more than for its bytes is asked at its end.
  off_t chunks = 0;
  const auto is_wanted = [&] { return ++chunks <= kMaxChunks + 1 && (!may_go_on || may_go_on()); };
  return source_stamp_.proves() && ::fstat(stroke.get(), &status) == 0 &&
         status.st_size <= kMaxChunks * kChunkBytes &&
         !Common::CopyFile(stroke.get(), copy_.get(), is_wanted);
}

bool StrokeCopy::Take(const std::string& pen, const StrokeID& id, fs::path& out) {
  out.clear();
  TalvoCppUtils::Descriptor copy = std::move(copy_);
  if (!copy.is_open() || source_ != PathOf(pen, id) || source_stamp_ != FileStamp(source_) ||
      !Common::NameScratchFile(copy.get(), out)) {
    return false;
  }
  if (!Common::Close(copy)) return true;
  boost::system::error_code ignored;
  fs::remove(out, ignored);
  out.clear();
  return false;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
