// The messages of JSON-RPC 2.0 as lines, as server and client read and write them. The meaning of
// requests and notifications is not known here. Functions without state.

#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace IPC {

// Codes of errors of the wire.
inline constexpr int kTooManyConnections = -32000;
inline constexpr int kNotARequest = -32600;
inline constexpr int kParamsNotAnObject = -32602;
inline constexpr int kNotJson = -32700;

struct WireError {
  int code = 0;
  std::string message;
};

struct RequestMessage {
  bool has_id = false;  // a request without one is carried out and not answered
  Json::Value id;       // a string of at most 128 bytes or an integer; null if it can't be read
  std::string method;
  Json::Value params;  // an object, or null if there were none
};

// Reads one line as a request. False with the error to answer, if it is one to answer: as
// `request.id` says, and, with kParamsNotAnObject, only if there is an id.
bool ReadRequest(std::string_view line, RequestMessage& request, WireError& error);

// What a server sends.
struct ServerMessage {
  enum Kind { kReply, kError, kNotification };
  Kind kind = kReply;
  Json::Value id;      // of a reply or error: that of the request, or null
  std::string status;  // of a reply
  Json::Value result;
  WireError error;
  std::string name;  // of a notification
  Json::Value params;
};

// Reads one line as a server's message. False, with the reason, if it is not one.
bool ReadServerMessage(std::string_view line, ServerMessage& message, std::string& reason);

// Whole lines with their LF. Their text holds no other LF.
std::string ReplyLine(const Json::Value& id, const std::string& status, const Json::Value& result);
std::string ErrorLine(const Json::Value& id, const WireError& error);
std::string NotificationLine(const std::string& name, const Json::Value& params);
std::string RequestLine(Json::Int64 id, const std::string& name, const Json::Value& params);

}  // namespace IPC
