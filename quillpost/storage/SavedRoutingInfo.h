// What is known of one pen's RoutingInfo.txt since it was written last: that the file is still that
// very file, and at which of its bytes each stroke begins. With it a change of the table is brought
// to the file by writing only the bytes that differ. Not the archive's format itself, nor the whole
// file: RoutingInfoFile.h makes its bytes with the archive library.
//
// Nothing is believed that is not proven. After every write the file's modification time is set to
// a moment just before its change time. Whatever another program writes makes the two times equal
// again, however soon after and however few bytes; what it puts in the file's place is another
// inode. So a file whose device, inode, mode, size and two times are what they were is as we left
// it. Where times can't be set to the nanosecond, or the bytes are not the ones expected, nothing
// is known, and the whole file is written each time. A program that writes in the very moment in
// which we do is not seen; its bytes stay until the file is next written whole.
//
// Belongs to whoever holds the lock of the table.

#pragma once

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

class SavedRoutingInfo {
 public:
  // Takes note of a file that has just been written: `descriptor` is open for it, `archive` are its
  // bytes, the archive of `strokes`, which must stay where it is as long as it is known.
  void Adopt(int descriptor, const std::string& archive, const StrokeMap& strokes);

  // Nothing is known of the file any more.
  void Forget();

  // A stroke enters or leaves the table, or its claims do; before one leaves. From here on the
  // bytes will be others.
  void Cut(const StrokeID& id);

  // Marks of a stroke are set: its bytes will be others, not their number.
  void Touch(const StrokeID& id);

  // Whether the file at `path` is provably the one that was left there.
  bool IsKnown(const boost::filesystem::path& path) const;

  // Whether `strokes`, the table that the file was adopted with, is another than the file's; true
  // where nothing is known.
  bool HasChanges(const StrokeMap& strokes) const;

  // Brings the file at `path` in line with `strokes`, the table that it was adopted with. True when
  // it is; not written to where nothing has changed. False where that is not proven or fails:
  // nothing is known then, and the file may hold a part of the change. A process killed meanwhile
  // leaves, of marks, the old ones or the new ones; where strokes come or go, all of the change or
  // nothing of it (ArchiveChange.h).
  bool Update(const boost::filesystem::path& path, const StrokeMap& strokes);

 private:
  struct Record {
    StrokeMap::const_iterator stroke;
    std::uint64_t offset;  // of its first byte, the blank before it
  };

  bool HasTail(const StrokeMap& strokes) const;
  bool HasTouched() const { return touched_from_ < touched_to_; }
  std::size_t FindRecord(const StrokeID& id) const;  // the first that is not before `id`
  bool TakeStamp(int descriptor);
  bool IsUntouched(const struct stat& status) const;
  bool WriteRecords(int descriptor) const;
  bool WriteTail(int descriptor, std::uint64_t size_bytes, const StrokeMap& strokes);

  std::optional<struct stat> stamp_;  // empty: nothing is known of the file
  std::size_t count_ = 0;             // of the strokes in the file
  std::string head_;                  // what the file holds before it

  // The strokes whose bytes the file has at the right place, in their order: all up to the first
  // cut. Of these, those from touched_from_ on up to touched_to_ have other marks.
  std::vector<Record> records_;
  std::size_t touched_from_ = 0;
  std::size_t touched_to_ = 0;
};

}  // namespace Storage
}  // namespace TalvoQuillpost
