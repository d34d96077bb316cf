#include "TalvoOS/Actions.h"

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <sstream>
#include <vector>

#include "DesktopEntry.h"

namespace TalvoOS {
namespace {

// A descriptor above the three standard ones, closed at the end. Where the host has closed its own
// standard descriptors, a new one would take their numbers and be overwritten in the child.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {
    if (fd_ < 0 || fd_ > STDERR_FILENO) return;
    const int higher = ::fcntl(fd_, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    ::close(fd_);
    fd_ = higher;
  }
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

 private:
  int fd_;
};

// Blocks all signals of this thread for the time of the fork, so that no handler of the host runs
// in the child.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t before_;
};

// All that the child needs, made before the fork: after it the heap may be locked for ever by a
// thread that the child has not got, and only async-signal-safe functions may be called.
struct Launch {
  const char* program;
  char* const* arguments;
  char* const* environment;
  int null_device;
  int report;    // a pipe to the caller that exec closes; what comes through it is an errno
  int open_max;  // the number of descriptors to close where the kernel can't do it in one call
};

[[noreturn]] void Report(int report, int error) {
  const ssize_t ignored = ::write(report, &error, sizeof error);
  static_cast<void>(ignored);
  ::_exit(1);
}

void ResetSignals() {
  struct sigaction action = {};
  action.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) ::sigaction(signal, &action, nullptr);
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Leaves the standard descriptors, on the null device, and the report, which ends up as number 3.
bool KeepStandardDescriptors(Launch& launch) {
  for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
    if (::dup2(launch.null_device, fd) < 0) return false;
  }
  const int kept = STDERR_FILENO + 1;
  if (launch.report != kept) {
    if (::dup3(launch.report, kept, O_CLOEXEC) < 0) return false;
    launch.report = kept;
  }
  if (::close_range(kept + 1, ~0U, 0) != 0) {
    for (int fd = kept + 1; fd < launch.open_max; ++fd) ::close(fd);
  }
  return true;
}

[[noreturn]] void RunProgram(Launch& launch) {
  if (::setsid() < 0 || !KeepStandardDescriptors(launch)) Report(launch.report, errno);
  ResetSignals();
  ::execve(launch.program, launch.arguments, launch.environment);
  Report(launch.report, errno);
}

// The child ends at once, so that its own child, the program, belongs to the init process and
// never becomes a zombie of the caller.
[[noreturn]] void RunChild(Launch& launch) {
  const pid_t program = ::fork();
  if (program < 0) Report(launch.report, errno);
  if (program == 0) RunProgram(launch);
  ::_exit(0);
}

// Whether the child got as far as to start the program's process. A host that ignores SIGCHLD, or
// that collects every child, leaves no status to be had.
bool WaitForChild(pid_t child) {
  int status = 0;
  pid_t waited;
  while ((waited = ::waitpid(child, &status, 0)) < 0 && errno == EINTR) {
  }
  return waited < 0 || (WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// True when the pipe ends without an errno in it.
bool ReadSuccess(int report) {
  int error = 0;
  ssize_t n;
  while ((n = ::read(report, &error, sizeof error)) < 0 && errno == EINTR) {
  }
  return n == 0;
}

bool Start(const std::string& program, const std::vector<std::string>& arguments) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);

  Descriptor null_device(::open("/dev/null", O_RDWR | O_CLOEXEC));
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return false;
  Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  if (null_device.get() < 0 || reader.get() < 0 || writer.get() < 0) return false;

  const long open_max = ::sysconf(_SC_OPEN_MAX);
  Launch launch = {program.c_str(),   pointers.data(), environ,
                   null_device.get(), writer.get(),    open_max > 0 ? int(open_max) : 1024};
  pid_t child;
  {
    BlockedSignals blocked;
    child = ::fork();
    if (child == 0) RunChild(launch);
  }
  if (child < 0) return false;
  writer.Close();
  const bool forked = WaitForChild(child);
  return ReadSuccess(reader.get()) && forked;
}

bool IsProgram(const std::string& path) {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

// The first program of that name in the directories of PATH; empty where there is none.
std::string FindInPath(const std::string& name) {
  const char* path = ::getenv("PATH");
  std::istringstream directories(path != nullptr ? path : "/usr/local/bin:/usr/bin:/bin");
  for (std::string directory; std::getline(directories, directory, ':');) {
    const std::string candidate = (directory.empty() ? "." : directory) + "/" + name;
    if (IsProgram(candidate)) return candidate;
  }
  return std::string();
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

}  // namespace

bool Actions::LaunchApplication(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) return false;
  if (!EndsWith(path, ".desktop")) return Start(path, {path});

  std::vector<std::string> arguments;
  if (!ReadDesktopEntry(path, arguments)) return false;
  const bool has_slash = arguments[0].find('/') != std::string::npos;
  const std::string program = has_slash ? arguments[0] : FindInPath(arguments[0]);
  return !program.empty() && Start(program, arguments);
}

}  // namespace TalvoOS
