#include "storage/StrokeFiles.h"

#include <fcntl.h>

#include <TalvoOS/Root.h>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdio>

#include "common/Common.h"
#include "common/File.h"
#include "common/Log.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Storage {

namespace {

// How often an import makes its directory and file again when others take them away meanwhile.
constexpr int kImportAttempts = 100;

// Made when the library is loaded and never freed, like the table of routing info.
auto& g_unfinished = *new std::multiset<fs::path>;
auto& g_unfinished_guard = *new boost::mutex;  // guards g_unfinished

typedef boost::lock_guard<boost::mutex> Lock;

// Says of a stroke file, from before it is made, that it is being written.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(const fs::path& path) {
    const Lock lock(g_unfinished_guard);
    entry_ = g_unfinished.insert(path);
  }
  ~UnfinishedFile() {
    const Lock lock(g_unfinished_guard);
    g_unfinished.erase(entry_);
  }
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

 private:
  std::multiset<fs::path>::iterator entry_;
};

bool IsUnfinished(const fs::path& path) {
  const Lock lock(g_unfinished_guard);
  return g_unfinished.count(path) > 0;
}

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

bool IsImportValid(const std::string& pen, const StrokeID& id, const std::vector<char>& data) {
  if (!Common::IsPenSerialValid(pen)) {
    QUILLPOST_LOG_ERROR("Ink Import failed: invalid Pen Serial - '%s'.", pen.c_str());
  } else if (!Common::IsPageAddressValid(id.page_address)) {
    QUILLPOST_LOG_ERROR("Ink Import failed: invalid Page Address - '%s'.", id.page_address.c_str());
  } else if (id.name.empty()) {
    QUILLPOST_LOG_ERROR("Ink Import failed: empty name.");
  } else if (!IsStrokeIDValid(id)) {
    QUILLPOST_LOG_ERROR("Ink Import failed: invalid stroke id.");
  } else if (data.empty()) {
    QUILLPOST_LOG_ERROR("Ink Import failed: no data.");
  } else {
    return true;
  }
  return false;
}

// Gives the file name a number, 1 and up, as long as it is taken.
void NumberWhile(fs::path& path, bool (*is_taken)(const fs::path&)) {
  const fs::path start = path;
  for (unsigned int number = 1; is_taken(path); ++number) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, "-%u", number);
    path = start;
    path.replace_extension();
    path += suffix;
    path += start.extension();
  }
}

// Makes the page directory and in it a new file of these bytes with a free name. The tidying of the
// store may remove the directory before the file is in it: then both are made again.
bool WriteStrokeFile(const fs::path& directory, const std::string& file_name,
                     const std::vector<char>& data, fs::path& path) {
  for (int attempt = 0; attempt < kImportAttempts; ++attempt) {
    if (!Common::PrepareDirectory(directory)) {
      QUILLPOST_LOG_ERROR("Ink Import failed: can't create directory '%s'.", directory.c_str());
      return false;
    }
    path = directory / file_name;
    // A link has its name to itself, also one that leads nowhere: ink never goes through it.
    NumberWhile(path, [](const fs::path& name) { return fs::exists(fs::symlink_status(name)); });
    const UnfinishedFile unfinished(path);
    Common::Descriptor file;
    const auto error = Common::OpenRegularFile(path, O_WRONLY | O_CREAT | O_EXCL, file);
    if (!error) {
      // The result says that the file was made: a disk that fills up now shows as a short file.
      Common::WriteAll(file.get(), data.data(), data.size());
      return true;
    }
    const bool changed_meanwhile = error == boost::system::errc::no_such_file_or_directory ||
                                   error == boost::system::errc::file_exists;
    if (!changed_meanwhile) break;
  }
  QUILLPOST_LOG_ERROR("Ink Import failed: can't create file '%s'", path.c_str());
  return false;
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

void MakePathUnique(fs::path& path) {
  NumberWhile(path, [](const fs::path& name) { return fs::exists(fs::status(name)); });
}

bool ImportStroke(const std::string& pen, const StrokeID& id, const std::vector<char>& data) {
  QUILLPOST_LOG_INFORMATION("Importing %lu bytes of Ink from Pen '%s' and Page Address '%s'...",
                            static_cast<unsigned long>(data.size()), pen.c_str(),
                            id.page_address.c_str());
  if (!IsImportValid(pen, id, data)) return false;
  fs::path path;
  const fs::path directory = GetStorageRoot() / pen / id.page_address;
  if (!WriteStrokeFile(directory, StrokeIDToFileName(id), data, path)) return false;
  QUILLPOST_LOG_INFORMATION("Ink was imported to: '%s'", path.c_str());
  return true;
}

std::set<std::string> GetUnfinishedFiles(const fs::path& directory) {
  const Lock lock(g_unfinished_guard);
  std::set<std::string> names;
  for (const fs::path& path : g_unfinished) {
    if (path.parent_path() == directory) names.insert(path.filename().native());
  }
  return names;
}

bool ExportStroke(const std::string& pen, const StrokeID& id, fs::path& out,
                  const std::function<bool()>& may_go_on) {
  QUILLPOST_LOG_INFORMATION("Exporting Ink '%s' from Pen '%s' storage...", id.string().c_str(),
                            pen.c_str());
  out.clear();
  if (!IsExportValid(pen, id)) return false;
  const std::string relative = pen + "/" + id.string();
  const fs::path source = GetStorageRoot() / relative;
  if (!fs::exists(fs::status(source)) || IsUnfinished(source)) {
    QUILLPOST_LOG_ERROR("Ink Export failed: file 'ROOT/%s' does not exists.", relative.c_str());
    return false;
  }
  Common::Descriptor copy;
  if (!Common::CreateTempSTF2File(out, copy)) {
    QUILLPOST_LOG_ERROR("Ink Export failed: failed to create temporary file.");
    return false;
  }
  auto error = Common::CopyFile(source, copy.get(), may_go_on);
  if (!error) error = copy.Close();
  if (error) {
    fs::remove(out);
    QUILLPOST_LOG_ERROR(
        "Ink Export failed: failed to copy 'ROOT/%s' to '%s' due to error #%s (%d).",
        relative.c_str(), out.c_str(), error.message().c_str(), error.value());
    out.clear();
    return false;
  }
  QUILLPOST_LOG_INFORMATION("Exported Ink 'ROOT/%s' -> '%s'", relative.c_str(), out.c_str());
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
