// Why a file could not be read, written or understood. Thrown by the ink tool's readers and
// writers, caught in one place, where it becomes the one line that the user sees for that file.

#pragma once

#include <stdexcept>
#include <string>

namespace InkTool {

// The message says the place, where there is one, and the reason; the file's name is added by the
// one who catches it: "line 3, column 14: difference without a value before it".
class Refusal : public std::runtime_error {
 public:
  explicit Refusal(const std::string& reason) : std::runtime_error(reason) {}
  Refusal(const std::string& place, const std::string& reason)
      : std::runtime_error(place + ": " + reason) {}
};

}  // namespace InkTool
