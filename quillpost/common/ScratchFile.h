// A file in the scratch directory on its way to an application: removed at the end of its scope,
// unless it was handed over by then.

#pragma once

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

namespace TalvoQuillpost {
namespace Common {

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
