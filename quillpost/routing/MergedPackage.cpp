#include "routing/MergedPackage.h"

#include <TalvoOS/NewFile.h>
#include <fcntl.h>

#include <cstdint>
#include <memory>

#include "common/File.h"
#include "common/Log.h"
#include "common/ScratchFile.h"
#include "common/Stf2Handles.h"
#include "storage/FilesStorage.h"

namespace TalvoQuillpost {

namespace {

// The ink of one stroke file, with the bytes that it borrows.
struct StrokeInk {
  Common::FileBytes bytes;
  Common::Stf2InkData ink;
};

// Null if the stroke can't be exported or is not ink.
std::unique_ptr<StrokeInk> ReadStroke(const std::string& pen, const Storage::StrokeID& stroke) {
  Common::ScratchFile copy;
  if (!Storage::ExportStroke(pen, stroke, copy.out())) return nullptr;
  auto read = std::make_unique<StrokeInk>();
  if (Common::ReadRegularFile(copy.path(), UINT32_MAX, read->bytes) || !read->bytes.data) {
    return nullptr;
  }
  const int status = Stf2InkDataInitialize(
      read->bytes.data.get(), static_cast<std::uint32_t>(read->bytes.size_bytes), read->ink.out());
  if (status != STF2_SUCCESS) {
    QUILLPOST_LOG_ERROR("Stf2InkDataInitialize('%s') failed: %d", stroke.string().c_str(), status);
    return nullptr;
  }
  return read;
}

bool MergeInto(InkDataHandle* base, const InkDataHandle* ink, const Storage::StrokeID& stroke) {
  Common::Stf2Items items;
  int status = Stf2InkDataGetItems(ink, items.out(), items.count_out());
  if (status != STF2_SUCCESS) {
    QUILLPOST_LOG_ERROR("Stf2InkDataGetItems('%s') failed: %d", stroke.string().c_str(), status);
    return false;
  }
  status = Stf2InkDataMergeInkItems(base, items.data(), items.size());
  if (status != STF2_SUCCESS) {
    QUILLPOST_LOG_ERROR("Stf2InkDataMergeInkItems('%s') failed: %d", stroke.string().c_str(),
                        status);
    return false;
  }
  return true;
}

bool WriteInk(const InkDataHandle* ink, const boost::filesystem::path& path) {
  const Common::Stf2Buffer written(ink);
  if (written.data() == nullptr || written.size_bytes() == 0) return false;
  TalvoCppUtils::Descriptor file;
  if (Common::OpenRegularFile(path, O_WRONLY | O_TRUNC, file)) return false;
  return !TalvoOS::WriteAll(file.get(), written.data(), written.size_bytes()) && !file.Close();
}

}  // namespace

bool MergeStrokes(const std::string& pen, const std::set<Storage::StrokeID>& strokes,
                  Common::ScratchFile& file, std::set<Storage::StrokeID>& packed) {
  packed.clear();
  if (!Common::CreateTempSTF2File(file.out())) return false;
  std::unique_ptr<StrokeInk> base;
  for (const Storage::StrokeID& stroke : strokes) {
    std::unique_ptr<StrokeInk> read = ReadStroke(pen, stroke);
    if (!read) continue;
    if (!base) {
      base = std::move(read);
    } else if (!MergeInto(base->ink.get(), read->ink.get(), stroke)) {
      continue;
    }
    packed.insert(stroke);
  }
  return base && WriteInk(base->ink.get(), file.path());
}

}  // namespace TalvoQuillpost
