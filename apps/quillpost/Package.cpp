#include "Package.h"

#include <TalvoQuillpost/Protocol.h>

#include "InkFileCheck.h"

using namespace IPC::Protocol::Quillpost;

namespace {

std::string ReadString(const Json::Value& params, const char* key) {
  return params.isObject() && params[key].isString() ? params[key].asString() : std::string();
}

std::string Join(const std::vector<std::string>& texts, const char* separator) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : separator) + text;
  return joined;
}

}  // namespace

Package ReadPackage(const Json::Value& params) {
  Package package;
  package.path = ReadString(params, Argument::InkPackagePath);
  package.pen = ReadString(params, Argument::InkPackagePen);
  package.type = ReadString(params, Argument::InkPackageType);
  if (!params.isObject()) return package;
  const Json::Value& pages = params[Argument::InkPackagePages];
  if (!pages.isArray()) return package;
  for (const Json::Value& page : pages) {
    if (page.isString()) package.pages.push_back(page.asString());
  }
  return package;
}

std::string ToText(const Package& package) {
  std::string text = package.type + " from pen " + package.pen + ", page " +
                     Join(package.pages, ", ") + ": " + package.path.string();
  if (!package.saved.empty()) text += ", saved as " + package.saved.string();
  text += ", ";
  text += package.answer == std::string("none") ? "not confirmed" : package.answer;
  if (!package.ignored.empty()) text += " (ignored)";
  return text;
}

Json::Value ToJson(const std::vector<std::string>& texts) {
  Json::Value array(Json::arrayValue);
  for (const std::string& text : texts) array.append(text);
  return array;
}

Json::Value ToJson(const Package& package) {
  Json::Value value;
  value["path"] = package.path.string();
  value["pen"] = package.pen;
  value["type"] = package.type;
  value["pages"] = ToJson(package.pages);
  value["ignored"] = ToJson(package.ignored);
  value["answer"] = package.answer;
  if (!package.saved.empty()) value["saved"] = package.saved.string();
  return value;
}

std::map<std::string, std::string> ToVariables(const Package& package) {
  std::map<std::string, std::string> variables = {{"QUILLPOST_PATH", package.path.string()},
                                                  {"QUILLPOST_PEN", package.pen},
                                                  {"QUILLPOST_PAGE", Join(package.pages, " ")},
                                                  {"QUILLPOST_TYPE", package.type}};
  if (!package.saved.empty()) variables["QUILLPOST_SAVED"] = package.saved.string();
  return variables;
}

std::string FaultOf(const Package& package) {
  const InkFileCheck check = CheckInkFile(package.path);
  return check.pen.empty() ? check.fault : std::string();
}
