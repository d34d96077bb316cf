// Lines of the log that the owner's host has opened, or nothing if it has opened none.

#pragma once

#include <cstddef>
#include <string>

namespace IPC {

// `name` is the name of a server or client, for instance "Quillpost:Service"; lines go to the
// logger whose tag is the part before the colon, and begin with the name. Any thread.

// Writes "NAME MESSAGE" at `level` (Talvo/Logger.h).
void Log(const std::string& name, int level, const std::string& message);

// Within a handler: writes "NAME: WHAT failed: REASON" at level 1, for the exception under way.
void LogException(const std::string& name, const std::string& what);

// A limit as messages tell it: "16 MiB".
inline std::string InMebibytes(std::size_t bytes) {
  return std::to_string(bytes >> 20) + " MiB";
}

// Runs `callback`. An exception that leaves it is logged, with `what` it was for ("the request
// Hello"); false then.
template <typename Callback>
bool RunGuarded(const std::string& name, const std::string& what, Callback&& callback) {
  try {
    callback();
    return true;
  } catch (...) {
    LogException(name, what);
    return false;
  }
}

}  // namespace IPC
