#include "Message.h"

#include "JsonParser.h"
#include "JsonWriter.h"

namespace IPC {
namespace {

constexpr std::string_view kId = "id";
constexpr std::size_t kMaxIdBytes = 128;
constexpr Json::Int64 kMaxInteger = (Json::Int64(1) << 53) - 1;

bool IsValidId(const Json::Value& id) {
  if (id.type() == Json::stringValue) return id.asString().size() <= kMaxIdBytes;
  if (id.type() != Json::intValue) return false;
  return id.asInt64() >= -kMaxInteger && id.asInt64() <= kMaxInteger;
}

// The member of an object, or null; never inserts and never throws.
const Json::Value& Member(const Json::Value& object, std::string_view name) {
  static const Json::Value kNone;
  const Json::Value* member = object.find(name.data(), name.data() + name.size());
  return member ? *member : kNone;
}

bool Refuse(WireError& error, int code, const std::string& message) {
  error = {code, message};
  return false;
}

bool ReadEnvelope(const Json::Value& message, RequestMessage& request, WireError& error) {
  if (message.isArray()) return Refuse(error, kNotARequest, "batches are not supported");
  if (!message.isObject()) return Refuse(error, kNotARequest, "a request is an object");
  const Json::Value* const id = message.find(kId.data(), kId.data() + kId.size());
  request.has_id = id != nullptr;
  if (request.has_id) {
    if (!IsValidId(*id)) {
      return Refuse(error, kNotARequest,
                    "\"id\" must be a string of at most " + std::to_string(kMaxIdBytes) +
                        " bytes or an integer within 2^53-1");
    }
    request.id = *id;
  }
  const Json::Value& version = Member(message, "jsonrpc");
  if (!version.isString() || version.asString() != "2.0")
    return Refuse(error, kNotARequest, "\"jsonrpc\" must be \"2.0\"");
  const Json::Value& method = Member(message, "method");
  if (!method.isString()) return Refuse(error, kNotARequest, "\"method\" must be a string");
  request.method = method.asString();
  return true;
}

// The beginning of a line, with room for most lines.
std::string Begin() {
  constexpr std::size_t kUsualBytes = 384;
  std::string line;
  line.reserve(kUsualBytes);
  line += "{\"jsonrpc\":\"2.0\",";
  return line;
}

void AppendId(const Json::Value& id, std::string& line) {
  line += "\"id\":";
  AppendJson(id, line);
}

void AppendCall(const std::string& name, const Json::Value& params, std::string& line) {
  line += "\"method\":";
  AppendJsonString(name, line);
  if (!params.isNull()) {
    line += ",\"params\":";
    AppendJson(params, line);
  }
  line += "}\n";
}

bool ReadNotification(Json::Value& json, ServerMessage& message, std::string& reason) {
  message.kind = ServerMessage::kNotification;
  if (!json["method"].isString()) return reason = "\"method\" is not a string", false;
  message.name = json["method"].asString();
  message.params.swap(json["params"]);
  if (message.params.isNull() || message.params.isObject()) return true;
  return reason = "\"params\" is not an object", false;
}

bool ReadError(const Json::Value& error, ServerMessage& message, std::string& reason) {
  message.kind = ServerMessage::kError;
  if (!error.isObject() || !Member(error, "code").isInt() || !Member(error, "message").isString())
    return reason = "an error without code and message", false;
  message.error = {Member(error, "code").asInt(), Member(error, "message").asString()};
  return true;
}

bool ReadReply(Json::Value& reply, ServerMessage& message, std::string& reason) {
  message.kind = ServerMessage::kReply;
  if (!reply.isObject() || !Member(reply, "status").isString())
    return reason = "a result without status", false;
  message.status = reply["status"].asString();
  message.result.swap(reply["result"]);
  return true;
}

}  // namespace

bool ReadServerMessage(std::string_view line, ServerMessage& message, std::string& reason) {
  message = ServerMessage();
  Json::Value json;
  if (!ParseJson(line, json, reason)) return false;
  if (!json.isObject()) return reason = "a message that is not an object", false;
  if (!json.isMember("id")) return ReadNotification(json, message, reason);
  message.id.swap(json["id"]);
  if (json.isMember("error")) return ReadError(json["error"], message, reason);
  return ReadReply(json["result"], message, reason);
}

bool ReadRequest(std::string_view line, RequestMessage& request, WireError& error) {
  request = RequestMessage();
  Json::Value message;
  std::string reason;
  if (!ParseJson(line, message, reason)) return Refuse(error, kNotJson, "not JSON: " + reason);
  if (!ReadEnvelope(message, request, error)) return false;
  if (!message.isMember("params")) return true;
  Json::Value& params = message["params"];
  if (!params.isNull() && !params.isObject())
    return Refuse(error, kParamsNotAnObject, "\"params\" must be an object");
  request.params.swap(params);
  return true;
}

std::string ReplyLine(const Json::Value& id, const std::string& status, const Json::Value& result) {
  std::string line = Begin();
  AppendId(id, line);
  line += ",\"result\":{\"status\":";
  AppendJsonString(status, line);
  line += ",\"result\":";
  AppendJson(result, line);
  return line += "}}\n";
}

std::string ErrorLine(const Json::Value& id, const WireError& error) {
  std::string line = Begin();
  AppendId(id, line);
  line += ",\"error\":{\"code\":" + std::to_string(error.code) + ",\"message\":";
  AppendJsonString(error.message, line);
  return line += "}}\n";
}

std::string NotificationLine(const std::string& name, const Json::Value& params) {
  std::string line = Begin();
  AppendCall(name, params, line);
  return line;
}

std::string RequestLine(Json::Int64 id, const std::string& name, const Json::Value& params) {
  std::string line = Begin();
  AppendId(id, line);
  line += ',';
  AppendCall(name, params, line);
  return line;
}

}  // namespace IPC
