// A running service in a process of its own, in the test's root.

#pragma once

#include <string>
#include <vector>

#include "support/Process.h"

class Daemon {
 public:
  // Starts the program and waits until it serves. Throws std::runtime_error with its log if it
  // does not.
  explicit Daemon(const std::string& program, const std::vector<std::string>& arguments = {});

  // Waits until the log has the line "LEVEL Quillpost: MESSAGE", LEVEL one of E W I T.
  bool WaitForLog(const std::string& line);

  // Whether the log has such a line now.
  bool HasLogged(const std::string& line) const;

  void Signal(int signal) { process_.Signal(signal); }

  // Ends the service by SIGTERM; its exit status.
  int Stop();

  // The log so far; all of it after the end.
  const std::string& log() const { return process_.error(); }
  pid_t pid() const { return process_.pid(); }

  // Waits for the end; the exit status as Process gives it.
  int Wait() { return process_.Wait(); }

 private:
  Process process_;
};
