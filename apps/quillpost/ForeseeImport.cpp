#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <set>

#include "Commands.h"
#include "InkFileCheck.h"
#include "Output.h"
#include "config/FilesConfig.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

InkFileCheck CheckConverted(const ImportOptions& options, const fs::path& file) {
  if (!options.convert || !InkConverter::IsConvertible(file)) return CheckInkFile(file);
  ConvertedInk ink;
  InkFileCheck check;
  if (options.converter.Convert(file, ink, check.fault)) check = CheckInkFile(ink.path());
  return check;
}

// The applications that would get the ink of a page.
std::vector<std::string> ApplicationsOf(const std::string& page) {
  std::set<Config::App> applications;
  std::vector<std::string> ids;
  Config::FindApplications(page, applications);
  for (const Config::App& application : applications) ids.push_back(application.id);
  return ids;
}

Json::Value PagesToJson(const InkFileCheck& check) {
  Json::Value pages(Json::arrayValue);
  for (const auto& page : check.pages) {
    Json::Value entry;
    entry["page"] = page.first;
    if (!check.is_sealed) entry["strokes"] = Json::UInt64(page.second);
    entry["applications"] = Json::Value(Json::arrayValue);
    for (const std::string& id : ApplicationsOf(page.first)) entry["applications"].append(id);
    pages.append(entry);
  }
  return pages;
}

void PrintPages(const InkFileCheck& check) {
  for (const auto& page : check.pages) {
    std::string line = "  page " + page.first;
    line += check.is_sealed ? ": sealed ink" : ": " + FormatCount(page.second, "stroke");
    std::string names;
    for (const std::string& id : ApplicationsOf(page.first)) {
      names += (names.empty() ? "" : ", ") + id;
    }
    PrintLine(Printable(line + ", for " + (names.empty() ? "no application" : names)));
  }
}

Json::Value ToJson(const std::string& file, const InkFileCheck& check) {
  Json::Value entry;
  entry["file"] = file;
  entry["path"] = fs::absolute(file).string();
  entry["status"] = check.fault.empty() ? "Valid" : "Invalid";
  if (!check.fault.empty()) entry["reason"] = check.fault;
  if (check.pen.empty()) return entry;
  entry["pen"] = check.pen;
  entry["sealed"] = check.is_sealed;
  entry["pages"] = PagesToJson(check);
  return entry;
}

}  // namespace

int ForeseeImport(const ImportOptions& options) {
  Json::Value files(Json::arrayValue);
  int status = kDone;
  try {
    for (const std::string& file : options.files) {
      const InkFileCheck check = CheckConverted(options, file);
      if (!check.fault.empty()) {
        status = kRefused;
        Complain(Printable(file + ": " + check.fault));
      }
      if (options.json) {
        files.append(ToJson(file, check));
        continue;
      }
      const std::string pen = check.pen.empty() ? "" : ": pen " + check.pen;
      PrintLine(Printable((check.fault.empty() ? "Valid " : "Invalid ") + file + pen));
      PrintPages(check);
    }
  } catch (const fs::filesystem_error& error) {
    Complain(std::string("the subscriptions can't be read: ") + error.what());
    return kRefused;
  }
  if (options.json) {
    Json::Value document;
    document["files"] = files;
    PrintJson(document);
  }
  return status;
}
