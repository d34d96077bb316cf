// Imports that were read one after the other and wait to be committed together: one sync of the
// disk serves them all. An import is answered after the commit, in the order in which it was added.
// A group also takes the imports that come while it is read. It is committed earlier if it is full:
// to read even more would take longer than a sync saves.

#pragma once

#include <boost/filesystem/path.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <memory>
#include <vector>

#include "storage/NewStrokes.h"

namespace TalvoQuillpost {

class ImportGroup : boost::noncopyable {
 public:
  typedef boost::function<void(bool is_stored)> Done;

  // An import whose strokes have been added to `strokes`.
  void Add(const boost::filesystem::path& file, std::unique_ptr<Storage::NewStrokes> strokes,
           const Done& done);

  // An import that was refused before it had strokes; its line is in the log.
  void AddRefused(const Done& done);

  std::size_t size() const { return imports_.size(); }

  // Whether its imports, bytes or open files have reached their limit.
  bool IsFull() const;

  // Commits the strokes of all imports, calls `on_stored` if any has been stored, then tells each
  // its result. Empties the group. Nothing is thrown.
  void Commit(const boost::function<void()>& on_stored = boost::function<void()>());

 private:
  struct Import {
    boost::filesystem::path file;
    std::unique_ptr<Storage::NewStrokes> strokes;  // null if it was refused
    Done done;
  };

  static bool Finish(const Import& import);
  static bool IsStored(const Import& import);

  std::vector<Import> imports_;
};

}  // namespace TalvoQuillpost
