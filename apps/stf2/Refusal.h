// Why a file could not be read, written or accepted by the tool. Thrown by the commands and by what
// works on files for them, caught in one place (see Session), where it becomes the one line that
// the user sees for that file. What ink itself is refused for is an InkError.

#pragma once

#include <stdexcept>
#include <string>

namespace InkTool {

// The message says the place, if there is one, and the reason; the file's name is added by the
// one who catches it: "line 3, column 14: difference without a value before it".
class Refusal : public std::runtime_error {
 public:
  explicit Refusal(const std::string& reason) : std::runtime_error(reason) {}
  Refusal(const std::string& place, const std::string& reason)
      : std::runtime_error(place + ": " + reason) {}
};

}  // namespace InkTool
