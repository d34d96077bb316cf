// A request that is refused.

#pragma once

#include <json/value.h>

#include <stdexcept>
#include <string>

#include "http/Message.h"

namespace Inbox {

// The status of HTTP, and a sentence for people.
class Refusal : public std::runtime_error {
 public:
  Refusal(int status, const std::string& message) : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// The JSON object that the request's body is. Throws Refusal if it is something else.
Json::Value ParseBody(const Request& request);

}  // namespace Inbox
