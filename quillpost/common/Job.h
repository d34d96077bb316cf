// What the service does with an exception that leaves a piece of its work: the owner of the work
// writes one line at level 1 that names the work and the reason, and goes on.

#pragma once

#include <exception>

#include "common/Log.h"

namespace TalvoQuillpost {
namespace Common {

// Runs `job`, which `name` names in the log ("routing pass"). True when it returned, false when it
// threw.
template <typename Job>
bool RunJob(const char* name, const Job& job) {
  try {
    job();
    return true;
  } catch (const std::exception& error) {
    QUILLPOST_LOG_ERROR("The %s failed: %s", name, error.what());
  } catch (...) {
    QUILLPOST_LOG_ERROR("The %s failed: unknown exception", name);
  }
  return false;
}

}  // namespace Common
}  // namespace TalvoQuillpost
