#include "import/ImportGroup.h"

#include <cstdint>

#include "common/Job.h"
#include "common/Log.h"

namespace TalvoQuillpost {

namespace {

constexpr std::size_t kMaxImports = 256;
constexpr std::uint64_t kMaxBytes = 16u << 20;

}  // namespace

void ImportGroup::Add(const boost::filesystem::path& file,
                      std::unique_ptr<Storage::NewStrokes> strokes, const Done& done) {
  imports_.push_back({file, std::move(strokes), done});
}

void ImportGroup::AddRefused(const Done& done) {
  imports_.push_back({{}, nullptr, done});
}

bool ImportGroup::IsFull() const {
  std::size_t open_files = 0;
  std::uint64_t size_bytes = 0;
  for (const Import& import : imports_) {
    if (!import.strokes) continue;
    open_files += import.strokes->size();
    size_bytes += import.strokes->size_bytes();
  }
  return imports_.size() >= kMaxImports || size_bytes >= kMaxBytes ||
         open_files >= Storage::NewStrokes::MaxOpenFiles();
}

void ImportGroup::Commit(const boost::function<void()>& on_stored) {
  std::vector<Import> imports;
  imports.swap(imports_);
  const bool is_committed = Common::RunJob("commit of imports", [&] {
    std::vector<Storage::NewStrokes*> strokes;
    for (const Import& import : imports) {
      if (import.strokes) strokes.push_back(import.strokes.get());
    }
    Storage::CommitStrokes(strokes);
  });
  bool is_any_stored = false;
  for (const Import& import : imports) {
    if (!is_committed && import.strokes) import.strokes->Fail();
    is_any_stored = Finish(import) || is_any_stored;
  }
  if (is_any_stored && on_stored) Common::RunJob("request of a routing pass", on_stored);
  for (const Import& import : imports) {
    Common::RunJob("answer of an import", [&] { import.done(IsStored(import)); });
  }
}

bool ImportGroup::IsStored(const Import& import) {
  return import.strokes && import.strokes->all_stored();
}

bool ImportGroup::Finish(const Import& import) {
  if (!import.strokes) return false;
  if (!import.strokes->all_stored()) {
    QUILLPOST_LOG_ERROR("Importing STF2 from '%s' failed.", import.file.c_str());
    return false;
  }
  QUILLPOST_LOG_INFORMATION("Complete importing STF2 file '%s'.", import.file.c_str());
  return true;
}

}  // namespace TalvoQuillpost
