// The stream as the server has it: found, or made if that is wanted.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Options.h"
#include "stream/Connection.h"

namespace Forward {

struct StreamSettings {
  std::size_t limit_bytes = 0;    // of a message, headers included; 0: the stream sets none
  std::vector<std::string> told;  // what its administrator should know, a sentence each
};

// Waits for the server. A stream that is there stays as it is. Throws StreamError with what is
// missing.
StreamSettings FindStream(Stream::Connection& connection, const Options& options);

}  // namespace Forward
