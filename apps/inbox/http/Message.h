// A request and a response as the parts of the inbox see them: values, free of sockets.

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Inbox {

struct Request {
  std::string method;                          // "GET", "HEAD", "POST", or what else was sent
  std::string target;                          // as it was sent
  std::string path;                            // of the target, see Target.h
  std::map<std::string, std::string> query;    // of the target, decoded
  std::map<std::string, std::string> headers;  // names in lower case; of several, the first counts
  std::string body;

  // Empty if there is no such header.
  const std::string& Header(const std::string& lower_case_name) const;
  const std::string& Argument(const std::string& name) const;
};

struct Response {
  int status = 200;
  std::string type;  // Content-Type
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;  // beside those that all responses have
  bool is_event_stream = false;  // the connection goes on as a stream of events
};

// Called once, from any thread. It never waits.
using Reply = std::function<void(Response)>;

// {"error": message}. `message` is a sentence for people, without a full stop.
Response MakeError(int status, const std::string& message);

}  // namespace Inbox
