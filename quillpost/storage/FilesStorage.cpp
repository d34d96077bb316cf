#include "storage/FilesStorage.h"

#include <fcntl.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <vector>

#include "common/Common.h"
#include "common/File.h"
#include "common/Log.h"
#include "storage/ArchiveChange.h"
#include "storage/RoutingInfoFile.h"
#include "storage/RoutingTable.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

// Made when the library is loaded and never freed, so that they outlive every service object and
// every thread of the host: no destructor of a static object can come too early.
auto& g_routing_info = *new std::map<std::string, RoutingTable>;
auto& g_routing_info_guard = *new boost::recursive_mutex;  // guards g_routing_info and its files

typedef boost::lock_guard<boost::recursive_mutex> Lock;

constexpr char kRoutingInfoFile[] = "RoutingInfo.txt";

// Room for some two million strokes of one pen; a larger file is damaged, and not read into memory.
constexpr std::uint64_t kMaxRoutingInfoBytes = 256u << 20;

// Whether an entry of a directory is of the type, links followed. An entry that is gone meanwhile
// counts as well: whatever has its name by now was made by others, who still need it.
bool IsOrWas(fs::file_type type, const fs::path& entry) {
  boost::system::error_code error;
  const fs::file_type found = fs::symlink_status(entry, error).type();
  if (found == type || found == fs::file_not_found) return true;
  return found == fs::symlink_file && fs::status(entry, error).type() == type;
}

bool IsDirectory(const fs::path& path) {
  return IsOrWas(fs::directory_file, path);
}

bool IsVisibleFile(const fs::path& path) {
  return path.filename().native().front() != '.' && IsOrWas(fs::regular_file, path);
}

void LoadRoutingInfo(const std::string& pen) {
  const std::string relative = pen + "/" + kRoutingInfoFile;
  const fs::path path = GetStorageRoot() / relative;
  const fs::file_status status = fs::status(path);
  if (!fs::exists(status)) return;
  if (status.type() != fs::regular_file) {
    QUILLPOST_LOG_ERROR("Routing Info 'ROOT/%s' is not regular file?!?.", relative.c_str());
    return;
  }
  StrokeMap strokes;
  try {
    Common::FileBytes bytes;
    if (Common::ReadRegularFile(path, kMaxRoutingInfoBytes, bytes)) {
      QUILLPOST_LOG_ERROR("Failed to open Routing Info 'ROOT/%s'.", relative.c_str());
      return;
    }
    if (bytes.size_bytes > kMaxRoutingInfoBytes) throw std::length_error("file too large");
    strokes = ReadRoutingInfo(std::string(bytes.data.get(), bytes.size_bytes));
  } catch (const std::exception& error) {
    QUILLPOST_LOG_WARNING("Corrupted Routing Info 'ROOT/%s': %s.", relative.c_str(), error.what());
  }
  if (strokes.empty()) return;
  QUILLPOST_LOG_INFORMATION("Loaded Routing Info 'ROOT/%s' with %lu Ink items.", relative.c_str(),
                            static_cast<unsigned long>(strokes.size()));
  g_routing_info[pen] = RoutingTable(std::move(strokes));
}

StrokeID ToStrokeID(const std::string& page, const fs::path& file) {
  const std::string extension = file.extension().native();
  return {page, file.stem().native(), extension.empty() ? extension : extension.substr(1)};
}

// Drops the claims of other applications on a page, and lets `apps` claim each of its files.
void ClaimPage(RoutingTable& table, const std::string& pen, const std::string& page,
               const std::set<std::string>& apps) {
  table.KeepClaims(page, apps);
  const fs::path directory = GetStorageRoot() / pen / page;
  std::vector<std::string> files;
  if (apps.empty() || !Common::ListFileNames(directory, files)) return;
  // The import that writes a file has it routed when it is whole.
  const std::set<std::string> unfinished = GetUnfinishedFiles(directory);
  for (const std::string& file : files) {
    if (unfinished.count(file) == 0) table.Claim(ToStrokeID(page, file), apps);
  }
}

// Whether the pen's last ink was removed, and its directory with it, while a pass was at its pages.
bool IsPenGone(const RoutingTable& table, const std::string& pen) {
  boost::system::error_code error;
  return table.strokes().empty() &&
         fs::symlink_status(GetStorageRoot() / pen, error).type() == fs::file_not_found;
}

// Whether `bytes` become `archive` by setting marks alone: a "0" that stands by itself turns to
// "1".
bool DifferByMarksOnly(const Common::FileBytes& bytes, const std::string& archive) {
  if (bytes.size_bytes != archive.size()) return false;
  for (std::size_t i = 0; i < archive.size(); ++i) {
    if (bytes.data[i] == archive[i]) continue;
    const bool is_mark = bytes.data[i] == '0' && archive[i] == '1' && archive[i - 1] == ' ' &&
                         (archive[i + 1] == ' ' || archive[i + 1] == '\n');
    if (!is_mark) return false;
  }
  return true;
}

// Marks are set in their places: a process that is killed meanwhile leaves a whole archive with
// some of them. Of any other change it leaves all or nothing.
boost::system::error_code WriteArchive(const fs::path& path, const std::string& archive,
                                       Common::Descriptor& file) {
  constexpr std::size_t kHeadBytes = 32;  // of an archive's header; each has more
  Common::FileBytes old;
  if (Common::ReadRegularFile(path, kMaxRoutingInfoBytes, old) || !old.data) {
    if (const auto error = Common::Truncate(file.get(), 0)) return error;
    return Common::WriteAll(file.get(), archive.data(), archive.size());
  }
  if (!DifferByMarksOnly(old, archive)) {
    return ChangeArchive(file.get(), old.size_bytes, archive.substr(0, kHeadBytes), kHeadBytes,
                         archive.substr(kHeadBytes));
  }
  for (std::size_t i = 0; i < archive.size(); ++i) {
    if (old.data[i] == archive[i]) continue;
    if (const auto error = Common::WriteAt(file.get(), i, &archive[i], 1)) return error;
  }
  return {};
}

// A link in the file's place is replaced by a file: what it leads to is not the store's to write.
boost::system::error_code OpenForWriting(const fs::path& path, Common::Descriptor& file) {
  constexpr int kFlags = O_WRONLY | O_CREAT | O_NOFOLLOW;
  auto error = Common::OpenRegularFile(path, kFlags, file);
  if (error != boost::system::errc::too_many_symbolic_link_levels) return error;
  fs::remove(path, error);
  return error ? error : Common::OpenRegularFile(path, kFlags, file);
}

bool SaveArchive(RoutingTable& table, const fs::path& path, Common::Descriptor& file,
                 std::string& reason) {
  boost::system::error_code error;
  try {
    const std::string archive = WriteRoutingInfo(table.strokes());
    error = WriteArchive(path, archive, file);
    if (!error) table.saved().Adopt(file.get(), archive, table.strokes());
  } catch (const std::exception& failure) {
    reason = failure.what();
    return false;
  }
  if (!error) error = file.Close();
  if (error) table.saved().Forget();
  if (error) reason = error.message();
  return !error;
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
  QUILLPOST_LOG_INFORMATION("Storage deinitialized.");
}

bool SyncRoutingInfo(const std::string& pen, const std::string& page,
                     const std::set<std::string>& apps) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsPageAddressValid(page)) return false;
  const Lock lock(g_routing_info_guard);
  ClaimPage(g_routing_info[pen], pen, page, apps);
  return SaveRoutingInfo(pen);
}

bool SyncRoutingInfoOfMany(const std::string& pen, const std::string& page,
                           const std::set<std::string>& apps, bool& is_waiting) {
  is_waiting = false;
  if (!Common::IsPenSerialValid(pen) || !Common::IsPageAddressValid(page)) return false;
  const Lock lock(g_routing_info_guard);
  RoutingTable& table = g_routing_info[pen];
  ClaimPage(table, pen, page, apps);
  if (IsPenGone(table, pen)) return true;
  if (!table.saved().IsKnown(GetStorageRoot() / pen / kRoutingInfoFile)) {
    return SaveRoutingInfo(pen);
  }
  is_waiting = table.saved().HasChanges(table.strokes());
  return true;
}

bool SaveWaitingRoutingInfo(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  const auto entry = g_routing_info.find(pen);
  const bool is_waiting = entry != g_routing_info.end() && !IsPenGone(entry->second, pen) &&
                          entry->second.saved().HasChanges(entry->second.strokes());
  return !is_waiting || SaveRoutingInfo(pen);
}

bool SaveRoutingInfo(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  const auto entry = g_routing_info.find(pen);
  if (entry == g_routing_info.end()) {
    QUILLPOST_LOG_WARNING("Will not save Routing Info for Pen '%s': nothing to save.", pen.c_str());
    return false;
  }
  RoutingTable& table = entry->second;
  const fs::path directory = GetStorageRoot() / pen;
  if (table.saved().Update(directory / kRoutingInfoFile, table.strokes())) return true;
  if (!Common::PrepareDirectory(directory)) {
    QUILLPOST_LOG_ERROR(
        "Failed to save Routing Info for Pen '%s': can't create directory 'ROOT/%s'.", pen.c_str(),
        pen.c_str());
    return false;
  }
  const fs::path path = directory / kRoutingInfoFile;
  Common::Descriptor file;
  if (OpenForWriting(path, file)) {
    QUILLPOST_LOG_ERROR("Failed to save Routing Info for Pen '%s': can't create file 'ROOT/%s/%s'.",
                        pen.c_str(), pen.c_str(), kRoutingInfoFile);
    return false;
  }
  std::string reason;
  if (!SaveArchive(table, path, file, reason)) {
    QUILLPOST_LOG_ERROR("Failed to save Routing Info for Pen '%s': %s.", pen.c_str(),
                        reason.c_str());
    return false;
  }
  return true;
}

bool GetUndeliveredStrokes(const std::string& pen, const std::string& app,
                           std::set<StrokeID>& out) {
  out.clear();
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return false;
  const Lock lock(g_routing_info_guard);
  out = g_routing_info[pen].Undelivered(app);
  return true;
}

bool HasUndeliveredStrokes(const std::string& pen, const std::string& app) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return false;
  const Lock lock(g_routing_info_guard);
  return g_routing_info[pen].CountUndelivered(app) > 0;
}

std::size_t FindUndeliveredStroke(const std::string& pen, const std::string& app, StrokeID& first) {
  if (!Common::IsPenSerialValid(pen) || !Common::IsAppIDValid(app)) return 0;
  const Lock lock(g_routing_info_guard);
  const RoutingTable& table = g_routing_info[pen];
  const StrokeID* const found = table.FirstUndelivered(app);
  if (found != nullptr) first = *found;
  return table.CountUndelivered(app);
}

bool GetProccessedStrokes(const std::string& pen, std::set<StrokeID>& out) {
  out.clear();
  if (!Common::IsPenSerialValid(pen)) return false;
  const Lock lock(g_routing_info_guard);
  out = g_routing_info[pen].Processed();
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
  // Under the lock the files, too: ink that takes a freed name is routed when the table has
  // forgotten the ink before it, and is not taken for that.
  const Lock lock(g_routing_info_guard);
  for (const StrokeID& id : ids) RemoveStrokeFile(pen, id);
  RoutingTable& table = g_routing_info[pen];
  for (const StrokeID& id : ids) table.Erase(id);
  const bool saved = SaveRoutingInfo(pen);
  QUILLPOST_LOG_INFORMATION("Removed %lu Inks from Pen '%s' storage.", count, pen.c_str());
  return saved;
}

void RemoveProccessedStrokes(const std::string& pen) {
  const Lock lock(g_routing_info_guard);
  std::set<StrokeID> processed;
  if (GetProccessedStrokes(pen, processed) && !processed.empty()) RemoveStrokes(pen, processed);
}

void Cleanup(const std::string& pen) {
  if (!Common::IsPenSerialValid(pen)) return;
  const fs::path directory = GetStorageRoot() / pen;
  // Absent is absent, and not to be removed: an import may make it meanwhile.
  const fs::file_type type = fs::symlink_status(directory).type();
  if (type == fs::file_not_found) return;
  if (type != fs::directory_file && !fs::is_directory(fs::status(directory))) {
    fs::remove(directory);
    return;
  }
  std::vector<std::string> pages;
  Common::ListDirectoryNames(directory, pages);
  for (const std::string& page : pages) {
    std::vector<std::string> files;
    if (!Common::IsPageAddressValid(page)) continue;
    if (!Common::ListFileNames(directory / page, files) || !files.empty()) continue;
    if (RemoveDirectoryWithout(directory / page, IsVisibleFile)) {
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
    QUILLPOST_LOG_INFORMATION("Removed empty Storage dir: 'ROOT/%s'.", pen.c_str());
  }
}

}  // namespace Storage
}  // namespace TalvoQuillpost
