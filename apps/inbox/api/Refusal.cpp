#include "api/Refusal.h"

#include <json/reader.h>

#include <memory>

namespace Inbox {

Json::Value ParseBody(const Request& request) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  builder["stackLimit"] = 32;
  Json::Value value;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  const char* const begin = request.body.data();
  try {
    if (reader->parse(begin, begin + request.body.size(), &value, nullptr) && value.isObject()) {
      return value;
    }
  } catch (const Json::Exception&) {
    // nested too deeply
  }
  throw Refusal(400, "the body is not a JSON object");
}

}  // namespace Inbox
