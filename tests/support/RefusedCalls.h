// Calls of the system that fail as they do on other machines: on a file system without some
// feature, on a disk with errors. The kernel refuses them (seccomp), so no function of ours or of a
// library is replaced.

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

struct RefusedCall {
  long number;  // SYS_...
  int error;
  // Unless `bits` is 0, only calls whose argument of this index has one of the bits.
  int argument = 0;
  std::uint32_t bits = 0;
};

// Runs `body` in a thread of its own, in which these calls fail, and waits for its end. False, and
// nothing was run, if this system can't refuse calls.
bool RunWithRefused(const std::vector<RefusedCall>& calls, const std::function<void()>& body);
