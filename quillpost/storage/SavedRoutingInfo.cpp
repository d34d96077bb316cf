#include "storage/SavedRoutingInfo.h"

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "common/File.h"
#include "storage/ArchiveChange.h"

namespace TalvoQuillpost {
namespace Storage {

namespace {

// What the archive library writes where a class comes first: that it is not tracked, and version 0.
constexpr char kClass[] = " 0 0";

void AppendText(std::string& archive, const std::string& text) {
  archive += ' ';
  archive += std::to_string(text.size());
  archive += ' ';
  archive += text;
}

// The bytes of one stroke in the archive. The first stroke introduces the classes; it does so
// completely only if it has a claim, which Adopt makes sure of by comparing.
void AppendStroke(std::string& archive, const StrokeMap::value_type& stroke, bool is_first) {
  const auto& [id, claims] = stroke;
  if (is_first) archive.append(kClass).append(kClass);
  AppendText(archive, id.page_address);
  AppendText(archive, id.name);
  AppendText(archive, id.extension);
  if (is_first) archive += kClass;
  archive += ' ';
  archive += std::to_string(claims.size());
  archive += " 0";
  bool introduces = is_first;
  for (const auto& [app, marks] : claims) {
    if (introduces) archive += kClass;
    AppendText(archive, app);
    if (introduces) archive += kClass;
    archive += marks.delivered ? " 1" : " 0";
    archive += marks.processed ? " 1" : " 0";
    introduces = false;
  }
}

// "22 serialization::archive 18 0 0": the archive up to the blank before the number of strokes.
std::uint64_t FindCount(const std::string& archive) {
  std::size_t position = 0;
  for (int token = 0; token < 5 && position != std::string::npos; ++token) {
    position = archive.find(' ', position + 1);
  }
  return position;
}

bool IsSameTime(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

}  // namespace

void SavedRoutingInfo::Adopt(int descriptor, const std::string& archive, const StrokeMap& strokes) {
  Forget();
  const std::uint64_t count_offset = FindCount(archive);
  if (count_offset == std::string::npos) return;
  std::string own = archive.substr(0, count_offset);
  own += ' ' + std::to_string(strokes.size()) + " 0";
  records_.reserve(strokes.size());
  for (auto stroke = strokes.begin(); stroke != strokes.end(); ++stroke) {
    records_.push_back({stroke, own.size()});
    AppendStroke(own, *stroke, records_.size() == 1);
  }
  own += '\n';
  count_ = strokes.size();
  head_ = archive.substr(0, count_offset);
  // The last step: with the stamp all of this is believed.
  if (own != archive || !TakeStamp(descriptor)) Forget();
}

void SavedRoutingInfo::Forget() {
  stamp_.reset();
  records_.clear();
  touched_from_ = touched_to_ = 0;
}

void SavedRoutingInfo::Cut(const StrokeID& id) {
  if (!stamp_) return;
  records_.erase(records_.begin() + static_cast<std::ptrdiff_t>(FindRecord(id)), records_.end());
  touched_to_ = std::min(touched_to_, records_.size());
}

void SavedRoutingInfo::Touch(const StrokeID& id) {
  if (!stamp_) return;
  const std::size_t record = FindRecord(id);
  if (record == records_.size()) return;  // behind a cut
  const bool is_first = touched_from_ >= touched_to_;
  touched_from_ = is_first ? record : std::min(touched_from_, record);
  touched_to_ = is_first ? record + 1 : std::max(touched_to_, record + 1);
}

bool SavedRoutingInfo::IsKnown(const boost::filesystem::path& path) const {
  struct stat status;
  return stamp_ && ::stat(path.c_str(), &status) == 0 && IsUntouched(status);
}

bool SavedRoutingInfo::HasChanges(const StrokeMap& strokes) const {
  return !stamp_ || HasTail(strokes) || HasTouched();
}

bool SavedRoutingInfo::Update(const boost::filesystem::path& path, const StrokeMap& strokes) {
  if (!stamp_) return false;
  if (!HasChanges(strokes)) {
    if (IsKnown(path)) return true;
    Forget();
    return false;
  }
  const Common::Descriptor file(
      ::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status = {};
  const bool is_untouched =
      file.is_open() && ::fstat(file.get(), &status) == 0 && IsUntouched(status);
  // Not known until all is written, so that an exception on the way leaves nothing half believed.
  stamp_.reset();
  const bool is_written =
      is_untouched && (!HasTouched() || WriteRecords(file.get())) &&
      (!HasTail(strokes) ||
       WriteTail(file.get(), static_cast<std::uint64_t>(status.st_size), strokes)) &&
      TakeStamp(file.get());
  if (!is_written) Forget();
  touched_from_ = touched_to_ = 0;
  return is_written;
}

bool SavedRoutingInfo::HasTail(const StrokeMap& strokes) const {
  return records_.size() < count_ || strokes.size() != count_;
}

std::size_t SavedRoutingInfo::FindRecord(const StrokeID& id) const {
  const auto record = std::lower_bound(
      records_.begin(), records_.end(), id,
      [](const Record& one, const StrokeID& other) { return one.stroke->first < other; });
  return static_cast<std::size_t>(record - records_.begin());
}

// Sets the modification time and takes note of the file as it is then.
bool SavedRoutingInfo::TakeStamp(int descriptor) {
  stamp_.reset();
  timespec times[2] = {{0, UTIME_OMIT}, {}};
  timespec& modified = times[1];
  ::clock_gettime(CLOCK_REALTIME_COARSE, &modified);  // not after the change time to come
  modified.tv_nsec = (modified.tv_nsec + 999999999) % 1000000000;
  if (modified.tv_nsec == 999999999) --modified.tv_sec;
  struct stat status;
  if (::futimens(descriptor, times) != 0 || ::fstat(descriptor, &status) != 0) return false;
  if (!IsSameTime(status.st_mtim, modified) || IsSameTime(status.st_mtim, status.st_ctim)) {
    return false;
  }
  stamp_ = status;
  return true;
}

bool SavedRoutingInfo::IsUntouched(const struct stat& status) const {
  return status.st_dev == stamp_->st_dev && status.st_ino == stamp_->st_ino &&
         status.st_mode == stamp_->st_mode && status.st_size == stamp_->st_size &&
         IsSameTime(status.st_mtim, stamp_->st_mtim) && IsSameTime(status.st_ctim, stamp_->st_ctim);
}

// Writes the touched records over themselves.
bool SavedRoutingInfo::WriteRecords(int descriptor) const {
  std::string bytes;
  for (std::size_t i = touched_from_; i < touched_to_; ++i) {
    AppendStroke(bytes, *records_[i].stroke, i == 0);
  }
  return !Common::WriteAt(descriptor, records_[touched_from_].offset, bytes.data(), bytes.size());
}

// Writes all strokes behind the last record, and their number, so that a process killed meanwhile
// leaves the old strokes or the new ones, never new ones before an old rest.
bool SavedRoutingInfo::WriteTail(int descriptor, std::uint64_t size_bytes,
                                 const StrokeMap& strokes) {
  const std::string count = std::to_string(strokes.size());
  const bool has_same_digits = std::to_string(count_).size() == count.size();
  if (records_.empty() || !has_same_digits) return false;
  std::string bytes;
  const Record last = records_.back();
  AppendStroke(bytes, *last.stroke, records_.size() == 1);
  for (auto stroke = std::next(last.stroke); stroke != strokes.end(); ++stroke) {
    records_.push_back({stroke, last.offset + bytes.size()});
    AppendStroke(bytes, *stroke, false);
  }
  bytes += '\n';
  count_ = strokes.size();
  return !ChangeArchive(descriptor, size_bytes, head_ + ' ' + count, last.offset, bytes);
}

}  // namespace Storage
}  // namespace TalvoQuillpost
