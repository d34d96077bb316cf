// Files in the scratch directory on their way to an application. The functions keep no state; any
// thread.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

namespace TalvoQuillpost {
namespace Common {

// Gives a file that is handed to an application its access rights. Nothing needs to
// be done on this platform: service and applications run as one user. Always true.
bool SetPermissions(const boost::filesystem::path& file);

// Makes a new empty file in the scratch directory (which is made when missing) and stores its path.
// The caller owns the file. False, with `out` empty, if that fails.
bool CreateTempSTF2File(boost::filesystem::path& out);

// The same, and leaves the file open in `file` for reading and writing.
bool CreateTempSTF2File(boost::filesystem::path& out, TalvoCppUtils::Descriptor& file);

// Makes an empty file that has no name yet, and is gone with its descriptor. False if that fails,
// or if the file system has no such files.
bool OpenUnnamedScratchFile(TalvoCppUtils::Descriptor& file);

// Gives such a file a name in the scratch directory, and stores its path. The caller owns the file.
// False, with `out` empty, if that fails, or if the name is taken, which is all but impossible.
bool NameScratchFile(int file, boost::filesystem::path& out);

// Removes the scratch files that a killed service has left behind. Only for a service that has the
// endpoint, and before its first package: a running service's packages lie in the same place.
// Throws nothing; what can't be removed stays.
void RemoveLeftoverTempSTF2Files();

// Such a file, removed at the end of its scope unless it was handed over by then.
class ScratchFile {
 public:
  explicit ScratchFile(const boost::filesystem::path& path = boost::filesystem::path())
      : path_(path) {}
  ~ScratchFile() {
    boost::system::error_code ignored;
    if (!path_.empty()) boost::filesystem::remove(path_, ignored);
  }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  const boost::filesystem::path& path() const { return path_; }

  // For a function that makes the file and tells its path. The object must not own one yet.
  boost::filesystem::path& out() { return path_; }

  // From now on another owner deletes the file.
  void HandOver() { path_.clear(); }

 private:
  boost::filesystem::path path_;
};

}  // namespace Common
}  // namespace TalvoQuillpost
