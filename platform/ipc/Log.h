// Lines of the log that the owner's host has opened, or nothing where it has opened none.

#pragma once

#include <string>

namespace IPC {

// `name` is the name of a server or client, for instance "Quillpost:Service"; lines go to the
// logger whose tag is the part before the colon, and begin with the name. Any thread.

// Writes "NAME MESSAGE" at `level` (Talvo/Logger.h).
void Log(const std::string& name, int level, const std::string& message);

// Within a handler: writes "NAME: WHAT failed: REASON" at level 1, for the exception under way.
void LogException(const std::string& name, const std::string& what);

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
