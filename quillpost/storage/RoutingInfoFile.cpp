#include "storage/RoutingInfoFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <exception>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "common/File.h"
#include "storage/ArchiveChange.h"
#include "storage/RoutingInfoFormat.h"
#include "storage/StoreDirectories.h"
#include "storage/StrokeFiles.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

using boost::system::error_code;

constexpr char kFileName[] = "RoutingInfo.txt";

// Room for some two million strokes of one pen; a larger file is damaged, and not read into memory.
constexpr std::uint64_t kMaxBytes = 256u << 20;

// When a whole archive is replaced: these first bytes lie in front of everything that can differ in
// length.
constexpr std::size_t kFixedHeadBytes = 32;

constexpr std::size_t kNoRecord = std::numeric_limits<std::size_t>::max();

bool IsSameTime(const timespec& one, const timespec& other) {
  return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

// Whether the bytes begin as an archive of this library. Then they are replaced with a record, so
// that they stay readable at each moment.
bool IsArchive(const std::string& bytes) {
  const std::string head = RoutingInfoHead(0);
  const std::size_t signature_bytes = head.find(' ', head.find(' ') + 1);
  return bytes.size() > kFixedHeadBytes &&
         bytes.compare(0, signature_bytes, head, 0, signature_bytes) == 0;
}

// A new file gets its name with its archive in it: a service that is killed never leaves an empty
// one, which nothing could read.
error_code MakeFile(const fs::path& path, const std::string& archive, error_code& write_error) {
  fs::path hidden = path.parent_path() / ('.' + path.filename().native());
  TalvoCppUtils::Descriptor file;
  constexpr int kFlags = O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW;
  if (const auto error = Common::OpenRegularFile(hidden, kFlags, file)) return error;
  write_error = Common::WriteAt(file.get(), 0, archive.data(), archive.size());
  if (!write_error) write_error = Common::Close(file);
  if (!write_error && ::rename(hidden.c_str(), path.c_str()) != 0) {
    write_error = error_code(errno, boost::system::system_category());
  }
  if (write_error) ::unlink(hidden.c_str());
  return {};
}

// Opens the file, or makes it with the archive in it; `write_error` tells if that fails. A link in
// its place is replaced by a file: what it leads to is not the store's to write.
error_code OpenForWriting(const fs::path& path, TalvoCppUtils::Descriptor& file,
                          const std::string& archive, error_code& write_error) {
  constexpr int kFlags = O_RDWR | O_NOFOLLOW;
  auto error = Common::OpenRegularFile(path, kFlags, file);
  if (error == boost::system::errc::too_many_symbolic_link_levels) {
    fs::remove(path, error);
    if (error) return error;
    error = boost::system::errc::make_error_code(boost::system::errc::no_such_file_or_directory);
  }
  if (error != boost::system::errc::no_such_file_or_directory) return error;
  error = MakeFile(path, archive, write_error);
  if (error || write_error) return error;
  return Common::OpenRegularFile(path, kFlags, file);
}

}  // namespace

RoutingInfoFile::RoutingInfoFile(const std::string& pen) : pen_(pen) {}

RoutingInfoFile::Loaded RoutingInfoFile::Load(StrokeMap& strokes, std::string& reason) {
  strokes.clear();
  const fs::file_status status = fs::status(path());
  if (!fs::exists(status)) return Loaded::kNothing;
  if (status.type() != fs::regular_file) return Loaded::kNotRegular;
  try {
    TalvoCppUtils::Descriptor file;
    struct stat seen;
    std::string bytes;
    if (Common::OpenRegularFile(path(), O_RDONLY, file) || ::fstat(file.get(), &seen) != 0) {
      return Loaded::kNotOpened;
    }
    const auto size_bytes = static_cast<std::uint64_t>(seen.st_size);
    if (size_bytes > kMaxBytes) throw std::length_error("file too large");
    if (Common::ReadAt(file.get(), 0, size_bytes, bytes)) return Loaded::kNotOpened;
    strokes = ReadRoutingInfo(bytes);
    // A killed service may have left its last writes unsynced. Ink is going to be removed because
    // of them: a power cut must not bring back an older table.
    is_synced_ = is_end_synced_ = !Common::Sync(file.get());
    if (is_synced_ && Note(strokes) == bytes) stamp_ = seen;
  } catch (const std::exception& error) {
    strokes.clear();
    reason = error.what();
  }
  if (!stamp_) Forget();
  return reason.empty() ? Loaded::kTable : Loaded::kCorrupted;
}

void RoutingInfoFile::Cut(const StrokeID& id) {
  if (!stamp_) return;
  const std::size_t record = FindRecord(id);
  if (record == records_.size()) return;  // behind the last one, or behind a cut
  tail_offset_ = records_[record].offset;
  records_.erase(records_.begin() + static_cast<std::ptrdiff_t>(record), records_.end());
  touched_to_ = std::min(touched_to_, record);
}

void RoutingInfoFile::Touch(const StrokeID& id) {
  if (!stamp_) return;
  const std::size_t record = FindRecord(id);
  if (record == records_.size()) return;  // behind a cut
  const bool is_first = !HasTouched();
  touched_from_ = is_first ? record : std::min(touched_from_, record);
  touched_to_ = is_first ? record + 1 : std::max(touched_to_, record + 1);
}

bool RoutingInfoFile::HasChanges(const StrokeMap& strokes) const {
  return !stamp_ || HasTail(strokes) || HasTouched();
}

bool RoutingInfoFile::Sync(std::string& reason) {
  if (is_synced_) return true;
  TalvoCppUtils::Descriptor file;
  auto error = Common::OpenRegularFile(path(), O_RDONLY, file);
  if (!error) error = Common::Sync(file.get());
  if (error) reason = "can't sync file: " + error.message();
  is_synced_ = is_end_synced_ = !error;
  return !error;
}

bool RoutingInfoFile::Save(const StrokeMap& strokes, std::string& reason) {
  try {
    if (SaveChanges(strokes) || SaveWhole(strokes, reason)) return true;
  } catch (const std::exception& error) {
    reason = error.what();
  }
  Forget();
  return false;
}

fs::path RoutingInfoFile::path() const {
  return GetStorageRoot() / pen_ / kFileName;
}

// Whether the file is still the one that was left there.
bool RoutingInfoFile::IsKnown() const {
  struct stat status;
  return stamp_ && ::stat(path().c_str(), &status) == 0 && IsUntouched(status);
}

bool RoutingInfoFile::IsUntouched(const struct stat& status) const {
  return status.st_dev == stamp_->st_dev && status.st_ino == stamp_->st_ino &&
         status.st_mode == stamp_->st_mode && status.st_size == stamp_->st_size &&
         IsSameTime(status.st_mtim, stamp_->st_mtim) && IsSameTime(status.st_ctim, stamp_->st_ctim);
}

bool RoutingInfoFile::HasTail(const StrokeMap& strokes) const {
  return records_.size() < count_ || strokes.size() != count_;
}

std::size_t RoutingInfoFile::FindRecord(const StrokeID& id) const {
  const auto record = std::lower_bound(
      records_.begin(), records_.end(), id,
      [](const Record& one, const StrokeID& other) { return one.stroke->first < other; });
  return static_cast<std::size_t>(record - records_.begin());
}

void RoutingInfoFile::Forget() {
  stamp_.reset();
  records_.clear();
  touched_from_ = touched_to_ = 0;
}

// Makes the archive of the strokes, and notes where each lies in it.
std::string RoutingInfoFile::Note(const StrokeMap& strokes) {
  const std::string head = RoutingInfoHead(strokes.size());
  Forget();
  records_.reserve(strokes.size());
  tail_offset_ = head.size();
  return head + NoteTail(strokes);
}

// The same for the strokes behind the last record.
std::string RoutingInfoFile::NoteTail(const StrokeMap& strokes) {
  std::string tail;
  const bool has_claims = first_claimed_ < records_.size();
  StrokeWriter writer(!records_.empty(), has_claims);
  if (!has_claims) first_claimed_ = kNoRecord;
  auto stroke = records_.empty() ? strokes.begin() : std::next(records_.back().stroke);
  for (; stroke != strokes.end(); ++stroke) {
    const bool had_claims = writer.has_claims();
    records_.push_back({stroke, tail_offset_ + tail.size()});
    writer.Append(*stroke, tail);
    if (had_claims != writer.has_claims()) first_claimed_ = records_.size() - 1;
  }
  tail += '\n';
  tail_offset_ += tail.size() - 1;  // the next stroke comes in front of the line feed
  count_ = strokes.size();
  return tail;
}

// Writes all strokes between the first and the last that were touched, in one call. A mark is one
// digit, so all keep their length and their place.
error_code RoutingInfoFile::WriteTouched(int descriptor) const {
  std::string bytes;
  StrokeWriter writer(touched_from_ > 0, first_claimed_ < touched_from_);
  for (std::size_t i = touched_from_; i < touched_to_; ++i)
    writer.Append(*records_[i].stroke, bytes);
  return Common::WriteAt(descriptor, records_[touched_from_].offset, bytes.data(), bytes.size());
}

error_code RoutingInfoFile::WriteTail(int descriptor, const StrokeMap& strokes) {
  const auto size_bytes = static_cast<std::uint64_t>(stamp_->st_size);
  const std::uint64_t offset = tail_offset_;
  // Ink mostly comes in the order of its times, which is that of the strokes.
  const bool is_longer = records_.size() == count_ && offset + 1 == size_bytes;
  const std::string tail = NoteTail(strokes);
  const std::string head = RoutingInfoHead(strokes.size());
  if (!is_longer) {
    is_end_synced_ = false;
    return ChangeArchive(descriptor, size_bytes, head, offset, tail);
  }
  // A truncation that is not on the disk could come undone in a power cut: then bytes of strokes
  // that are gone would follow the new head.
  if (!is_end_synced_) {
    if (const auto error = Common::Sync(descriptor)) return error;
    is_end_synced_ = true;
  }
  return ExtendArchive(descriptor, size_bytes, head, tail);
}

// False if nothing is known of the file, if another program has changed or replaced it, or if
// writing fails: in each case the whole archive has to be written.
bool RoutingInfoFile::SaveChanges(const StrokeMap& strokes) {
  if (!stamp_) return false;
  if (!HasChanges(strokes)) return IsKnown();
  // Another number of digits moves every stroke.
  if (HasTail(strokes) &&
      RoutingInfoHead(count_).size() != RoutingInfoHead(strokes.size()).size()) {
    return false;
  }
  constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
  const fs::path file_path = path();
  TalvoCppUtils::Descriptor file(
      Common::Uninterrupted([&] { return ::open(file_path.c_str(), kFlags); }));
  struct stat status;
  if (!file.is_open() || ::fstat(file.get(), &status) != 0 || !IsUntouched(status)) return false;
  error_code error;
  is_synced_ = false;
  if (HasTouched()) error = WriteTouched(file.get());
  if (!error && HasTail(strokes)) error = WriteTail(file.get(), strokes);
  return !error && !Finish(file);
}

bool RoutingInfoFile::SaveWhole(const StrokeMap& strokes, std::string& reason) {
  Forget();
  is_synced_ = is_end_synced_ = false;
  if (!MakeStoreDirectory(path().parent_path())) {
    reason = "can't create directory 'ROOT/" + pen_ + "'";
    return false;
  }
  const std::string archive = Note(strokes);
  TalvoCppUtils::Descriptor file;
  error_code error;
  if (OpenForWriting(path(), file, archive, error)) {
    reason = "can't create file 'ROOT/" + pen_ + "/" + kFileName + "'";
    return false;
  }
  if (!error) error = WriteWhole(file, archive);
  if (!error) error = Finish(file);
  if (error) reason = error.message();
  return !error;
}

error_code RoutingInfoFile::WriteWhole(TalvoCppUtils::Descriptor& file,
                                       const std::string& archive) const {
  struct stat status;
  if (::fstat(file.get(), &status) != 0) {
    return error_code(errno, boost::system::system_category());
  }
  std::string old;
  const auto old_bytes = static_cast<std::uint64_t>(status.st_size);
  error_code error;
  if (old_bytes <= kMaxBytes) error = Common::ReadAt(file.get(), 0, old_bytes, old);
  if (error) return error;
  error = FinishChangeInFile(file.get(), old);
  if (error) return error;
  old = FinishChange(old);
  if (old == archive) return Common::Sync(file.get());
  if (IsArchive(old)) {
    return ChangeArchive(file.get(), old.size(), archive.substr(0, kFixedHeadBytes),
                         kFixedHeadBytes, archive.substr(kFixedHeadBytes));
  }
  error = Common::Truncate(file.get(), 0);
  if (!error) error = Common::WriteAt(file.get(), 0, archive.data(), archive.size());
  if (!error) error = Common::Sync(file.get());
  if (error) ::unlink(path().c_str());
  return error;
}

// Closes a file that was written, and takes note of it as it is then. Some file systems tell only
// at the close that the disk is full.
error_code RoutingInfoFile::Finish(TalvoCppUtils::Descriptor& file) {
  struct stat status;
  const bool has_status = ::fstat(file.get(), &status) == 0;
  const auto error = Common::Close(file);
  if (error) return error;
  touched_from_ = touched_to_ = 0;
  stamp_.reset();
  if (has_status) stamp_ = status;
  return {};
}

}  // namespace Storage
}  // namespace TalvoQuillpost
