#include "storage/NewStrokes.h"

#include <TalvoOS/NewFile.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <cinttypes>
#include <map>
#include <utility>

#include "common/File.h"
#include "common/Identifiers.h"
#include "common/Log.h"
#include "common/UnnamedFile.h"
#include "storage/FilesStorage.h"
#include "storage/HeldNames.h"
#include "storage/StoreDirectories.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

using boost::system::error_code;

// How often an import makes its directory again if others tidy it away.
constexpr int kAttempts = 100;

constexpr char kHiddenPrefix[] = ".import-";

error_code LastError() {
  return error_code(errno, boost::system::system_category());
}

bool IsGone(const error_code& error) {
  return error == boost::system::errc::no_such_file_or_directory;
}

// ".import-" and a number that no other process has, with its dash.
const std::string& HiddenPrefixOfThisProcess() {
  static const std::string prefix = [] {
    std::uint64_t number = static_cast<std::uint64_t>(::getpid());
    if (::getrandom(&number, sizeof number, 0) != sizeof number) number = ::getpid();
    char text[40];
    std::snprintf(text, sizeof text, "%s%016" PRIx64 "-", kHiddenPrefix, number);
    return std::string(text);
  }();
  return prefix;
}

std::string MakeHiddenName() {
  static std::atomic<unsigned long> count{0};
  return HiddenPrefixOfThisProcess() + std::to_string(++count);
}

bool StartsWith(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

// Without ever replacing a file. Not every file system can rename so; those that can't have links.
error_code GiveNameToHidden(const fs::path& hidden, const fs::path& name) {
  constexpr unsigned int kNoReplace = RENAME_NOREPLACE;
  if (::renameat2(AT_FDCWD, hidden.c_str(), AT_FDCWD, name.c_str(), kNoReplace) == 0) return {};
  if (errno != EINVAL && errno != ENOSYS) return LastError();
  if (::link(hidden.c_str(), name.c_str()) != 0) return LastError();
  ::unlink(hidden.c_str());
  return {};
}

bool IsValid(const std::string& pen, const StrokeID& id, std::size_t size_bytes) {
  if (!Common::IsPenSerialValid(pen)) {
    QUILLPOST_LOG_ERROR("Ink Import failed: invalid Pen Serial - '%s'.", pen.c_str());
  } else if (!Common::IsPageAddressValid(id.page_address)) {
    QUILLPOST_LOG_ERROR("Ink Import failed: invalid Page Address - '%s'.", id.page_address.c_str());
  } else if (id.name.empty()) {
    QUILLPOST_LOG_ERROR("Ink Import failed: empty name.");
  } else if (!IsStrokeIDValid(id)) {
    QUILLPOST_LOG_ERROR("Ink Import failed: invalid stroke id.");
  } else if (size_bytes == 0) {
    QUILLPOST_LOG_ERROR("Ink Import failed: no data.");
  } else {
    return true;
  }
  return false;
}

// Many files are synced with their file system as a whole: each sync of a file waits for the disk
// to empty its cache, even if the sync before has written everything. Few are synced one by one:
// the file system may hold much that others have written.
class WholeSync {
 public:
  explicit WholeSync(std::size_t count) : is_wanted_(count > kFew) {}

  // Whether the file was synced with its file system. The first file of each has that done.
  bool Covers(int file) {
    struct stat status;
    if (!is_wanted_ || ::fstat(file, &status) != 0) return false;
    const auto known = is_synced_.try_emplace(status.st_dev, false);
    bool& is_synced = known.first->second;
    // A share of another machine, or a file system that lies on another, may sync a file when it is
    // asked, and do nothing when the whole is. An error may be that of another program's file: then
    // each of ours has to be asked.
    if (known.second) {
      struct statfs system;
      is_synced = ::fstatfs(file, &system) == 0 && Common::IsOnThisMachine(system) &&
                  !Common::SyncFileSystem(file);
    }
    return is_synced;
  }

 private:
  static constexpr std::size_t kFew = 8;

  const bool is_wanted_;
  std::map<dev_t, bool> is_synced_;
};

void LogFailure(const fs::path& path, const error_code& error) {
  QUILLPOST_LOG_ERROR("Ink Import failed: can't create file '%s': %s", path.c_str(),
                      error.message().c_str());
}

}  // namespace

NewStrokes::Stroke::~Stroke() {
  if (!hidden.empty()) ::unlink(hidden.c_str());
}

std::size_t NewStrokes::MaxOpenFiles() {
  constexpr rlim_t kMost = 256;
  rlimit limit = {kMost, kMost};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  // The rest is for connections, packages, copies of strokes and subscriptions.
  return static_cast<std::size_t>(std::max<rlim_t>(1, std::min(kMost, limit.rlim_cur / 4)));
}

bool NewStrokes::Add(const std::string& pen, const StrokeID& id, const void* data,
                     std::size_t size_bytes) {
  QUILLPOST_LOG_INFORMATION("Importing %lu bytes of Ink from Pen '%s' and Page Address '%s'...",
                            static_cast<unsigned long>(size_bytes), pen.c_str(),
                            id.page_address.c_str());
  const bool had_stored_all = std::exchange(all_stored_, false);
  if (!IsValid(pen, id, size_bytes)) return false;
  std::list<Stroke> added(1);
  Stroke& stroke = added.front();
  stroke.pen = pen;
  stroke.id = id;
  stroke.directory = GetStorageRoot() / pen / id.page_address;
  stroke.path = stroke.directory / StrokeIDToFileName(id);
  if (!Open(stroke)) return false;
  if (const auto error = TalvoOS::WriteAll(stroke.file.get(), data, size_bytes)) {
    LogFailure(stroke.path, error);
    return false;
  }
  strokes_.splice(strokes_.end(), added);
  size_bytes_ += size_bytes;
  all_stored_ = had_stored_all;
  if (size() >= MaxOpenFiles()) CommitStrokes({this});
  return true;
}

// Makes the page directory, and in it the file.
bool NewStrokes::Open(Stroke& stroke) {
  error_code error;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (!MakeStoreDirectory(stroke.directory)) {
      QUILLPOST_LOG_ERROR("Ink Import failed: can't create directory '%s'.",
                          stroke.directory.c_str());
      return false;
    }
    error = Common::OpenUnnamed(stroke.directory, 0666, stroke.file);
    if (Common::MeansUnsupported(error)) {
      stroke.hidden = stroke.directory / MakeHiddenName();
      error = Common::OpenRegularFile(stroke.hidden, O_WRONLY | O_CREAT | O_EXCL, stroke.file);
      if (error) stroke.hidden.clear();
    }
    if (!error) return true;
    // The tidying of the store may take the directory away before the file is made.
    if (error == boost::system::errc::operation_not_permitted) {
      WaitForRemoval(stroke.directory);
    } else if (!IsGone(error)) {
      break;
    }
  }
  QUILLPOST_LOG_ERROR("Ink Import failed: can't create file '%s'", stroke.path.c_str());
  return false;
}

// Gives the file its name, or the first number that is free: which one that is, only the refusal of
// the others can tell.
error_code NewStrokes::Name(Stroke& stroke) {
  if (stroke.is_named) return {};  // by a commit that ran out of memory
  const fs::path wanted = stroke.path;
  int attempts = 0;
  for (unsigned int number = 0;;) {
    stroke.path = NumberedPath(wanted, number);
    SetFileName(stroke.id, stroke.path.filename().native());
    const auto error = GiveName(stroke.pen, stroke.id, [&] {
      return stroke.hidden.empty() ? Common::GiveNameToUnnamed(stroke.file.get(), stroke.path)
                                   : GiveNameToHidden(stroke.hidden, stroke.path);
    });
    if (error == boost::system::errc::file_exists) {
      ++number;
    } else if (!IsGone(error) || ++attempts == kAttempts || !MakeStoreDirectory(stroke.directory)) {
      if (!error) {
        stroke.hidden.clear();
        stroke.is_named = true;
        NoteNewInk(stroke.directory);
      }
      return error;
    }
  }
}

// A step that returns false drops the stroke.
template <typename Step>
void NewStrokes::ForEach(const Imports& imports, const Step& step) {
  for (NewStrokes* const import : imports) {
    for (auto stroke = import->strokes_.begin(); stroke != import->strokes_.end();) {
      if (step(*stroke)) {
        ++stroke;
      } else {
        import->Fail();
        stroke = import->strokes_.erase(stroke);
      }
    }
  }
}

void NewStrokes::SyncContents(const Imports& imports) {
  std::size_t count = 0;
  for (const NewStrokes* const import : imports) count += import->size();
  WholeSync contents(count);
  ForEach(imports, [&contents](Stroke& stroke) {
    error_code error;
    if (!contents.Covers(stroke.file.get())) error = Common::Sync(stroke.file.get());
    if (error) LogFailure(stroke.path, error);
    return !error;
  });
}

void NewStrokes::GiveNames(const Imports& imports) {
  ForEach(imports, [](Stroke& stroke) {
    const auto error = Name(stroke);
    if (error) LogFailure(stroke.path, error);
    return !error;
  });
}

// Once for each directory. A name that can't be synced is removed again: a stroke of an import that
// failed must not come back after a power cut.
void NewStrokes::SyncNames(const Imports& imports) {
  // By texts: comparing paths allocates, and ends the process if memory runs out.
  std::map<std::string, error_code> synced;
  std::set<std::string> directories;
  ForEach(imports, [&directories](Stroke& stroke) {
    directories.insert(stroke.directory.native());
    return true;
  });
  WholeSync names(directories.size());
  ForEach(imports, [&names, &synced](Stroke& stroke) {
    const auto directory = synced.try_emplace(stroke.directory.native());
    error_code& error = directory.first->second;
    if (directory.second && names.Covers(stroke.file.get())) {
      NoteSynced(stroke.directory);
    } else if (directory.second) {
      error = Storage::SyncNames(stroke.directory);
    }
    if (error) {
      LogFailure(stroke.path, error);
      // A routing pass may have found it already.
      RemoveStrokes(stroke.pen, {stroke.id});
    } else {
      QUILLPOST_LOG_INFORMATION("Ink was imported to: '%s'", stroke.path.c_str());
    }
    return !error;
  });
}

// The bytes of all are synced before any gets a name, so that no name leads to unsynced bytes.
void CommitStrokes(const std::vector<NewStrokes*>& imports) {
  NewStrokes::SyncContents(imports);
  NewStrokes::GiveNames(imports);
  NewStrokes::SyncNames(imports);
  for (NewStrokes* const import : imports) import->strokes_.clear();
}

bool ImportStroke(const std::string& pen, const StrokeID& id, const std::vector<char>& data) {
  NewStrokes stroke;
  stroke.Add(pen, id, data.data(), data.size());
  CommitStrokes({&stroke});
  return stroke.all_stored();
}

bool IsNewStroke(const std::string& file_name) {
  return StartsWith(file_name, HiddenPrefixOfThisProcess());
}

namespace {

// Whether an import makes hidden files in the directory: only then a killed one has left any.
bool HidesNewStrokes(const fs::path& directory) {
  TalvoCppUtils::Descriptor probe;
  return Common::MeansUnsupported(Common::OpenUnnamed(directory, 0666, probe));
}

void RemoveHiddenStrokes(const fs::path& page) {
  boost::system::error_code error;
  std::vector<fs::path> leftovers;
  for (fs::directory_iterator entry(page, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().native();
    if (StartsWith(name, kHiddenPrefix) && !IsNewStroke(name)) leftovers.push_back(entry->path());
  }
  for (const fs::path& leftover : leftovers) fs::remove(leftover, error);
}

}  // namespace

void RemoveLeftoverStrokes(const std::string& pen) {
  std::set<std::string> pages;
  GetPageAddresses(pen, pages);
  for (const std::string& page : pages) {
    // Each page is asked for itself: one that is a link may lead to another file system.
    const fs::path directory = GetStorageRoot() / pen / page;
    if (HidesNewStrokes(directory)) RemoveHiddenStrokes(directory);
  }
}

}  // namespace Storage
}  // namespace TalvoQuillpost
