// The file RoutingInfo.txt of one pen: owns it and alone writes it. Remembers from the last read or
// write which file it is and at which byte each stroke begins; so a change of the table is brought
// to the file by writing only the bytes that differ. Not the format of the bytes
// (RoutingInfoFormat.h), nor the order of writes that makes a change whole or not at all
// (ArchiveChange.h).
//
// How a save writes, and what is left if it is cut off:
// - Marks alone are written over the old ones, without a sync. They are single bytes that only turn
//   from "0" to "1", so any of them may be missing after a power cut; then ink is offered again.
// - More strokes are written behind the others, without a sync, unless the file was cut since the
//   last one. A power cut may cost the marks of
//   the pen, but can't mix them up: then all its ink is offered again.
// - Any other change is made as a whole or not at all, and synced (ArchiveChange.h).
// - A new file is written and synced. If it can't be written whole it is removed again: no reader
//   could tell a piece of an archive from one that was damaged.
//
// A file is known by its device, inode, mode, size, and times of modification and change. A program
// that writes as many bytes into it, in the same tick of the system's clock (up to 10 ms) in which
// the service wrote, is not noticed; its bytes stay until the whole file is written. Everything
// else is noticed, and replaced as a whole by what the table holds.
//
// Belongs to the thread that holds the lock of the table.

#pragma once

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/File.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

class RoutingInfoFile {
 public:
  // What became of reading the file.
  enum class Loaded {
    kNothing,     // no such file
    kTable,       // the table; empty if the archive is
    kNotRegular,  // something else is in its place
    kNotOpened,   // it can't be opened or read
    kCorrupted    // it is not an archive, or is damaged; `reason` says why
  };

  // The file of the pen of this name. Neither looks at it nor makes it.
  explicit RoutingInfoFile(const std::string& pen);

  // Reads the file into `strokes`. Keeps iterators into `strokes`: later calls must pass the same
  // object. Throws boost::filesystem::filesystem_error if the file's status can't be read.
  Loaded Load(StrokeMap& strokes, std::string& reason);

  // Call it when a stroke or one of its claims is added, and before one is removed: from that
  // stroke on the bytes of the file are going to change.
  void Cut(const StrokeID& id);

  // Call it when marks of a stroke are set: its bytes change, and keep their length.
  void Touch(const StrokeID& id);

  // Whether `strokes` may differ from what the file held when it was seen last.
  bool HasChanges(const StrokeMap& strokes) const;

  // Syncs the marks that Save has written without a sync. To be called before stroke files are
  // removed because of them: a power cut must not take back a mark whose stroke is gone, or the
  // service would offer the same missing stroke again and again. False, with the `reason` in words,
  // if they can't be.
  bool Sync(std::string& reason);

  // Brings the file in line with `strokes`, always the same table. Nothing is written if nothing
  // has changed. False, with the `reason` in words for the log, if that fails; the file then reads
  // as before, or already as the change makes it, or is missing. True: a killed process leaves all
  // of it, and after a power cut no removed stroke is in the file.
  bool Save(const StrokeMap& strokes, std::string& reason);

 private:
  struct Record {
    StrokeMap::const_iterator stroke;
    std::uint64_t offset;  // of its first byte, the blank before it
  };

  boost::filesystem::path path() const;
  bool IsKnown() const;
  bool IsUntouched(const struct stat& status) const;
  bool HasTail(const StrokeMap& strokes) const;
  bool HasTouched() const { return touched_from_ < touched_to_; }
  std::size_t FindRecord(const StrokeID& id) const;  // the first that is not before `id`
  void Forget();
  std::string Note(const StrokeMap& strokes);
  std::string NoteTail(const StrokeMap& strokes);
  boost::system::error_code WriteTouched(int descriptor) const;
  boost::system::error_code WriteTail(int descriptor, const StrokeMap& strokes);
  bool SaveChanges(const StrokeMap& strokes);
  bool SaveWhole(const StrokeMap& strokes, std::string& reason);
  boost::system::error_code WriteWhole(TalvoCppUtils::Descriptor& file,
                                       const std::string& archive) const;
  boost::system::error_code Finish(TalvoCppUtils::Descriptor& file);

  const std::string pen_;
  std::optional<struct stat> stamp_;  // empty: nothing is known of the file
  bool is_synced_ = false;            // everything written is on the disk
  bool is_end_synced_ = false;        // its last truncation is on the disk

  // What the file holds: count_ strokes, of which records_ are those in front of the first cut,
  // whose bytes are in their place; the tail begins at tail_offset_. All records whose marks
  // changed lie from touched_from_ up to touched_to_.
  std::size_t count_ = 0;
  std::vector<Record> records_;
  std::uint64_t tail_offset_ = 0;
  std::size_t touched_from_ = 0;
  std::size_t touched_to_ = 0;
  std::size_t first_claimed_ = 0;  // the record that introduces the classes of claims
};

}  // namespace Storage
}  // namespace TalvoQuillpost
