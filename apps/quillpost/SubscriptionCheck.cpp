#include "SubscriptionCheck.h"

#include <TalvoOS/Actions.h>
#include <json/reader.h>
#include <json/value.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <system_error>

#include "common/File.h"
#include "common/Identifiers.h"
#include "config/FilesConfig.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

std::string Quoted(const char* member) {
  return "\"" + std::string(member) + "\"";
}

std::string CheckName(const std::string& name) {
  if (!name.empty() && name.front() == '.') return "the file's name begins with \".\"";
  if (!Common::IsAppIDValid(name)) {
    return "the file's name \"" + name +
           "\" is not a valid application ID: only letters, digits, space and . _ : - are allowed";
  }
  return std::string();
}

// The reader's list of faults on one line.
std::string OneLine(const std::string& text) {
  std::string line;
  for (const char c : text) {
    if (c != '\n') {
      line += c;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

std::string Parse(const fs::path& file, Json::Value& root) {
  Common::FileBytes bytes;
  if (const auto error = Common::ReadRegularFile(file, UINT64_MAX, bytes)) {
    return "the file can't be read: " + error.message();
  }
  // The same reader with the same features as the service's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  Json::Reader reader;
#pragma GCC diagnostic pop
  try {
    if (reader.parse(std::string(bytes.data.get(), bytes.size_bytes), root)) return std::string();
    return "not valid JSON: " + OneLine(reader.getFormattedErrorMessages());
  } catch (const std::exception& error) {
    return std::string("not valid JSON: ") + error.what();
  }
}

std::string CheckElements(const Json::Value& pages) {
  for (Json::ArrayIndex i = 0; i < pages.size(); ++i) {
    const std::string element = "element " + std::to_string(i) + " of \"PageAddresses\"";
    if (!pages[i].isString()) return element + " is not a string";
    if (!Common::IsPageAddressValid(pages[i].asString())) {
      return element + ", \"" + pages[i].asString() +
             "\", is not a valid page address: four or five fields of digits and * joined by dots, "
             "or "
             "encrypted-stf2";
    }
  }
  return std::string();
}

std::string CheckMembers(const Json::Value& root) {
  if (!root.isObject()) return "the document is not an object";
  for (const char* member : {Config::kPath, Config::kTitle, Config::kPageAddresses}) {
    if (!root.isMember(member)) return "the member " + Quoted(member) + " is missing";
  }
  for (const char* member : {Config::kPath, Config::kTitle}) {
    if (!root[member].isString()) return "the member " + Quoted(member) + " is not a string";
  }
  if (!root[Config::kPageAddresses].isArray())
    return "the member \"PageAddresses\" is not an array";
  if (root[Config::kPath].asString().empty()) return "the member \"Path\" is empty";
  return CheckElements(root[Config::kPageAddresses]);
}

void NoteOddities(const Json::Value& root, std::vector<std::string>& notes) {
  const std::string path = root[Config::kPath].asString();
  if (const std::string obstacle = TalvoOS::Actions::FindObstacle(path); !obstacle.empty()) {
    notes.push_back("the application can't be launched: " + obstacle);
  }
  if (path.front() != '/') {
    notes.push_back("\"Path\" is relative: it starts at the service's working directory");
  }
  if (root[Config::kPageAddresses].empty()) {
    notes.push_back("\"PageAddresses\" is empty: the application gets no ink");
  }
}

}  // namespace

SubscriptionCheck CheckSubscription(const fs::path& file) {
  SubscriptionCheck check;
  check.reason = CheckName(file.filename().string());
  Json::Value root;
  if (check.reason.empty()) check.reason = Parse(file, root);
  if (check.reason.empty()) check.reason = CheckMembers(root);
  if (!check.reason.empty()) return check;
  if (!Config::LoadConfig(file, root)) {
    check.reason = "the service does not accept it";
  } else {
    NoteOddities(root, check.notes);
  }
  return check;
}
