#include "config/FilesConfig.h"

#include <TalvoOS/Root.h>
#include <json/reader.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <cstdint>
#include <cstring>
#include <exception>
#include <locale>
#include <sstream>
#include <vector>

#include "common/File.h"
#include "common/Identifiers.h"
#include "config/SubscriptionReader.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Config {

namespace {

// The end of the number that begins at `i`: as the reader takes it, which is more than JSON allows.
std::size_t NumberEnd(const std::string& text, std::size_t i) {
  const auto skip_digits = [&] {
    i = std::min(text.find_first_not_of("0123456789", i), text.size());
  };
  const auto skip_one_of = [&](const char* characters) {
    const bool found = i < text.size() && std::strchr(characters, text[i]) != nullptr;
    if (found) ++i;
    return found;
  };
  skip_one_of("-");
  skip_digits();
  if (skip_one_of(".")) skip_digits();
  if (skip_one_of("eE")) {
    skip_one_of("+-");
    skip_digits();
  }
  return i;
}

bool IsNumber(const std::string& token) {
  std::istringstream stream(token);
  stream.imbue(std::locale::classic());
  double value = 0;
  return static_cast<bool>(stream >> value);
}

// The reader takes numbers with a fraction through a stream in the host's global locale, where a
// dot may separate thousands, and then refuses the file. No number in a subscription means
// anything: those with a dot are judged here, and left out of what the reader sees.
void DropFractions(std::string& text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      for (++i; i < text.size() && text[i] != '"'; ++i) {
        if (text[i] == '\\') ++i;
      }
    } else if (text.compare(i, 2, "//") == 0) {
      i = std::min(text.find_first_of("\r\n", i), text.size());
    } else if (text.compare(i, 2, "/*") == 0) {
      i = std::min(text.find("*/", i + 2), text.size() - 1) + 1;
    } else if (text[i] == '-' || ('0' <= text[i] && text[i] <= '9')) {
      const std::size_t size = NumberEnd(text, i) - i;
      const std::string token = text.substr(i, size);
      if (token.find('.') != std::string::npos) {
        text.replace(i, size, size, ' ');
        text[i] = IsNumber(token) ? '0' : '?';
      }
      i += size - 1;
    }
  }
}

bool IsClassicNumberFormat() {
  const auto& format = std::use_facet<std::numpunct<char>>(std::locale());
  return format.decimal_point() == '.' && format.grouping().empty();
}

bool ParseJson(std::string text, Json::Value& out) {
  if (!IsClassicNumberFormat()) DropFractions(text);
    // Json::Reader, though its makers prefer its successor: what it accepts by default is what a
    // subscription file may hold, and the successor's defaults are others.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  Json::Reader reader;
#pragma GCC diagnostic pop
  try {
    return reader.parse(text, out);
  } catch (const std::exception&) {  // nesting beyond what the reader bears
    return false;
  }
}

bool IsSubscription(const Json::Value& root) {
  if (!root.isObject()) return false;
  // A missing member reads as null.
  const Json::Value& ranges = root[kPageAddresses];
  if (!root[kPath].isString() || !root[kTitle].isString() || !ranges.isArray()) return false;
  if (root[kPath].asString().empty()) return false;
  return std::all_of(ranges.begin(), ranges.end(), [](const Json::Value& range) {
    return range.isString() && Common::IsPageAddressValid(range.asString());
  });
}

App ToApp(const std::string& id, const Json::Value& root) {
  App app;
  app.id = id;
  app.title = root[kTitle].asString();
  app.path = root[kPath].asString();
  for (const Json::Value& range : root[kPageAddresses]) app.pageAddresses.insert(range.asString());
  return app;
}

bool Parse(const std::string& bytes, Json::Value& out) {
  Json::Value root;
  if (!ParseJson(bytes, root) || !IsSubscription(root)) return false;
  out = root;
  return true;
}

}  // namespace

std::string GetRoot() {
  return TalvoOS::UnderRoot("/Library/Preferences/Talvo/Quillpost/Subscriptions").string();
}

bool LoadConfig(const fs::path& file, Json::Value& out) {
  out = Json::Value(Json::objectValue);
  Common::FileBytes bytes;
  if (Common::ReadRegularFile(file, kMaxFileBytes, bytes)) return false;
  if (bytes.size_bytes > kMaxFileBytes) return false;
  return Parse(std::string(bytes.data.get(), bytes.size_bytes), out);
}

bool ParseSubscription(const std::string& id, const std::string& bytes, App& out) {
  Json::Value root;
  if (!Parse(bytes, root)) return false;
  out = ToApp(id, root);
  return true;
}

bool IsRegistered(const std::string& id) {
  boost::system::error_code error;
  return fs::status(fs::path(GetRoot()) / id, error).type() == fs::regular_file;
}

bool GetApplications(std::set<App>& out) {
  out.clear();
  SubscriptionReader subscriptions;
  if (!subscriptions.Read()) return false;
  subscriptions.ForEach([&out](const App& app) { out.insert(out.end(), app); });
  return true;
}

bool FindApplications(const std::string& address, std::set<App>& out) {
  out.clear();
  if (!Common::IsPageAddressValid(address)) return false;
  SubscriptionReader subscriptions;
  if (!subscriptions.Read()) return false;
  subscriptions.ForEach([&](const App& app) {
    if (Claims(app, address)) out.insert(out.end(), app);
  });
  return !out.empty();
}

bool Claims(const App& app, const std::string& address) {
  return std::any_of(
      app.pageAddresses.begin(), app.pageAddresses.end(),
      [&](const std::string& range) { return Common::IsPageAddressInRange(address, range); });
}

}  // namespace Config
}  // namespace TalvoQuillpost
