// The temporary files of this process: none of them outlives it, unless it is killed without a
// chance to act. For a program with one thread.

#pragma once

#include <signal.h>

#include <string>

namespace InkTool {

// To be called once when the program begins. SIGINT, SIGTERM and SIGHUP then remove the temporary
// files before they end the process, unless they were ignored already. SIGXFSZ is ignored, so that
// a file that grows beyond the limit fails with a reason like any other write.
void RemoveTemporariesOnSignals();

// Makes a file for writing, mode 0600, whose name is `name` with its "XXXXXX" replaced, in place.
// The descriptor, or -1 with errno.
int MakeTemporary(std::string& name);

// The file has got its final name or is gone. Does nothing for other names.
void ForgetTemporary(const std::string& name);

// Holds the signals above off while it lives: what is done in between is done whole.
class SignalsHeld {
 public:
  SignalsHeld();
  ~SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

}  // namespace InkTool
