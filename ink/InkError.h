// Why ink could not be read, written or drawn: what every function of this library throws for bad
// input, and nothing else but what the standard library throws when memory runs out. No function
// writes anything to the screen or to a log; the program that catches the error tells its user,
// and adds the name of the file, which this library never learns.

#pragma once

#include <stdexcept>
#include <string>

namespace TalvoInk {

// The message is one line of UTF-8 (or of the bytes of the input) that says the place, if there is
// one, and the reason: "line 3, column 14: a difference without a value before it".
class InkError : public std::runtime_error {
 public:
  explicit InkError(const std::string& reason) : std::runtime_error(reason) {}
  InkError(const std::string& place, const std::string& reason)
      : std::runtime_error(place + ": " + reason) {}
};

// The ink is sealed: only the owner of the secret key can read it, after opening it.
class SealedInkError : public InkError {
 public:
  SealedInkError() : InkError("sealed ink") {}
};

// The picture that was asked for is larger than a file of its kind can be, or than memory allows.
class PictureSizeError : public InkError {
 public:
  using InkError::InkError;
};

}  // namespace TalvoInk
