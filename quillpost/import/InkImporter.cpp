#include "import/InkImporter.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoEncryption/Encryption.h>
#include <TalvoQuillpost/Limits.h>
#include <time.h>

#include <boost/filesystem/operations.hpp>
#include <vector>

#include "common/File.h"
#include "common/Identifiers.h"
#include "common/Job.h"
#include "common/Log.h"
#include "common/Stf2Handles.h"
#include "storage/FilesStorage.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {

namespace {

constexpr char kStrokeExtension[] = "stf2";

// A buffer of the encryption library.
class EncryptionBuffer {
 public:
  EncryptionBuffer() = default;
  ~EncryptionBuffer() {
    if (data_ != nullptr) FreeBuffer(&data_);
  }
  EncryptionBuffer(const EncryptionBuffer&) = delete;
  EncryptionBuffer& operator=(const EncryptionBuffer&) = delete;

  std::uint8_t** out() { return &data_; }
  const std::uint8_t* data() const { return data_; }

 private:
  std::uint8_t* data_ = nullptr;
};

bool DoesExist(const fs::path& file) {
  boost::system::error_code error;
  // The system ends a path at its first zero byte, so a name that holds one names no file.
  return file.native().find('\0') == std::string::npos && fs::exists(fs::status(file, error));
}

// The time of the first coordinate of the stroke that has one, 0 if there is none.
std::uint64_t FindStrokeTime(const InkItemHandle* stroke) {
  Common::Stf2Samples samples;
  if (const int status = Stf2StrokeItemGetSamples(stroke, samples.out(), samples.count_out())) {
    QUILLPOST_LOG_ERROR("Stf2StrokeItemGetSamples() failed: %u", static_cast<unsigned>(status));
    return 0;
  }
  if (samples.size() == 0) QUILLPOST_LOG_ERROR("Stf2StrokeItemGetSamples() returned no samples");
  for (const SampleHandle* sample : samples) {
    std::uint32_t type = 0;
    if (const int status = Stf2SampleGetType(sample, &type)) {
      QUILLPOST_LOG_ERROR("Stf2SampleGetType() failed: %d", status);
      continue;
    }
    if (type != STF2_SAMPLE_COORDINATE) continue;
    std::uint64_t time = 0;
    if (const int status = Stf2CoordinateGetTime(sample, &time)) {
      QUILLPOST_LOG_ERROR("Stf2CoordinateGetTime() failed: %u", static_cast<unsigned>(status));
      continue;
    }
    if (time != 0) return time;
  }
  return 0;
}

// Takes the stroke's page address if it has one. False if it can't be read.
bool ReadPageAddress(const InkItemHandle* stroke, std::string& page_address) {
  Common::Stf2String text;
  if (const int status = Stf2StrokeItemGetPageAddressAsString(stroke, text.out())) {
    QUILLPOST_LOG_ERROR("Stf2StrokeItemGetPageAddressAsString() failed: %u",
                        static_cast<unsigned>(status));
    return false;
  }
  if (text.get() != nullptr) page_address = text.get();
  return true;
}

bool IsStroke(const InkItemHandle* item) {
  std::uint32_t type = 0;
  if (const int status = Stf2InkItemGetType(item, &type)) {
    QUILLPOST_LOG_ERROR("Stf2InkItemGetType() failed: %d", status);
    return false;
  }
  return type == STF2_ITEM_STROKE;
}

}  // namespace

InkImporter::InkImporter(EventQueue& queue, const boost::function<void()>& on_stored)
    : queue_(queue), on_stored_(on_stored) {}

bool InkImporter::ImportSTF2File(const fs::path& file) {
  ImportGroup alone;
  bool is_stored = false;
  Read(file, alone, [&is_stored](bool result) { is_stored = result; });
  alone.Commit();
  return is_stored;
}

void InkImporter::Import(const fs::path& file, const ImportGroup::Done& done) {
  const std::size_t before = group_.size();
  Common::RunJob("import", [&] { Read(file, group_, done); });
  // If memory ran out it may not have come into the group; it is answered all the same.
  if (group_.size() == before) Common::RunJob("answer of an import", [&] { done(false); });
  if (group_.IsFull() || queue_.IsStopped()) return Commit();
  if (!is_commit_queued_) QueueCommit(true);
}

// The commit waits behind the imports that are queued by now, so that it serves them, too. More may
// come while these are read: then it waits once more, for those; an import waits for no others.
void InkImporter::QueueCommit(bool may_wait_again) {
  is_commit_queued_ = true;
  try {
    queue_.Post("commit of imports", [this, may_wait_again, read_by_now = group_.size()] {
      if (may_wait_again && group_.size() > read_by_now) return QueueCommit(false);
      Commit();
    });
  } catch (...) {
    Commit();  // out of memory
  }
}

void InkImporter::Commit() {
  is_commit_queued_ = false;
  group_.Commit([this, is_full = group_.IsFull()] { OnStored(is_full); });
}

// What follows from stored ink is done once for a burst of imports: it waits for those that are
// queued by now, and for their commit, as the commit waits for imports. It does not wait behind a
// full group, since more of that size may be queued.
void InkImporter::OnStored(bool is_full) {
  if (is_full) return on_stored_();
  if (!is_telling_queued_) TellStored(true);
}

void InkImporter::TellStored(bool may_wait_again) {
  is_telling_queued_ = true;
  try {
    queue_.Post("word of stored ink", [this, may_wait_again] {
      if (may_wait_again && is_commit_queued_) return TellStored(false);
      is_telling_queued_ = false;
      on_stored_();
    });
  } catch (...) {
    is_telling_queued_ = false;
    on_stored_();  // out of memory
  }
}

// Reads the file and adds the import to the group.
void InkImporter::Read(const fs::path& file, ImportGroup& group, const ImportGroup::Done& done) {
  auto strokes = std::make_unique<Storage::NewStrokes>();
  bool is_read = false;
  try {
    is_read = ReadSTF2File(file, *strokes);
  } catch (...) {
    group.AddRefused(done);
    throw;
  }
  if (is_read) {
    group.Add(file, std::move(strokes), done);
  } else {
    group.AddRefused(done);
  }
}

// Adds the strokes of the file to `strokes`. False, with the reason in the log, if it is refused
// before a look at its content.
bool InkImporter::ReadSTF2File(const fs::path& file, Storage::NewStrokes& strokes) {
  QUILLPOST_LOG_INFORMATION("Started importing STF2 file '%s'.", file.c_str());
  if (!DoesExist(file)) {
    QUILLPOST_LOG_ERROR("Importing STF2 from '%s' failed: file does not exists.", file.c_str());
    return false;
  }
  Common::FileBytes bytes;
  if (Common::ReadRegularFile(file, kMaxImportBytes, bytes)) {
    QUILLPOST_LOG_ERROR("Importing STF2 from '%s' failed: can't open file.", file.c_str());
    return false;
  }
  if (bytes.size_bytes == 0) {
    QUILLPOST_LOG_ERROR("Importing STF2 from '%s' failed: file is empty.", file.c_str());
    return false;
  }
  if (bytes.size_bytes > kMaxImportBytes) {
    QUILLPOST_LOG_ERROR("Importing STF2 from '%s' failed: file is too big (%lu).", file.c_str(),
                        static_cast<unsigned long>(bytes.size_bytes));
    return false;
  }
  import_ = {file, &strokes};
  const ImportEnd end(import_);
  if (!ImportSTF2RawData(bytes.data.get(), bytes.size_bytes)) strokes.Fail();
  return true;
}

bool InkImporter::ImportSTF2RawData(const void* data, unsigned long size) {
  Common::Stf2InkData ink;
  int status = Stf2InkDataInitialize(data, static_cast<std::uint32_t>(size), ink.out());
  if (status == STF2_ENCRYPTED) return ImportSTF2EncryptedRawData(data, size);
  if (status != STF2_SUCCESS) {
    QUILLPOST_LOG_ERROR("Stf2InkDataInitialize() failed: %d", status);
    return false;
  }
  Common::Stf2String pen;
  status = Stf2InkDataGetPenIdAsString(ink.get(), pen.out());
  if (status != STF2_SUCCESS) {
    QUILLPOST_LOG_ERROR("Stf2InkDataGetPenIdAsString() failed: %d", status);
    return false;
  }
  Common::Stf2Parts parts;
  status = Stf2InkDataSplit(ink.get(), parts.out(), parts.count_out());
  if (status != STF2_SUCCESS) {
    QUILLPOST_LOG_ERROR("Stf2InkDataSplit() failed: %d", status);
    return false;
  }
  bool all_stored = true;
  StopGracePeriod grace(queue_);
  for (InkDataHandle*& part : parts) {
    // What has been stored stays; the client, which gets no answer, imports the file again.
    if (grace.IsOver()) {
      QUILLPOST_LOG_WARNING(
          "The import of '%s' ends before its last page, because the service stops.",
          import_.file.c_str());
      return false;
    }
    // One bad part does not keep the others from being stored.
    bool stored = false;
    Common::RunJob("import of a page", [&] { stored = ImportPart(part, pen.get()); });
    all_stored = all_stored && stored;
    Stf2InkDataFreeHandle(&part);
  }
  return all_stored;
}

bool InkImporter::ImportPart(InkDataHandle* part, const std::string& pen) {
  std::string page_address;
  unsigned long long first_time = 0;
  unsigned long long last_time = 0;
  return GetSTF2InkDataInfo(part, page_address, first_time, last_time) &&
         ImportSTF2InkData(part, pen, page_address, first_time, last_time);
}

bool InkImporter::GetSTF2InkDataInfo(InkDataHandle* part, std::string& page_address,
                                     unsigned long long& first_time,
                                     unsigned long long& last_time) {
  page_address.clear();
  first_time = 0;
  last_time = 0;
  Common::Stf2Items items;
  if (const int status = Stf2InkDataGetItems(part, items.out(), items.count_out())) {
    QUILLPOST_LOG_ERROR("Stf2InkDataGetItems() failed: %u", static_cast<unsigned>(status));
    return false;
  }
  for (const InkItemHandle* item : items) {
    if (!IsStroke(item)) continue;
    if (page_address.empty() && !ReadPageAddress(item, page_address)) continue;
    const std::uint64_t time = FindStrokeTime(item);
    if (time == 0) continue;
    if (first_time == 0) first_time = time;
    last_time = time;
  }
  return !page_address.empty() && first_time != 0 && last_time != 0;
}

bool InkImporter::ImportSTF2InkData(InkDataHandle* part, const std::string& pen,
                                    const std::string& page_address, unsigned long long first_time,
                                    unsigned long long last_time) {
  const Common::Stf2Buffer written(part);
  if (written.data() == nullptr) {
    QUILLPOST_LOG_ERROR("Stf2WriterWriteDataHandle() failed");
    return false;
  }
  const Storage::StrokeID id = {
      page_address, std::to_string(first_time) + "_" + std::to_string(last_time), kStrokeExtension};
  return StoreStroke(pen, id, written.data(), written.size_bytes());
}

bool InkImporter::ImportSTF2EncryptedRawData(const void* data, unsigned long size) {
  EncryptionBuffer pen_bytes;
  EncryptionBuffer recipient;
  std::uint8_t algorithm = 0;
  if (const int status = GetEncryptedDataInfo(data, static_cast<std::uint32_t>(size),
                                              pen_bytes.out(), recipient.out(), &algorithm)) {
    QUILLPOST_LOG_ERROR("GetEncryptedDataInfo() failed: %d", status);
    return false;
  }
  std::uint64_t number = 0;
  for (int i = 0; i < TALVO_PEN_BYTES; ++i) number = number << 8 | pen_bytes.data()[i];
  const Storage::StrokeID id = {Common::kEncryptedPageAddress, std::to_string(::time(nullptr)),
                                kStrokeExtension};
  return StoreStroke(TalvoCppUtils::PenId(number).string(), id, data, size);
}

// A stroke of an import under way is committed with the others.
bool InkImporter::StoreStroke(const std::string& pen, const Storage::StrokeID& id, const void* data,
                              std::size_t size_bytes) {
  if (import_.strokes != nullptr) return import_.strokes->Add(pen, id, data, size_bytes);
  const char* const bytes = static_cast<const char*>(data);
  return Storage::ImportStroke(pen, id, std::vector<char>(bytes, bytes + size_bytes));
}

}  // namespace TalvoQuillpost
