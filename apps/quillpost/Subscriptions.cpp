#include <TalvoOS/Actions.h>
#include <TalvoOS/NewFile.h>
#include <json/writer.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <set>

#include "Commands.h"
#include "Output.h"
#include "SubscriptionCheck.h"
#include "common/Directories.h"
#include "common/File.h"
#include "common/Identifiers.h"
#include "config/FilesConfig.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

boost::system::error_code LastError() {
  return {errno, boost::system::system_category()};
}

Json::Value ToJson(const Config::App& application) {
  Json::Value entry;
  entry["application"] = application.id;
  entry["title"] = application.title;
  entry["path"] = application.path;
  entry["pages"] = Json::Value(Json::arrayValue);
  for (const std::string& page : application.pageAddresses) entry["pages"].append(page);
  return entry;
}

void Print(const Config::App& application) {
  std::string line = application.id + "  \"" + application.title + "\"  " + application.path;
  for (const std::string& page : application.pageAddresses) line += "  " + page;
  PrintLine(Printable(line));
}

// The visible files of the subscription directory that are no subscriptions, with the reason.
std::vector<std::pair<std::string, std::string>> IgnoredFiles() {
  std::vector<std::pair<std::string, std::string>> ignored;
  std::set<fs::path> files;
  if (!Common::ListFiles(Config::GetRoot(), files)) return ignored;
  for (const fs::path& file : files) {
    const std::string reason = CheckSubscription(file).reason;
    if (!reason.empty()) ignored.emplace_back(file.filename().string(), reason);
  }
  return ignored;
}

void PrintList(const std::set<Config::App>& applications, bool json) {
  const auto ignored = IgnoredFiles();
  if (json) {
    Json::Value document;
    document["directory"] = Config::GetRoot();
    document["subscriptions"] = Json::Value(Json::arrayValue);
    document["ignored"] = Json::Value(Json::arrayValue);
    for (const Config::App& application : applications) {
      document["subscriptions"].append(ToJson(application));
    }
    for (const auto& file : ignored) {
      Json::Value entry;
      entry["file"] = file.first;
      entry["reason"] = file.second;
      document["ignored"].append(entry);
    }
    PrintJson(document);
    return;
  }
  for (const Config::App& application : applications) Print(application);
  for (const auto& file : ignored) {
    PrintLine(Printable("ignored: " + file.first + ": " + file.second));
  }
  if (applications.empty() && ignored.empty()) {
    PrintLine("no application has subscribed; subscriptions are files in " + Config::GetRoot());
  }
}

std::string ToText(const AddOptions& options) {
  Json::Value root;
  root[Config::kPath] = options.path;
  root[Config::kTitle] = options.title;
  root[Config::kPageAddresses] = Json::Value(Json::arrayValue);
  for (const std::string& page : options.pages) root[Config::kPageAddresses].append(page);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "  ";
  builder["emitUTF8"] = true;
  return Json::writeString(builder, root) + "\n";
}

// Puts the file there complete or not at all: the service may read the directory at any time, and
// looks at no name that begins with a dot.
boost::system::error_code WriteWhole(const fs::path& file, const std::string& text, bool replace) {
  std::string temporary;
  if (auto error =
          TalvoOS::WriteTemporary(file.parent_path(), text.data(), text.size(), temporary)) {
    return error;
  }
  // Every user's service reads it.
  if (::chmod(temporary.c_str(), 0644) != 0) {
    const auto error = LastError();
    ::unlink(temporary.c_str());
    return error;
  }
  return TalvoOS::GiveName(temporary, file, replace);
}

// What is wrong with the arguments; empty if nothing is.
std::string FindFault(const AddOptions& options) {
  if (!Common::IsAppIDValid(options.application)) {
    return "\"" + options.application +
           "\" is not a valid application ID: only letters, digits, space and . _ : - are allowed, "
           "and no . "
           "in front";
  }
  if (options.path.empty()) return "--path is empty";
  for (const std::string& page : options.pages) {
    if (!Common::IsPageAddressValid(page)) {
      return "\"" + page +
             "\" is not a valid page address: four or five fields of digits and * joined by dots, "
             "or "
             "encrypted-stf2";
    }
  }
  return std::string();
}

void PrintChange(const char* change, const std::string& application, const fs::path& file,
                 bool json) {
  if (json) {
    Json::Value document;
    document["application"] = application;
    document["file"] = file.string();
    document["change"] = change;
    PrintJson(document);
  } else {
    PrintLine(Printable(std::string(change) + " " + application + " (" + file.string() + ")"));
  }
}

// The word as a shell reads it.
std::string Quoted(const std::string& word) {
  const char* const plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:,=+@%";
  if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// The subscriptions are all users' and belong to root.
int ComplainOfChange(const char* change, const fs::path& file,
                     const boost::system::error_code& error,
                     const std::vector<std::string>& command) {
  std::string message =
      std::string("can't ") + change + " '" + file.string() + "': " + error.message();
  const bool is_forbidden = error == boost::system::errc::permission_denied ||
                            error == boost::system::errc::operation_not_permitted;
  if (is_forbidden && ::geteuid() != 0) {
    message += "; subscriptions are for all users of the machine, so this needs root: sudo";
    if (const char* root = ::getenv("QUILLPOST_ROOT")) {
      message += " QUILLPOST_ROOT=" + Quoted(root);
    }
    for (const std::string& word : command) message += " " + Quoted(word);
  }
  Complain(Printable(message));
  return kRefused;
}

}  // namespace

int ListSubscriptions(bool json) {
  try {
    std::set<Config::App> applications;
    if (!Config::GetApplications(applications)) {
      Complain(Config::GetRoot() + " is not a directory");
      return kRefused;
    }
    PrintList(applications, json);
  } catch (const fs::filesystem_error& error) {
    Complain(std::string("the subscriptions can't be read: ") + error.what());
    return kRefused;
  }
  return kDone;
}

int CheckSubscriptions(const std::vector<std::string>& files, bool json) {
  int status = kDone;
  Json::Value document(Json::arrayValue);
  for (const std::string& file : files) {
    const SubscriptionCheck check = CheckSubscription(file);
    if (!check.reason.empty()) status = kRefused;
    Json::Value entry;
    entry["file"] = file;
    entry["valid"] = check.reason.empty();
    if (!check.reason.empty()) entry["reason"] = check.reason;
    entry["notes"] = Json::Value(Json::arrayValue);
    for (const std::string& note : check.notes) entry["notes"].append(note);
    document.append(entry);
    if (json) continue;
    PrintLine(Printable(file + ": " +
                        (check.reason.empty() ? "a valid subscription"
                                              : "ignored by the service: " + check.reason)));
    for (const std::string& note : check.notes) PrintLine(Printable(file + ": note: " + note));
  }
  if (json) PrintJson(document);
  return status;
}

int AddSubscription(const AddOptions& options, const std::vector<std::string>& command) {
  const std::string fault = FindFault(options);
  if (!fault.empty()) {
    Complain(Printable(fault));
    return kUsage;
  }
  const std::string obstacle = TalvoOS::Actions::FindObstacle(options.path);
  if (!obstacle.empty() && !options.force) {
    Complain(Printable("the service could not launch the application: " + obstacle +
                       "; --force subscribes it all the same"));
    return kRefused;
  }
  if (options.path.front() != '/') {
    Complain(Printable("note: \"" + options.path +
                       "\" is relative, and starts at the service's working directory"));
  }
  const fs::path directory = Config::GetRoot();
  const fs::path file = directory / options.application;
  boost::system::error_code error;
  fs::create_directories(directory, error);
  if (!error) error = WriteWhole(file, ToText(options), options.replace);
  if (error == boost::system::errc::file_exists) {
    Complain("the application '" + options.application +
             "' has subscribed already; --replace makes it anew");
    return kRefused;
  }
  if (error) return ComplainOfChange("write", file, error, command);
  PrintChange("added", options.application, file, options.json);
  return kDone;
}

int RemoveSubscription(const std::string& application, bool json,
                       const std::vector<std::string>& command) {
  if (!Common::IsAppIDValid(application)) {
    Complain("\"" + Printable(application) + "\" is not a valid application ID");
    return kUsage;
  }
  const fs::path file = fs::path(Config::GetRoot()) / application;
  if (::unlink(file.c_str()) != 0) {
    const auto error = LastError();
    if (error != boost::system::errc::no_such_file_or_directory) {
      return ComplainOfChange("remove", file, error, command);
    }
    Complain("the application '" + application + "' has no subscription");
    return kRefused;
  }
  PrintChange("removed", application, file, json);
  return kDone;
}
