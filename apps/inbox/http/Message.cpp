#include "http/Message.h"

#include <json/value.h>
#include <json/writer.h>

namespace Inbox {
namespace {

const std::string& Find(const std::map<std::string, std::string>& map, const std::string& name) {
  static const std::string kNone;
  const auto found = map.find(name);
  return found == map.end() ? kNone : found->second;
}

}  // namespace

const std::string& Request::Header(const std::string& lower_case_name) const {
  return Find(headers, lower_case_name);
}

const std::string& Request::Argument(const std::string& name) const {
  return Find(query, name);
}

Response MakeError(int status, const std::string& message) {
  Response response;
  response.status = status;
  response.type = "application/json";
  response.body = "{\"error\":" + Json::valueToQuotedString(message.c_str()) + "}\n";
  return response;
}

}  // namespace Inbox
