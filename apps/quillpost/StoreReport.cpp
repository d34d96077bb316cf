#include "StoreReport.h"

#include <TalvoEncryption/Encryption.h>
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <exception>
#include <set>
#include <string_view>
#include <system_error>

#include "common/Common.h"
#include "common/File.h"
#include "common/Stf2Handles.h"
#include "config/FilesConfig.h"
#include "storage/RoutingInfoFile.h"
#include "storage/StrokeFiles.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

constexpr int kAttempts = 5;  // at a file that a running service may be writing
constexpr std::uint64_t kMaxStrokeBytes = 100 << 20;  // no import is larger

// Whether the bytes begin as ink and are not ink: a disk that was full when they were imported has
// cut them short. Those of sealed ink are checked as far as its envelope goes.
bool AreCutShort(const char* data, std::size_t size) {
  const auto size_bytes = static_cast<std::uint32_t>(size);
  Common::Stf2InkData ink;
  const int status = Stf2InkDataInitialize(data, size_bytes, ink.out());
  if (status == STF2_ENCRYPTED) {
    std::uint8_t* pen = nullptr;
    std::uint8_t* recipient = nullptr;
    std::uint8_t algorithm = 0;
    const int result = GetEncryptedDataInfo(data, size_bytes, &pen, &recipient, &algorithm);
    if (pen != nullptr) FreeBuffer(&pen);
    if (recipient != nullptr) FreeBuffer(&recipient);
    return result != TALVO_ENCRYPTION_SUCCESS;
  }
  constexpr std::string_view kIdentifier = "STF2";
  constexpr std::size_t kIdentifierAt = 4;
  return status == STF2_MALFORMED && size >= kIdentifierAt + kIdentifier.size() &&
         std::string_view(data + kIdentifierAt, kIdentifier.size()) == kIdentifier;
}

// What the file is instead of ink; null where it may be ink, or is gone.
const char* DamageOf(const fs::path& file) {
  Common::FileBytes bytes;
  if (Common::ReadRegularFile(file, kMaxStrokeBytes, bytes)) return nullptr;
  if (bytes.size_bytes == 0) return "empty";
  return bytes.data && AreCutShort(bytes.data.get(), bytes.size_bytes) ? "cut short" : nullptr;
}

// Whether somebody has the file open for writing: the system grants a lease for reading only while
// nobody has. False where the file system knows no leases.
bool IsBeingWritten(const fs::path& file) {
  Common::Descriptor descriptor;
  if (Common::OpenRegularFile(file, O_RDONLY, descriptor)) return false;
  // Were the lease to be broken, it is told with a signal that ends nothing.
  ::fcntl(descriptor.get(), F_SETSIG, SIGURG);
  return ::fcntl(descriptor.get(), F_SETLEASE, F_RDLCK) != 0 && errno == EAGAIN;
}

// As DamageOf, but none of a file that an import is still writing. Each is written once: what is
// found after nobody had it open any more stays as it is.
const char* LastingDamageOf(const fs::path& file) {
  return DamageOf(file) == nullptr || IsBeingWritten(file) ? nullptr : DamageOf(file);
}

class StoreReader {
 public:
  StoreReport Read() {
    ReadSubscriptions();
    root_ = Storage::GetStorageRoot();
    report_.root = root_.string();
    if (root_.empty()) report_.problems.push_back("this user has no home directory");
    std::set<std::string> pens;
    boost::system::error_code error;
    if (Storage::GetKnownPens(pens)) {
      for (const std::string& pen : pens) ReadPen(pen);
    } else if (fs::exists(fs::symlink_status(root_, error))) {
      report_.problems.push_back(report_.root + " is no directory");
    }
    return std::move(report_);
  }

 private:
  typedef std::set<std::string> Names;  // of strokes, in their text form

  void ReadSubscriptions() {
    std::set<Config::App> applications;
    if (!Config::GetApplications(applications)) {
      report_.problems.push_back(Config::GetRoot() + " is no directory");
    }
    for (const Config::App& application : applications) {
      StoreReport::Application& entry = report_.applications[application.id];
      entry.subscribed = true;
      entry.title = application.title;
    }
  }

  void ReadPen(const std::string& pen) {
    try {
      Names files;
      ReadPages(pen, files);
      ReadClaims(pen, files);
    } catch (const fs::filesystem_error& error) {
      report_.problems.push_back(pen + ": " + error.what());
    }
  }

  void ReadPages(const std::string& pen, Names& files) {
    std::set<std::string> pages;
    Storage::GetPageAddresses(pen, pages);
    auto& page_reports = report_.pens[pen];
    for (const std::string& page : pages) {
      std::set<fs::path> strokes;
      if (!Common::ListFiles(root_ / pen / page, strokes)) continue;  // tidied away meanwhile
      for (const fs::path& stroke : strokes) {
        const std::string name = page + "/" + stroke.filename().string();
        files.insert(name);
        ReadStroke(pen + "/" + name, stroke, page_reports[page]);
      }
    }
  }

  void ReadStroke(const std::string& name, const fs::path& file, StoreReport::Page& page) {
    boost::system::error_code error;
    const std::uint64_t bytes = fs::file_size(file, error);
    if (error) return;  // delivered meanwhile
    ++page.strokes;
    page.bytes += bytes;
    if (::faccessat(AT_FDCWD, file.c_str(), R_OK, AT_EACCESS) != 0 && errno != ENOENT) {
      report_.problems.push_back(
          name + ": the file can't be read: " + std::generic_category().message(errno));
    } else if (const char* damage = LastingDamageOf(file)) {
      report_.problems.push_back(name + ": the file is " + damage);
    }
  }

  void ReadClaims(const std::string& pen, const Names& files) {
    Storage::StrokeMap strokes;
    std::string reason;
    if (!ReadRoutingInfo(pen, strokes, reason)) {
      report_.problems.push_back(pen + "/RoutingInfo.txt: " + reason);
      report_.unclaimed += files.size();
      return;
    }
    Names claimed;
    for (const auto& stroke : strokes) {
      const std::string name = stroke.first.string();
      if (!stroke.second.empty()) claimed.insert(name);
      CountMarks(stroke.second);
      boost::system::error_code error;
      if (files.count(name) == 0 && !fs::exists(fs::status(root_ / pen / name, error))) {
        report_.problems.push_back(pen + "/" + name + ": the file has vanished");
      }
    }
    for (const std::string& name : files) report_.unclaimed += claimed.count(name) == 0 ? 1 : 0;
  }

  void CountMarks(const Storage::ClaimList& claims) {
    for (const auto& claim : claims) {
      StoreReport::Application& application = report_.applications[claim.first];
      ++application.claimed;
      application.delivered += claim.second.delivered ? 1 : 0;
      application.processed += claim.second.processed ? 1 : 0;
    }
  }

  // True also where there is no such file. The service writes the file in place, so that one
  // reading may catch half of it.
  bool ReadRoutingInfo(const std::string& pen, Storage::StrokeMap& strokes, std::string& reason) {
    const fs::path path = root_ / pen / "RoutingInfo.txt";
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
      Common::FileBytes bytes;
      const auto error = Common::ReadRegularFile(path, UINT64_MAX, bytes);
      if (error == boost::system::errc::no_such_file_or_directory) return true;
      if (error) {
        reason = "the file can't be read: " + error.message();
        return false;
      }
      try {
        strokes = Storage::ReadRoutingInfo(std::string(bytes.data.get(), bytes.size_bytes));
        return true;
      } catch (const std::exception& corruption) {
        reason = std::string("the file is corrupted: ") + corruption.what();
      }
    }
    return false;
  }

  fs::path root_;
  StoreReport report_;
};

void Add(const StoreReport::Page& page, StoreReport::Page& sum) {
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
