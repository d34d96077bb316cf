// The processes of a measurement: jobs of this program that run beside it, and servers.

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Another process that runs `job`. The object's destructor waits for its end, unless it was ended
// before; a job that throws ends the benchmark.
class Child {
 public:
  explicit Child(const std::function<void()>& job);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Waits for the end; throws if the job failed.
  void Wait();

 private:
  pid_t pid_;
};

// Runs a program to its end. False if it can't be run or fails.
bool RunProgram(const std::vector<std::string>& command);

// A server that runs while the object lives, and no longer than the benchmark. What it says goes to
// the file `log`.
class Server {
 public:
  Server(const std::vector<std::string>& command, const std::filesystem::path& log);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Waits until it has done what it does after its start: until it uses no processor time.
  void WaitUntilQuiet() const;

  // False once the process has ended by itself.
  bool IsRunning() const;

  std::uint64_t ResidentBytes() const;
  std::uint64_t PeakBytes() const;
  double CpuSeconds() const;      // of all threads, also of those that have ended
  std::uint64_t WakeUps() const;  // of all threads since their start

 private:
  std::uint64_t StatusBytes(const std::string& key) const;

  const pid_t pid_;
};

}  // namespace bench
