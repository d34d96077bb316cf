#include "storage/ArchiveChange.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "common/File.h"

namespace TalvoQuillpost {
namespace Storage {

namespace {

constexpr std::string_view kMark = "redo ";
constexpr std::size_t kMarkDigits = 20;

std::string MakeMark(std::uint64_t position) {
  const std::string digits = std::to_string(position);
  return std::string(kMark) + std::string(kMarkDigits - digits.size(), '0') + digits + " ";
}

boost::system::error_code WriteAt(int descriptor, std::uint64_t offset, const std::string& bytes) {
  return Common::WriteAt(descriptor, offset, bytes.data(), bytes.size());
}

// The parts of a record, one after the other; after a damaged one all is empty.
class RecordReader {
 public:
  explicit RecordReader(std::string_view bytes) : rest_(bytes) {}

  bool is_whole() const { return is_whole_; }

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

}  // namespace

boost::system::error_code ChangeArchive(int descriptor, std::uint64_t size_bytes,
                                        const std::string& head, std::uint64_t offset,
                                        const std::string& tail) {
  const std::uint64_t new_size_bytes = offset + tail.size();
  const std::uint64_t record_at = std::max(size_bytes, new_size_bytes);
  std::string record = std::to_string(offset) + ' ' + std::to_string(head.size()) + ' ' + head;
  record += std::to_string(tail.size()) + ' ' + tail;
  auto error = WriteAt(descriptor, record_at, record);
  if (!error) error = WriteAt(descriptor, 0, MakeMark(record_at));
  if (error) {
    Common::Truncate(descriptor, size_bytes);
    return error;
  }
  if ((error = WriteAt(descriptor, offset, tail))) return error;
  if ((error = WriteAt(descriptor, 0, head))) return error;
  return Common::Truncate(descriptor, new_size_bytes);
}

std::string FinishChange(const std::string& bytes) {
  if (bytes.compare(0, kMark.size(), kMark) != 0) return bytes;
  RecordReader mark(std::string_view(bytes).substr(kMark.size()));
  const std::uint64_t record_at = mark.TakeNumber();
  if (!mark.is_whole() || record_at > bytes.size()) return bytes;
  RecordReader record(std::string_view(bytes).substr(record_at));
  const std::uint64_t offset = record.TakeNumber();
  const std::string_view head = record.TakeBytes();
  const std::string_view tail = record.TakeBytes();
  if (!record.is_whole() || offset > record_at || head.size() > offset) return bytes;
  std::string archive(head);
  archive.append(bytes, head.size(), offset - head.size());
  return archive.append(tail);
}

}  // namespace Storage
}  // namespace TalvoQuillpost
