#include "Process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr useconds_t kQuietUs = 300 * 1000;

// In the child: replaces this program. `output` gets what the other one says.
[[noreturn]] void Execute(const std::vector<std::string>& command, const std::string& output) {
  const int out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(out, STDOUT_FILENO);
  ::dup2(out, STDERR_FILENO);
  std::vector<char*> arguments;
  for (const std::string& argument : command)
    arguments.push_back(const_cast<char*>(argument.data()));
  arguments.push_back(nullptr);
  ::execvp(arguments.front(), arguments.data());
  ::_exit(127);
}

pid_t StartServer(const std::vector<std::string>& command, const fs::path& log) {
  const pid_t pid = ::fork();
  if (pid < 0) throw std::runtime_error("can't start a process");
  if (pid > 0) return pid;
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  Execute(command, log);
}

}  // namespace

Child::Child(const std::function<void()>& job) {
  std::fflush(nullptr);
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("can't start a process");
  if (pid_ > 0) return;
  int status = 0;
  try {
    job();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpost_bench: %s\n", error.what());
    status = 1;
  }
  ::_exit(status);
}

Child::~Child() {
  if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
}

void Child::Wait() {
  int status = 0;
  const pid_t pid = pid_;
  pid_ = -1;
  if (::waitpid(pid, &status, 0) != pid || status != 0) {
    throw std::runtime_error("a process of the benchmark failed");
  }
}

bool RunProgram(const std::vector<std::string>& command) {
  const pid_t pid = ::fork();
  if (pid == 0) Execute(command, "/dev/null");
  int status = 0;
  return pid > 0 && ::waitpid(pid, &status, 0) == pid && status == 0;
}

Server::Server(const std::vector<std::string>& command, const fs::path& log)
    : pid_(StartServer(command, log)) {}

Server::~Server() {
  ::kill(pid_, SIGTERM);
  ::waitpid(pid_, nullptr, 0);
}

void Server::WaitUntilQuiet() const {
  for (double before = -1, now = CpuSeconds(); now != before; now = CpuSeconds()) {
    before = now;
    ::usleep(kQuietUs);
  }
}

bool Server::IsRunning() const {
  siginfo_t info = {};
  return ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
         info.si_pid == 0;
}

std::uint64_t Server::StatusBytes(const std::string& key) const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(key + ":", 0) == 0) return std::stoull(line.substr(key.size() + 1)) * 1024;
  }
  throw std::runtime_error("a server has ended");
}

std::uint64_t Server::ResidentBytes() const {
  return StatusBytes("VmRSS");
}

std::uint64_t Server::PeakBytes() const {
  return StatusBytes("VmHWM");
}

// The process's own clock: the ticks in /proc are too coarse for one import.
double Server::CpuSeconds() const {
  clockid_t clock;
  timespec time;
  if (::clock_getcpuclockid(pid_, &clock) != 0 || ::clock_gettime(clock, &time) != 0) {
    throw std::runtime_error("a server has ended");
  }
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

std::uint64_t Server::WakeUps() const {
  std::uint64_t sum = 0;
  for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid_) + "/task")) {
    std::ifstream file(task.path() / "status");
    for (std::string line; std::getline(file, line);) {
      if (line.rfind("voluntary_ctxt_switches:", 0) == 0) sum += std::stoull(line.substr(24));
    }
  }
  return sum;
}

}  // namespace bench
