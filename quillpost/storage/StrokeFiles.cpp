#include "storage/StrokeFiles.h"

#include <TalvoOS/Root.h>
#include <fcntl.h>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <cstdio>

#include "common/Directories.h"
#include "common/File.h"
#include "common/Identifiers.h"
#include "common/Log.h"
#include "common/ScratchFile.h"
#include "storage/StrokeCopy.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

typedef bool (*IsNameValid)(const std::string&);

bool ListValidNames(const fs::path& directory, IsNameValid is_valid, const char* what,
                    std::set<std::string>& names) {
  names.clear();
  std::vector<std::string> directories;
  if (!Common::ListDirectoryNames(directory, directories)) return false;
  for (const std::string& name : directories) {
    if (is_valid(name)) {
      names.insert(names.end(), name);
    } else {
      QUILLPOST_LOG_WARNING("Got unexpected directory while looking for %s: '%s'.", what,
                            (directory / name).c_str());
    }
  }
  return true;
}

bool IsExportValid(const std::string& pen, const StrokeID& id) {
  if (!Common::IsPenSerialValid(pen)) {
    QUILLPOST_LOG_ERROR("Ink Export failed: invalid Pen Serial - '%s'.", pen.c_str());
  } else if (!Common::IsPageAddressValid(id.page_address)) {
    QUILLPOST_LOG_ERROR("Ink Export failed: invalid Page Address - '%s'.", id.page_address.c_str());
  } else if (!IsStrokeIDValid(id)) {
    QUILLPOST_LOG_ERROR("Ink Export failed: invalid stroke id.");
  } else {
    return true;
  }
  return false;
}

void LogExported(const std::string& relative, const fs::path& out) {
  QUILLPOST_LOG_INFORMATION("Exported Ink 'ROOT/%s' -> '%s'", relative.c_str(), out.c_str());
}

}  // namespace

fs::path GetStorageRoot() {
  fs::path home;
  if (!TalvoOS::GetHomeDirectory(home)) return fs::path();
  return home / "Library/Application Support/Talvo/Quillpost/Storage";
}

bool GetKnownPens(std::set<std::string>& pens) {
  return ListValidNames(GetStorageRoot(), Common::IsPenSerialValid, "Pen Serials", pens);
}

bool GetPageAddresses(const std::string& pen, std::set<std::string>& pages) {
  pages.clear();
  if (!Common::IsPenSerialValid(pen)) return false;
  return ListValidNames(GetStorageRoot() / pen, Common::IsPageAddressValid, "Page Address", pages);
}

fs::path NumberedPath(const fs::path& path, unsigned int number) {
  if (number == 0) return path;
  char suffix[16];
  std::snprintf(suffix, sizeof suffix, "-%u", number);
  fs::path numbered = path;
  numbered.replace_extension();
  numbered += suffix;
  numbered += path.extension();
  return numbered;
}

void MakePathUnique(fs::path& path) {
  const fs::path start = path;
  for (unsigned int number = 1; fs::exists(fs::status(path)); ++number) {
    path = NumberedPath(start, number);
  }
}

bool ExportStroke(const std::string& pen, const StrokeID& id, fs::path& out,
                  const std::function<bool()>& may_go_on, StrokeCopy* ready) {
  QUILLPOST_LOG_INFORMATION("Exporting Ink '%s' from Pen '%s' storage...", id.string().c_str(),
                            pen.c_str());
  out.clear();
  if (!IsExportValid(pen, id)) return false;
  const std::string relative = pen + "/" + id.string();
  if (ready != nullptr && ready->Take(pen, id, out)) {
    LogExported(relative, out);
    return true;
  }
  const fs::path source = GetStorageRoot() / relative;
  TalvoCppUtils::Descriptor stroke;
  auto error = Common::OpenRegularFile(source, O_RDONLY, stroke);
  if (error && !fs::exists(fs::status(source))) {
    QUILLPOST_LOG_ERROR("Ink Export failed: file 'ROOT/%s' does not exists.", relative.c_str());
    return false;
  }
  TalvoCppUtils::Descriptor copy;
  if (!Common::CreateTempSTF2File(out, copy)) {
    QUILLPOST_LOG_ERROR("Ink Export failed: failed to create temporary file.");
    return false;
  }
  if (!error) error = Common::CopyFile(stroke.get(), copy.get(), may_go_on);
  if (!error) error = Common::Close(copy);
  if (error == boost::system::errc::operation_canceled) {
    fs::remove(out);
    out.clear();
    QUILLPOST_LOG_TRACE("Ink Export of 'ROOT/%s' was canceled.", relative.c_str());
    return false;
  }
  if (error) {
    fs::remove(out);
    QUILLPOST_LOG_ERROR(
        "Ink Export failed: failed to copy 'ROOT/%s' to '%s' due to error #%s (%d).",
        relative.c_str(), out.c_str(), error.message().c_str(), error.value());
    out.clear();
    return false;
  }
  LogExported(relative, out);
  return true;
}

bool RemoveDirectoryWithout(const fs::path& directory,
                            const std::function<bool(const fs::path&)>& keep) {
  constexpr auto kGone = boost::system::errc::no_such_file_or_directory;
  boost::system::error_code error;
  std::vector<fs::path> entries;
  if (!fs::is_symlink(fs::symlink_status(directory))) {
    fs::directory_iterator content(directory, error);
    if (error == kGone) return false;
    if (error) throw fs::filesystem_error("can't list directory", directory, error);
    for (const fs::directory_entry& entry : content) {
      if (!keep(entry.path())) entries.push_back(entry.path());
    }
  }
  for (const fs::path& entry : entries) {
    fs::remove_all(entry, error);
    if (error && error != kGone) {
      throw fs::filesystem_error("can't remove directory's entry", entry, error);
    }
  }
  const bool removed = fs::remove(directory, error);
  if (error && error != boost::system::errc::directory_not_empty) {
    throw fs::filesystem_error("can't remove directory", directory, error);
  }
  return removed;
}

}  // namespace Storage
}  // namespace TalvoQuillpost
