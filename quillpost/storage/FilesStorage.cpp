#include "storage/FilesStorage.h"

#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <string_view>

#include "common/Directories.h"
#include "common/File.h"
#include "common/Identifiers.h"
#include "common/Log.h"
#include "storage/CountingMutex.h"
#include "storage/FileStamp.h"
#include "storage/HeldNames.h"
#include "storage/RoutingTable.h"
#include "storage/StoreDirectories.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

// Made when the library is loaded and never freed, so that they outlive every service object and
// every thread of the host: no destructor of a static object can come too early.
auto& g_routing_info = *new std::map<std::string, RoutingTable>;
auto& g_routing_info_guard = *new CountingMutex;  // guards g_routing_info and its files

// Removals run one after the other, from the question which strokes are processed to the saved
// table: of two at a time, the second would look for the files that the first has removed. Taken
// before the guard of the routing info.
auto& g_removal_guard = *new boost::recursive_mutex;

typedef boost::lock_guard<CountingMutex> Lock;
typedef boost::lock_guard<boost::recursive_mutex> RemovalLock;

// As many strokes of a page are claimed before other threads may take the
// guard: a confirmation seldom waits for all strokes of a large page.
constexpr std::size_t kClaimsUnderOneLock = 100;

RoutingTable& TableOf(const std::string& pen) {
  return g_routing_info.try_emplace(pen, pen).first->second;
}

// Whether an entry of a directory is of the type, links followed. An entry that was removed since
// counts as well: whatever has its name by now was made by others, who still need it.
bool IsTypeOrGone(fs::file_type type, const fs::path& entry) {
  boost::system::error_code error;
  const fs::file_type found = fs::symlink_status(entry, error).type();
  if (found == type || found == fs::file_not_found) return true;
  return found == fs::symlink_file && fs::status(entry, error).type() == type;
}

bool IsDirectory(const fs::path& path) {
  return IsTypeOrGone(fs::directory_file, path);
}

// Ink, or ink that an import is just writing: not to be tidied away with a page.
bool IsStrokeFile(const fs::path& path) {
  const std::string name = path.filename().native();
  return (name.front() != '.' && IsTypeOrGone(fs::regular_file, path)) || IsNewStroke(name);
}

// Of strokes that every application is done with, a killed service may have removed the files and
// not saved the table. Ink that is imported later may get their names, and must not be taken for
// them: so they are forgotten now, and their names held until the file does not know them either.
void DropRemovedStrokes(const std::string& pen, RoutingTable& table) {
  std::set<StrokeID> removed;
  for (const StrokeID& id : table.Processed()) {
    boost::system::error_code error;
    const fs::path path = GetStorageRoot() / pen / id.string();
    if (fs::symlink_status(path, error).type() == fs::file_not_found) removed.insert(id);
  }
  if (removed.empty()) return;
  HoldNames(pen, removed);
  for (const StrokeID& id : removed) table.Erase(id);
  QUILLPOST_LOG_INFORMATION("Dropped %lu processed Inks from Pen '%s' whose files are gone.",
                            static_cast<unsigned long>(removed.size()), pen.c_str());
}

void LoadRoutingInfo(const std::string& pen) {
  std::map<std::string, RoutingTable> loaded;
  RoutingTable& table = loaded.try_emplace(pen, pen).first->second;
  const std::string relative = pen + "/RoutingInfo.txt";
  std::string reason;
  switch (table.Load(reason)) {
    case RoutingInfoFile::Loaded::kNotRegular:
      QUILLPOST_LOG_ERROR("Routing Info 'ROOT/%s' is not regular file?!?.", relative.c_str());
      break;
    case RoutingInfoFile::Loaded::kNotOpened:
      QUILLPOST_LOG_ERROR("Failed to open Routing Info 'ROOT/%s'.", relative.c_str());
      break;
    case RoutingInfoFile::Loaded::kCorrupted:
      QUILLPOST_LOG_WARNING("Corrupted Routing Info 'ROOT/%s': %s.", relative.c_str(),
                            reason.c_str());
      break;
    case RoutingInfoFile::Loaded::kNothing:
    case RoutingInfoFile::Loaded::kTable:
      break;
  }
  if (table.strokes().empty()) return;
  QUILLPOST_LOG_INFORMATION("Loaded Routing Info 'ROOT/%s' with %lu Ink items.", relative.c_str(),
                            static_cast<unsigned long>(table.strokes().size()));
  DropRemovedStrokes(pen, table);
  g_routing_info.erase(pen);
  g_routing_info.merge(loaded);
}

// The names of the files of a page, one behind the other: a large page has so many that a string
// for each would take longer than to list them.
class PageFiles {
 public:
  // No names, if there is no such directory.
  explicit PageFiles(const fs::path& directory) {
    is_certain_ = Common::VisitFileNames(directory, [this](const char* name) {
      names_.insert(names_.end(), name, name + std::strlen(name) + 1);
    });
  }

  // Whether the same would be listed as long as the directory does not change: not if it could not
  // be read, or holds links, whose targets may come and go.
  bool is_certain() const { return is_certain_; }

  bool AtEnd() const { return position_ == names_.size(); }

  // Valid as long as the object.
  std::string_view Next() {
    const std::string_view name(&names_[position_]);
    position_ += name.size() + 1;
    return name;
  }

 private:
  std::vector<char> names_;
  std::size_t position_ = 0;
  bool is_certain_ = false;
};

// The applications that claim a page.
struct PageClaims {
  const std::string& page;
  const std::set<std::string>& apps;
  bool are_known;  // every stroke of the page that is in the table has these claims
};

std::uint64_t ErasuresOf(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  return TableOf(pen).erasures();
}

// Under the guard. Lets the applications claim at most `count` more of the files.
void ClaimSome(RoutingTable& table, const PageClaims& claims, PageFiles& files, std::size_t count) {
  StrokeID id;
  id.page_address = claims.page;
  RoutingTable::PageNames known = table.NamesOf(claims.page);
  for (; count > 0 && !files.AtEnd(); --count) {
    const std::string_view name = files.Next();
    if (claims.are_known && known.Has(name)) continue;
    SetFileName(id, name);
    table.Claim(id, claims.apps);
    known = table.NamesOf(claims.page);
  }
}

// Lets the applications claim the files of a page. True if the list of the files is certain, and
// nobody has erased a stroke since it was made. An older list may name strokes whose files are
// gone, and that could never be delivered: so the page is listed again, the last time under the
// guard, which keeps others from erasing.
bool ClaimFiles(const std::string& pen, const PageClaims& claims) {
  constexpr int kAttempts = 4;
  const fs::path directory = GetStorageRoot() / pen / claims.page;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    const std::uint64_t erasures = ErasuresOf(pen);
    PageFiles files(directory);
    for (;; g_routing_info_guard.LetOneIn()) {
      const Lock lock(g_routing_info_guard);
      RoutingTable& table = TableOf(pen);
      if (table.erasures() != erasures) break;
      ClaimSome(table, claims, files, kClaimsUnderOneLock);
      if (files.AtEnd()) return files.is_certain();
    }
  }
  const Lock lock(g_routing_info_guard);
  PageFiles files(directory);
  ClaimSome(TableOf(pen), claims, files, SIZE_MAX);
  return false;
}

// Whether the pen's last ink was removed, and its directory with it, while a pass was at its pages.
bool IsPenGone(const RoutingTable& table, const std::string& pen) {
  boost::system::error_code error;
  return table.strokes().empty() &&
         fs::symlink_status(GetStorageRoot() / pen, error).type() == fs::file_not_found;
}

void RemoveStrokeFile(const std::string& pen, const StrokeID& id) {
  const std::string name = id.string();
  if (!Common::IsPageAddressValid(id.page_address)) {
    QUILLPOST_LOG_ERROR("Ink Removing failed (%s): invalid Page Address - '%s'.", name.c_str(),
                        id.page_address.c_str());
    return;
  }
  if (!IsStrokeIDValid(id)) {
    QUILLPOST_LOG_ERROR("Ink Removing failed (%s): invalid stroke id.", name.c_str());
    return;
  }
  const std::string relative = pen + "/" + name;
  const fs::path path = GetStorageRoot() / relative;
  boost::system::error_code error;
  if (!fs::exists(fs::status(path, error))) {
    QUILLPOST_LOG_ERROR("Ink Removing failed (%s): file does not exists: 'ROOT/%s'", name.c_str(),
                        relative.c_str());
    return;
  }
  if (!fs::remove(path, error)) {
    QUILLPOST_LOG_ERROR("Ink Removing failed (%s): can't remove file 'ROOT/%s': %s", name.c_str(),
                        relative.c_str(), error.message().c_str());
  }
}

void LogFailedSave(const std::string& pen, const std::string& reason) {
  QUILLPOST_LOG_ERROR("Failed to save Routing Info for Pen '%s': %s.", pen.c_str(), reason.c_str());
}

// Whether all marks of the pen are in its file and survive a power cut.
bool SyncRoutingInfoMarkers(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  RoutingTable& table = TableOf(pen);
  std::string reason;
  if (table.Save(reason) && table.Sync(reason)) return true;
  LogFailedSave(pen, reason);
  return false;
}

}  // namespace

bool Initialize() {
  const fs::path root = GetStorageRoot();
  if (root.empty()) {
    QUILLPOST_LOG_ERROR("Failed to find a home directory of user %lu in the password database.",
                        static_cast<unsigned long>(::getuid()));
    return false;
  }
  QUILLPOST_LOG_INFORMATION("Initializing Storage (ROOT: '%s')...", root.c_str());
  std::set<std::string> pens;
  if (GetKnownPens(pens) && !pens.empty()) {
    const Lock lock(g_routing_info_guard);
    for (const std::string& pen : pens) LoadRoutingInfo(pen);
  }
  QUILLPOST_LOG_INFORMATION("Storage initialized.");
  return true;
}

void Cleanup() {
  const Lock lock(g_routing_info_guard);
  g_routing_info.clear();
  ReleaseNames();
  QUILLPOST_LOG_INFORMATION("Storage deinitialized.");
}

bool SyncRoutingInfo(const std::string& pen, const std::string& page,
                     const std::set<std::string>& apps) {
  const auto shared = std::make_shared<const std::set<std::string>>(apps);
  const Lock lock(g_routing_info_guard);
  return SyncPage(pen, page, shared, {}) && SaveRoutingInfo(pen);
}

bool SyncPage(const std::string& pen, const std::string& page, const Apps& apps,
              const std::set<std::string>& undecided) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsPageAddressValid(page)) return false;
  const fs::path directory = GetStorageRoot() / pen / page;
  const bool has_new_ink = TakeNewInk(directory);
  const FileStamp stamp(directory);
  std::uint64_t erasures;
  bool are_known;
  {
    const Lock lock(g_routing_info_guard);
    RoutingTable& table = TableOf(pen);
    const bool is_decided = undecided.empty();
    if (is_decided && !has_new_ink && table.IsListed(page, stamp, apps)) return true;
    are_known = is_decided && table.IsClaimedBy(page, apps);
    if (!are_known) {
      std::set<std::string> kept = undecided;
      kept.insert(apps->begin(), apps->end());
      table.KeepClaims(page, kept);
    }
    erasures = table.erasures();
  }
  if (apps->empty()) return true;
  bool is_certain;
  try {
    is_certain = ClaimFiles(pen, {page, *apps, are_known});
  } catch (...) {  // no memory
    const Lock lock(g_routing_info_guard);
    TableOf(pen).ForgetListing(page);
    throw;
  }
  const Lock lock(g_routing_info_guard);
  RoutingTable& table = TableOf(pen);
  if (!undecided.empty()) return true;
  const bool is_stamp_true = is_certain && table.erasures() == erasures;
  table.NoteListed(page, is_stamp_true ? stamp : FileStamp(), apps);
  return true;
}

bool SaveRoutingInfoOfPages(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  const auto entry = g_routing_info.find(pen);
  return entry == g_routing_info.end() || IsPenGone(entry->second, pen) || SaveRoutingInfo(pen);
}

bool SaveRoutingInfo(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  const auto entry = g_routing_info.find(pen);
  if (entry == g_routing_info.end()) {
    QUILLPOST_LOG_WARNING("Will not save Routing Info for Pen '%s': nothing to save.", pen.c_str());
    return false;
  }
  std::string reason;
  if (entry->second.Save(reason)) return true;
  LogFailedSave(pen, reason);
  return false;
}

bool GetUndeliveredStrokes(const std::string& pen, const std::string& app,
                           std::set<StrokeID>& out) {
  out.clear();
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return false;
  const Lock lock(g_routing_info_guard);
  out = TableOf(pen).Undelivered(app);
  return true;
}

bool HasUndeliveredStrokes(const std::string& pen, const std::string& app) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return false;
  const Lock lock(g_routing_info_guard);
  return TableOf(pen).CountUndelivered(app) > 0;
}

std::size_t FindUndeliveredStrokes(const std::string& pen, const std::string& app,
                                   std::size_t limit, std::vector<StrokeID>& first) {
  first.clear();
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return 0;
  const Lock lock(g_routing_info_guard);
  const RoutingTable& table = TableOf(pen);
  first = table.FirstUndelivered(app, limit);
  return table.CountUndelivered(app);
}

bool GetProccessedStrokes(const std::string& pen, std::set<StrokeID>& out) {
  out.clear();
  if (!Common::IsPenSerialValid(pen)) return false;
  const Lock lock(g_routing_info_guard);
  out = TableOf(pen).Processed();
  return true;
}

bool SetRoutingInfoMarkers(const std::string& pen, const std::string& app,
                           const std::set<StrokeID>& delivered,
                           const std::set<StrokeID>& processed) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return false;
  const Lock lock(g_routing_info_guard);
  const auto entry = g_routing_info.find(pen);
  if (entry == g_routing_info.end()) return false;
  for (const StrokeID& id : delivered) entry->second.Mark(id, app, processed.count(id) > 0);
  return SaveRoutingInfo(pen);
}

bool RemoveStrokes(const std::string& pen, const std::set<StrokeID>& ids) {
  const auto count = static_cast<unsigned long>(ids.size());
  QUILLPOST_LOG_INFORMATION("Removing %lu Inks from Pen '%s' storage...", count, pen.c_str());
  if (!Common::IsPenSerialValid(pen)) {
    QUILLPOST_LOG_ERROR("Ink Removing failed: invalid Pen Serial - '%s'.", pen.c_str());
    return false;
  }
  const RemovalLock removal(g_removal_guard);
  std::optional<RemovalHold> hold(std::in_place, pen, ids);
  for (const StrokeID& id : ids) RemoveStrokeFile(pen, id);
  // Erased and saved under one lock: between the two, another thread that tidies the pen's emptied
  // directory would take its table away, and the save would find nothing.
  const Lock lock(g_routing_info_guard);
  RoutingTable& table = TableOf(pen);
  for (const StrokeID& id : ids) table.Erase(id);
  hold.reset();  // lets the save release the names
  const bool saved = SaveRoutingInfo(pen);
  QUILLPOST_LOG_INFORMATION("Removed %lu Inks from Pen '%s' storage.", count, pen.c_str());
  return saved;
}

void RemoveProccessedStrokes(const std::string& pen) {
  const RemovalLock removal(g_removal_guard);
  std::set<StrokeID> processed;
  if (!GetProccessedStrokes(pen, processed) || processed.empty()) return;
  // If the marks did not reach the disk, the next start would find strokes without files that are
  // still to be delivered, and would offer the pen's other ink no more. The next clean-up tries
  // again.
  if (SyncRoutingInfoMarkers(pen)) RemoveStrokes(pen, processed);
}

void Cleanup(const std::string& pen) {
  if (!Common::IsPenSerialValid(pen)) return;
  const fs::path directory = GetStorageRoot() / pen;
  // An absent directory is not to be removed: an import may be making it now.
  const fs::file_type type = fs::symlink_status(directory).type();
  if (type == fs::file_not_found) return;
  if (type != fs::directory_file && !fs::is_directory(fs::status(directory))) {
    fs::remove(directory);
    return;
  }
  std::vector<std::string> pages;
  Common::ListDirectoryNames(directory, pages);
  for (const std::string& page : pages) {
    bool has_files = true;
    if (!Common::IsPageAddressValid(page)) continue;
    if (!Common::HasFiles(directory / page, has_files) || has_files) continue;
    if (RemoveDirectoryWithout(directory / page, IsStrokeFile)) {
      QUILLPOST_LOG_INFORMATION("Removed empty Storage dir: 'ROOT/%s/%s'.", pen.c_str(),
                                page.c_str());
    }
  }
  // Under the lock, so that no page that is routed between the look and the removal loses its
  // claims.
  const Lock lock(g_routing_info_guard);
  if (!Common::ListDirectoryNames(directory, pages) || !pages.empty()) return;
  g_routing_info.erase(pen);
  if (RemoveDirectoryWithout(directory, IsDirectory)) {
    ReleaseNames(pen);
    QUILLPOST_LOG_INFORMATION("Removed empty Storage dir: 'ROOT/%s'.", pen.c_str());
  }
}

}  // namespace Storage
}  // namespace TalvoQuillpost
