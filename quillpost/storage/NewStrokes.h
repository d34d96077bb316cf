// New stroke files on their way into the store: written and synced before they have a name, so that
// a name always leads to whole ink that a power cut does not take back.
//
//   1. Add writes the bytes into a file without a name (O_TMPFILE). If the file system has no files
//      without names, the file gets a hidden name, which listings skip; the next start removes it
//      if the process is killed.
//   2. CommitStrokes syncs the files, then gives them their names, then syncs the names.
//
// Many strokes are synced for little more than the price of one, so strokes of several imports are
// committed together. Each object belongs to one thread at a time.

#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/noncopyable.hpp>
#include <cstddef>
#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "common/File.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {
namespace Storage {

// The new strokes of one import. Those without a name are gone with the object.
class NewStrokes : boost::noncopyable {
 public:
  // Writes a stroke of the pen, to be filed under the id's page address and name. False, with the
  // reason in the log, for an invalid id, empty data, and if the file can't be made or written. The
  // bytes are not needed any more on return. Commits the strokes so far when MaxOpenFiles() is
  // reached.
  bool Add(const std::string& pen, const StrokeID& id, const void* data, std::size_t size_bytes);

  // The import failed for another reason. Strokes that were added are still committed.
  void Fail() { all_stored_ = false; }

  // Whether nothing has failed; final only after CommitStrokes.
  bool all_stored() const { return all_stored_; }

  // How many strokes are not committed, and how many bytes were added in all.
  std::size_t size() const { return strokes_.size(); }
  std::uint64_t size_bytes() const { return size_bytes_; }

  // The most files that all uncommitted imports may hold open together; then they are to be
  // committed.
  static std::size_t MaxOpenFiles();

 private:
  struct Stroke {
    Stroke() = default;
    ~Stroke();

    std::string pen;
    StrokeID id;
    boost::filesystem::path directory;
    boost::filesystem::path path;    // the wanted name, then the given one
    boost::filesystem::path hidden;  // empty: the file has no name at all
    bool is_named = false;
    TalvoCppUtils::Descriptor file;
  };

  friend void CommitStrokes(const std::vector<NewStrokes*>& imports);

  typedef std::vector<NewStrokes*> Imports;

  static bool Open(Stroke& stroke);
  static boost::system::error_code Name(Stroke& stroke);

  // The three steps of a commit. A stroke for which one fails is dropped, and fails its import.
  static void SyncContents(const Imports& imports);
  static void GiveNames(const Imports& imports);
  static void SyncNames(const Imports& imports);
  template <typename Step>
  static void ForEach(const Imports& imports, const Step& step);

  std::list<Stroke> strokes_;  // not committed yet
  std::uint64_t size_bytes_ = 0;
  bool all_stored_ = true;
};

// Files the strokes of all imports in the store, each under its name, or with a number if the name
// is taken, and empties them. When it returns, the strokes survive a power cut; a stroke for which
// that can't be said is removed again, has its line in the log, and fails its import (it may stay
// if it can't be removed, or if memory runs out). Blocks for as long as the disk takes.
void CommitStrokes(const std::vector<NewStrokes*>& imports);

// One stroke, added and committed.
bool ImportStroke(const std::string& pen, const StrokeID& id, const std::vector<char>& data);

// Removes the hidden files that a killed process has left among the pages of a pen. Only for a
// service that has the endpoint: another one may be writing such files now.
void RemoveLeftoverStrokes(const std::string& pen);

// Whether a file of this name in a page directory is a stroke that this process is writing.
bool IsNewStroke(const std::string& file_name);

}  // namespace Storage
}  // namespace TalvoQuillpost
