// What a directory looked like: equal stamps prove that nothing was made, removed or renamed in it
// between the two.
//
// The proof is the time of its last change. Clocks that stamp changes may advance in ticks (up to
// 10 ms in most kernels), some file systems keep only seconds (up to two), and those of other
// machines have clocks of their own, so two changes can have one time. A stamp is therefore worth
// something only if the directory had been left alone for longer than that when the stamp was
// taken: any later change has a later time then.

#pragma once

#include <sys/stat.h>

#include <boost/filesystem/path.hpp>

namespace TalvoQuillpost {
namespace Storage {

class DirectoryStamp {
 public:
  // A stamp that is equal to none, not even to itself.
  DirectoryStamp() = default;

  // The directory as it is now, links followed. If it can't be asked for, or was changed only just
  // now, the stamp is equal to no other one: within two ticks on file systems of this machine that
  // stamp changes with its clock and keep more than seconds, within 2.5 s on others. To be taken
  // before the directory is listed.
  explicit DirectoryStamp(const boost::filesystem::path& directory);

  // Not equal to itself, if it proves nothing.
  bool operator==(const DirectoryStamp& other) const;
  bool operator!=(const DirectoryStamp& other) const { return !(*this == other); }

  bool proves() const { return proves_; }

 private:
  bool proves_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
  timespec modified_ = {};
  timespec changed_ = {};
};

}  // namespace Storage
}  // namespace TalvoQuillpost
