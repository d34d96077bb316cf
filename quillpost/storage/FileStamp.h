// What a file or a directory looked like. Equal stamps prove that nothing was made, removed or
// renamed in the directory between the two, and nothing written to the file; only what a program
// writes through a mapping of the file may be stamped later than it can be read.
//
// The proof is the time of its last change. Clocks that stamp changes may advance in ticks (up to
// 10 ms in most kernels), some file systems keep only seconds (up to two), and those of other
// machines have clocks of their own, so two changes can have one time. A stamp is therefore worth
// something only if the file had been left alone for longer than that when the stamp was taken: any
// later change has a later time then.

#pragma once

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>

namespace TalvoQuillpost {
namespace Storage {

class FileStamp {
 public:
  // A stamp that is equal to none, not even to itself.
  FileStamp() = default;

  // The file or directory as it is now, links followed. If it can't be asked for, or was changed
  // only just now, the stamp is equal to no other one: within two ticks on file systems of this
  // machine that stamp changes with its clock and keep more than seconds, within 2.5 s on others.
  // To be taken before it is read or listed.
  explicit FileStamp(const boost::filesystem::path& path);

  // The same of an open file.
  explicit FileStamp(int file);

  // Not equal to itself, if it proves nothing.
  bool operator==(const FileStamp& other) const;
  bool operator!=(const FileStamp& other) const { return !(*this == other); }

  bool proves() const { return proves_; }

 private:
  // `stat` and `statfs` fill in what they are given, and return 0 if they could.
  template <typename Stat, typename StatFs>
  void Take(Stat stat, StatFs statfs);

  bool proves_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  timespec modified_ = {};
  timespec changed_ = {};
};

}  // namespace Storage
}  // namespace TalvoQuillpost
