#include "storage/ArchiveChange.h"

#include <algorithm>
#include <boost/crc.hpp>
#include <charconv>
#include <string_view>

#include "common/File.h"

namespace TalvoQuillpost {
namespace Storage {

namespace {

using boost::system::error_code;

constexpr std::string_view kMark = "redo ";
constexpr std::size_t kMarkDigits = 20;

// The parts of a record, as they lie in the bytes of the file.
struct Change {
  std::string_view head;
  std::uint64_t offset = 0;
  std::string_view tail;
};

std::string MakeMark(std::uint64_t position) {
  const std::string digits = std::to_string(position);
  return std::string(kMark) + std::string(kMarkDigits - digits.size(), '0') + digits + " ";
}

std::uint64_t ChecksumOf(std::string_view bytes) {
  boost::crc_32_type checksum;
  checksum.process_bytes(bytes.data(), bytes.size());
  return checksum.checksum();
}

std::string MakeRecord(const Change& change) {
  std::string parts =
      std::to_string(change.offset) + ' ' + std::to_string(change.head.size()) + ' ';
  parts.append(change.head).append(std::to_string(change.tail.size())).append(" ");
  parts.append(change.tail);
  return std::to_string(ChecksumOf(parts)) + ' ' + parts;
}

error_code WriteAt(int descriptor, std::uint64_t offset, std::string_view bytes) {
  return Common::WriteAt(descriptor, offset, bytes.data(), bytes.size());
}

// The parts of a record, one after the other; after a damaged one all is empty.
class RecordReader {
 public:
  explicit RecordReader(std::string_view bytes) : rest_(bytes) {}

  bool is_whole() const { return is_whole_; }
  std::string_view rest() const { return rest_; }

  std::uint64_t TakeNumber() {
    std::uint64_t number = 0;
    const char* const end = rest_.data() + rest_.size();
    const auto result = std::from_chars(rest_.data(), end, number);
    is_whole_ = is_whole_ && result.ec == std::errc() && result.ptr != end && *result.ptr == ' ';
    rest_.remove_prefix(is_whole_ ? static_cast<std::size_t>(result.ptr - rest_.data()) + 1
                                  : rest_.size());
    return number;
  }

  std::string_view TakeBytes() {
    const std::uint64_t size_bytes = TakeNumber();
    is_whole_ = is_whole_ && size_bytes <= rest_.size();
    const std::string_view bytes = is_whole_ ? rest_.substr(0, size_bytes) : std::string_view();
    rest_.remove_prefix(bytes.size());
    return bytes;
  }

 private:
  std::string_view rest_;
  bool is_whole_ = true;
};

std::optional<Change> FindChange(std::string_view bytes) {
  if (bytes.substr(0, kMark.size()) != kMark) return std::nullopt;
  RecordReader mark(bytes.substr(kMark.size()));
  const std::uint64_t record_at = mark.TakeNumber();
  if (!mark.is_whole() || record_at > bytes.size()) return std::nullopt;
  RecordReader record(bytes.substr(record_at));
  const std::uint64_t checksum = record.TakeNumber();
  const std::string_view checked = record.rest();
  Change change;
  change.offset = record.TakeNumber();
  change.head = record.TakeBytes();
  change.tail = record.TakeBytes();
  const std::size_t checked_bytes = checked.size() - record.rest().size();
  if (!record.is_whole() || checksum != ChecksumOf(checked.substr(0, checked_bytes)) ||
      change.offset > record_at || change.head.size() > change.offset) {
    return std::nullopt;
  }
  return change;
}

// Writes what lies behind the old archive: the end of the new one and the record. Readers ignore
// both. From here on no step needs more room on the disk.
error_code WriteRecord(int descriptor, std::uint64_t size_bytes, std::uint64_t record_at,
                       const Change& change) {
  const std::uint64_t new_size_bytes = change.offset + change.tail.size();
  error_code error;
  if (new_size_bytes > size_bytes) {
    error = WriteAt(descriptor, size_bytes, change.tail.substr(size_bytes - change.offset));
  }
  if (!error) error = WriteAt(descriptor, record_at, MakeRecord(change));
  return error ? error : Common::Sync(descriptor);
}

// Requires that the record and the mark that leads to it are on the disk.
error_code MoveIntoPlace(int descriptor, const Change& change) {
  auto error = WriteAt(descriptor, change.offset, change.tail);
  if (!error) error = Common::Sync(descriptor);
  if (!error) error = WriteAt(descriptor, 0, change.head);
  return error ? error : Common::Sync(descriptor);
}

// What a change overwrites, to go back if the disk refuses a later step.
class OldBytes {
 public:
  OldBytes(int descriptor, std::uint64_t size_bytes)
      : descriptor_(descriptor), size_bytes_(size_bytes) {}

  // Reads the first bytes, and those from `offset` up to `end`.
  error_code Read(std::size_t head_bytes, std::uint64_t offset, std::uint64_t end) {
    offset_ = offset;
    const auto error = Common::ReadAt(descriptor_, 0, head_bytes, head_);
    return error ? error : Common::ReadAt(descriptor_, offset, end - offset, tail_);
  }

  // The head last: while the mark is there, readers follow it to the record, which must stay until
  // then.
  void PutBack() const {
    if (WriteAt(descriptor_, offset_, tail_) || WriteAt(descriptor_, 0, head_)) return;
    if (!Common::Sync(descriptor_)) Common::Truncate(descriptor_, size_bytes_);
  }

 private:
  const int descriptor_;
  const std::uint64_t size_bytes_;
  std::string head_;
  std::uint64_t offset_ = 0;
  std::string tail_;
};

}  // namespace

error_code ChangeArchive(int descriptor, std::uint64_t size_bytes, const std::string& head,
                         std::uint64_t offset, const std::string& tail) {
  const Change change = {head, offset, tail};
  const std::uint64_t new_size_bytes = offset + tail.size();
  const std::uint64_t record_at = std::max(size_bytes, new_size_bytes);
  const std::string mark = MakeMark(record_at);
  OldBytes old(descriptor, size_bytes);
  auto error =
      old.Read(std::max(head.size(), mark.size()), offset, std::min(size_bytes, new_size_bytes));
  if (error) return error;
  error = WriteRecord(descriptor, size_bytes, record_at, change);
  if (error) {
    Common::Truncate(descriptor, size_bytes);
    return error;
  }
  error = WriteAt(descriptor, 0, mark);
  if (!error) error = Common::Sync(descriptor);
  if (!error) error = MoveIntoPlace(descriptor, change);
  if (error) {
    old.PutBack();
    return error;
  }
  return Common::Truncate(descriptor, new_size_bytes);
}

error_code ExtendArchive(int descriptor, std::uint64_t size_bytes, const std::string& head,
                         const std::string& tail) {
  OldBytes old(descriptor, size_bytes);
  auto error = old.Read(head.size(), size_bytes - 1, size_bytes);
  if (error) return error;
  // Overwrites the final line feed with a blank. The old archive reads well all the same: its count
  // ends it there.
  error = WriteAt(descriptor, size_bytes - 1, tail);
  if (!error) error = WriteAt(descriptor, 0, head);
  if (error) old.PutBack();
  return error;
}

std::string FinishChange(const std::string& bytes) {
  const std::optional<Change> change = FindChange(bytes);
  if (!change) return bytes;
  std::string archive(change->head);
  archive.append(bytes, change->head.size(), change->offset - change->head.size());
  return archive.append(change->tail);
}

error_code FinishChangeInFile(int descriptor, const std::string& bytes) {
  const std::optional<Change> change = FindChange(bytes);
  if (!change) return {};
  const auto error = MoveIntoPlace(descriptor, *change);
  return error ? error : Common::Truncate(descriptor, change->offset + change->tail.size());
}

}  // namespace Storage
}  // namespace TalvoQuillpost
