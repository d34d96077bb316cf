#include "StoreReport.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoOS/Actions.h>
#include <TalvoQuillpost/Limits.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <set>
#include <system_error>

#include "InkFileCheck.h"
#include "RoutingInfoOf.h"
#include "common/Directories.h"
#include "common/File.h"
#include "common/Identifiers.h"
#include "config/FilesConfig.h"
#include "storage/StrokeFiles.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

// What is in the file; `damage` is what the file is instead of ink, null if it may be ink, or is
// gone.
InkFileCheck Look(const fs::path& file, const char*& damage) {
  Common::FileBytes bytes;
  damage = nullptr;
  if (Common::ReadRegularFile(file, TalvoQuillpost::kMaxImportBytes, bytes)) return InkFileCheck();
  const InkFileCheck check = CheckInk(bytes.data.get(), bytes.size_bytes);
  if (bytes.size_bytes == 0) damage = "empty";
  // A disk that was full when it was imported has cut it short.
  if (check.is_damaged) damage = "cut short";
  return check;
}

// As Look, but no damage of a file that an import is still writing. Each is written once: what is
// found after nobody had it open any more stays as it is.
InkFileCheck LookAtWhole(const fs::path& file, const char*& damage) {
  InkFileCheck check = Look(file, damage);
  if (damage == nullptr) return check;
  if (IsBeingWritten(file)) {
    damage = nullptr;
    return check;
  }
  return Look(file, damage);
}

// Whether the service removes the stroke, or has: every claiming application has received it and
// one has accepted it.
bool IsFinished(const Storage::ClaimList& claims) {
  bool is_processed = false;
  for (const auto& claim : claims) {
    if (!claim.second.delivered) return false;
    is_processed = is_processed || claim.second.processed;
  }
  return is_processed;
}

class StoreReader {
 public:
  StoreReport Read() {
    ReadSubscriptions();
    root_ = Storage::GetStorageRoot();
    report_.root = root_.string();
    if (root_.empty()) report_.problems.push_back("this user has no home directory");
    std::vector<std::string> pens;
    boost::system::error_code error;
    if (!root_.empty() && Common::ListDirectoryNames(root_, pens)) {
      for (const std::string& pen : pens) ReadPen(pen);
    } else if (fs::exists(fs::symlink_status(root_, error))) {
      report_.problems.push_back(report_.root + " is not a directory");
    }
    return std::move(report_);
  }

 private:
  typedef std::set<std::string> Names;  // of strokes, in their text form

  void ReadSubscriptions() {
    std::set<Config::App> applications;
    if (!Config::GetApplications(applications)) {
      report_.problems.push_back(Config::GetRoot() + " is not a directory");
    }
    for (const Config::App& application : applications) {
      StoreReport::Application& entry = report_.applications[application.id];
      entry.subscribed = true;
      entry.title = application.title;
      entry.obstacle = TalvoOS::Actions::FindObstacle(application.path);
      ranges_.insert(application.pageAddresses.begin(), application.pageAddresses.end());
    }
  }

  void ReadPen(const std::string& pen) {
    if (!Common::IsPenSerialValid(pen)) {
      report_.problems.push_back("\"" + pen + "\" is not a pen's directory");
      return;
    }
    try {
      Names files;
      ReadPages(pen, files);
      ReadClaims(pen, files);
    } catch (const fs::filesystem_error& error) {
      report_.problems.push_back(pen + ": " + error.what());
    }
    TalvoCppUtils::PenId serial(0);
    boost::system::error_code error;
    if (report_.pens.count(pen) == 0 && !TalvoCppUtils::PenId::Parse(pen, serial) &&
        fs::exists(fs::symlink_status(root_ / pen, error))) {
      report_.problems.push_back("\"" + pen + "\" is not a pen's directory");
    }
  }

  // A pen is counted once there is ink of it, or a table: its directory alone is about to be filled
  // or removed.
  void ReadPages(const std::string& pen, Names& files) {
    std::vector<std::string> pages;
    Common::ListDirectoryNames(root_ / pen, pages);
    for (const std::string& page : pages) {
      if (!Common::IsPageAddressValid(page)) {
        report_.problems.push_back(pen + "/" + page + " is not a page's directory");
        continue;
      }
      std::set<fs::path> strokes;
      if (!Common::ListFiles(root_ / pen / page, strokes)) continue;  // tidied away in the meantime
      for (const fs::path& stroke : strokes) {
        const std::string name = page + "/" + stroke.filename().string();
        if (ReadStroke(pen + "/" + name, stroke, report_.pens[pen][page])) files.insert(name);
      }
    }
  }

  // False if the file is gone: its ink has been delivered since.
  bool ReadStroke(const std::string& name, const fs::path& file, StoreReport::Page& page) {
    boost::system::error_code error;
    const std::uint64_t bytes = fs::file_size(file, error);
    if (error) return false;
    ++page.files;
    page.bytes += bytes;
    if (::faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) != 0 && errno != ENOENT) {
      report_.problems.push_back(
          name + ": the file can't be read: " + std::generic_category().message(errno));
      return true;
    }
    const char* damage = nullptr;
    page.strokes += LookAtWhole(file, damage).strokes;
    if (damage != nullptr) report_.problems.push_back(name + ": the file is " + damage);
    return true;
  }

  void ReadClaims(const std::string& pen, const Names& files) {
    Storage::StrokeMap strokes;
    std::string reason;
    Names claimed;
    if (ReadRoutingInfoOf(pen, strokes, reason)) {
      for (const auto& stroke : strokes) {
        if (stroke.second.empty()) continue;
        claimed.insert(stroke.first.string());
        CountMarks(stroke.second);
      }
      NameMissingFiles(pen, strokes, files);
    } else {
      report_.problems.push_back(pen + "/RoutingInfo.txt: " + reason);
    }
    if (!strokes.empty() || !reason.empty()) report_.pens[pen];
    for (const std::string& name : files) {
      if (claimed.count(name) > 0) continue;
      ++(IsWanted(name.substr(0, name.find('/'))) ? report_.unrouted : report_.unclaimed);
    }
  }

  bool IsWanted(const std::string& page) const {
    return std::any_of(ranges_.begin(), ranges_.end(), [&page](const std::string& range) {
      return Common::IsPageAddressInRange(page, range);
    });
  }

  // Names the strokes of the table that have no file, and are not being removed. A running service
  // saves a stroke's last mark, then removes its file, then saves the table without it. So after a
  // file was seen missing the table is read again: if its stroke is still there, and still waits
  // for somebody, nobody has removed the file in order.
  void NameMissingFiles(const std::string& pen, const Storage::StrokeMap& strokes,
                        const Names& files) {
    std::map<Storage::StrokeID, const char*> missing;
    for (const auto& stroke : strokes) {
      if (files.count(stroke.first.string()) > 0 || IsFinished(stroke.second)) continue;
      boost::system::error_code error;
      const fs::file_status status = fs::status(root_ / pen / stroke.first.string(), error);
      if (fs::is_regular_file(status)) continue;  // imported in the meantime
      missing[stroke.first] = !fs::exists(status)        ? "the file has vanished"
                              : fs::is_directory(status) ? "a directory is in the place of the file"
                                                         : "the file is not a regular file";
    }
    Storage::StrokeMap now;
    std::string reason;
    if (missing.empty() || !ReadRoutingInfoOf(pen, now, reason)) return;
    for (const auto& [id, fault] : missing) {
      const auto stroke = now.find(id);
      if (stroke == now.end() || IsFinished(stroke->second)) continue;
      report_.problems.push_back(pen + "/" + id.string() + ": " + fault);
    }
  }

  void CountMarks(const Storage::ClaimList& claims) {
    for (const auto& claim : claims) {
      StoreReport::Application& application = report_.applications[claim.first];
      ++application.claimed;
      application.delivered += claim.second.delivered ? 1 : 0;
      application.processed += claim.second.processed ? 1 : 0;
    }
  }

  fs::path root_;
  std::set<std::string> ranges_;  // of all applications
  StoreReport report_;
};

void Add(const StoreReport::Page& page, StoreReport::Page& sum) {
  sum.files += page.files;
  sum.strokes += page.strokes;
  sum.bytes += page.bytes;
}

}  // namespace

StoreReport::Page StoreReport::Of(const std::string& pen) const {
  Page sum;
  const auto pages = pens.find(pen);
  if (pages == pens.end()) return sum;
  for (const auto& page : pages->second) Add(page.second, sum);
  return sum;
}

std::uint64_t StoreReport::PageCount() const {
  std::uint64_t count = 0;
  for (const auto& pen : pens) count += pen.second.size();
  return count;
}

StoreReport::Page StoreReport::Total() const {
  Page sum;
  for (const auto& pen : pens) Add(Of(pen.first), sum);
  return sum;
}

StoreReport ReadStore() {
  return StoreReader().Read();
}
