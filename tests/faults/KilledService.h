// The service as a process that may be killed at any moment. Its log goes to a file, which outlives
// it and never fills a pipe. It ends with the thread that started it, even if that one is killed:
// a service on a disk image would keep the disk.

#pragma once

#include <memory>
#include <string>

#include "support/Process.h"

// What a process holds of the machine.
struct Holding {
  long memory_kib = 0;  // resident
  long descriptors = 0;
  long threads = 0;
};

class KilledService {
 public:
  // Starts the program without waiting for it. Its log is written to `log_file`.
  KilledService(const std::string& program, const std::string& log_file,
                const Process::Environment& environment = {});

  // Waits until it serves; false if it ends instead.
  bool WaitUntilServing();

  // Waits until the log holds at least that many lines; false if it stops growing before.
  bool WaitForLines(std::size_t count) const;

  // How many lines the log holds.
  std::size_t CountLines() const;

  // Whether the log holds these words; waits for them.
  bool HasLogged(const std::string& words) const;
  bool WaitForLog(const std::string& words) const;

  // Whether it has ended by itself; does not wait.
  bool HasEnded() const;

  void Kill();

  // Ends it by SIGTERM; its exit status.
  int Stop();

  // What it holds now.
  Holding holding() const;

  std::string log() const;
  pid_t pid() const { return process_.pid(); }

 private:
  const std::string log_file_;
  Process process_;
};
