// A program that a test runs: what it prints is collected, it can be sent signals, and it ends with
// the object at the latest. Every wait has a bound; one that runs out is a failure of the test.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

class Process {
 public:
  typedef std::map<std::string, std::string> Environment;

  // Starts the program `command[0]` with the rest as arguments, standard input from the null device
  // and the environment of the test, changed by `changes`. Throws std::runtime_error if it can't
  // be started.
  explicit Process(const std::vector<std::string>& command, const Environment& changes = {});

  // Kills the program if it still runs. The test fails if it printed a sanitizer's report.
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  pid_t pid() const { return pid_; }
  void Signal(int signal);

  // Waits for the end of the program. Its exit status, or 128 plus the signal that ended it; -1
  // if it did not end in time.
  int Wait();

  // Waits until standard output, or standard error, holds `text`. False if the program ends
  // without it or takes too long.
  bool WaitForOutput(const std::string& text);
  bool WaitForError(const std::string& text);

  // What has been printed so far; all of it after Wait.
  const std::string& output() const { return output_; }
  const std::string& error() const { return error_; }

 private:
  bool ReadUntil(const std::function<bool()>& done);
  bool ReadSome(std::chrono::steady_clock::time_point end);
  void Collect();

  pid_t pid_ = -1;
  int exit_fd_ = -1;  // readable once the program has ended
  int output_fd_ = -1;
  int error_fd_ = -1;
  bool output_open_ = true;
  bool error_open_ = true;
  int status_ = -1;  // as Wait returns it
  std::string output_;
  std::string error_;
};

// Runs a program to its end. What it printed can be asked for as long as the result lives.
struct Finished {
  int status = -1;
  std::string output;
  std::string error;
};
Finished RunToEnd(const std::vector<std::string>& command,
                  const Process::Environment& changes = {});
