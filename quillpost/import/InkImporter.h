// From a captured ink file to stroke files in the store: one for each page of plain ink, and one
// for sealed ink, which is stored unread. Bad data never throws: the result is false, and the
// reason is in the log.
//
// Belongs to the importer thread, on which imports are read one after the other. Those that wait
// together are committed together (ImportGroup.h). Knows neither clients nor routing.

#pragma once

#include <Stf2.h>

#include <boost/filesystem/path.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <cstddef>
#include <string>

#include "common/EventQueue.h"
#include "import/ImportGroup.h"
#include "storage/NewStrokes.h"
#include "storage/StrokeID.h"

namespace TalvoQuillpost {

class InkImporter : boost::noncopyable {
 public:
  // `queue` runs the importer thread. After it was stopped and the grace period has passed, an
  // import ends before its next page. `on_stored` is called there after a commit that has stored
  // ink: once for imports that come in a row.
  InkImporter(EventQueue& queue, const boost::function<void()>& on_stored);

  // Reads a file. Imports that are queued, or come while those are read, are read first; then they
  // are committed together, as many as make a group, and `done` is called, in the order of the
  // calls.
  void Import(const boost::filesystem::path& file, const ImportGroup::Done& done);

  // Commits the imports that wait, and answers them.
  void Commit();

  // Imports one file alone. True: all strokes are in the store and survive a power cut.
  bool ImportSTF2File(const boost::filesystem::path& file);

  // The steps of an import. Called by themselves, they commit each stroke immediately.
  bool ImportSTF2RawData(const void* data, unsigned long size);
  bool ImportSTF2EncryptedRawData(const void* data, unsigned long size);
  // The page address of a part, and the times of its first and its last timed stroke.
  bool GetSTF2InkDataInfo(InkDataHandle* part, std::string& page_address,
                          unsigned long long& first_time, unsigned long long& last_time);
  bool ImportSTF2InkData(InkDataHandle* part, const std::string& pen,
                         const std::string& page_address, unsigned long long first_time,
                         unsigned long long last_time);

 private:
  // The file that is being read; `strokes` is null between imports.
  struct ImportUnderWay {
    boost::filesystem::path file;
    Storage::NewStrokes* strokes = nullptr;
  };

  // Clears the import under way when its reading ends or throws.
  class ImportEnd : boost::noncopyable {
   public:
    explicit ImportEnd(ImportUnderWay& import) : import_(import) {}
    ~ImportEnd() { import_ = ImportUnderWay(); }

   private:
    ImportUnderWay& import_;
  };

  void Read(const boost::filesystem::path& file, ImportGroup& group, const ImportGroup::Done& done);
  void QueueCommit(bool may_wait_again);
  void OnStored(bool is_full);
  void TellStored(bool may_wait_again);
  bool ReadSTF2File(const boost::filesystem::path& file, Storage::NewStrokes& strokes);
  bool ImportPart(InkDataHandle* part, const std::string& pen);
  bool StoreStroke(const std::string& pen, const Storage::StrokeID& id, const void* data,
                   std::size_t size_bytes);

  EventQueue& queue_;
  const boost::function<void()> on_stored_;
  ImportGroup group_;              // read, and not committed
  bool is_commit_queued_ = false;  // posted and has not run
  bool is_telling_queued_ = false;
  ImportUnderWay import_;
};

}  // namespace TalvoQuillpost
