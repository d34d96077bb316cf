#include "TalvoOS/Actions.h"

#include <TalvoCppUtils/Descriptor.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

#include "DesktopEntry.h"
#include "TalvoOS/Root.h"

namespace TalvoOS {
namespace {

using TalvoCppUtils::Descriptor;

// Takes `fd` over as a descriptor above the three standard ones. If the host has closed its own
// standard descriptors, a new one takes their numbers, and would be overwritten in the child.
Descriptor AboveStandard(int fd) {
  Descriptor descriptor(fd);
  if (!descriptor || fd > STDERR_FILENO) return descriptor;
  return Descriptor(::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

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

// This process's umask, read without setting it: other threads may be making files.
mode_t ReadUmask() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, 6, "Umask:") == 0) {
      return static_cast<mode_t>(std::strtoul(line.c_str() + 6, nullptr, 8));
    }
  }
  return 022;  // without /proc, the usual one
}

// Of the process at its start: a host sets a umask for its own files, not for other programs'.
const mode_t g_umask_at_start = ReadUmask();

// What the child and the program report to the caller, one message each.
struct Report {
  pid_t program = 0;  // the program's process, from the child that made it
  int error = 0;      // why there is no program
};

// All that the child needs, made before the fork: after it the heap may be locked for ever by a
// thread that the child has not got, and only async-signal-safe functions may be called.
struct Launch {
  const char* program;
  char* const* arguments;
  char* const* environment;
  const char* directory;  // null: the user's home
  const char* home;
  mode_t umask;
  int null_device;
  int report;    // a socket to the caller that exec closes
  int open_max;  // the number of descriptors to close if the kernel can't do it in one call
};

void Send(int socket, const Report& report) {
  const ssize_t ignored = ::send(socket, &report, sizeof report, MSG_NOSIGNAL);
  static_cast<void>(ignored);
}

[[noreturn]] void Fail(int socket, int error) {
  Send(socket, Report{0, error});
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

bool EnterDirectory(const Launch& launch) {
  if (launch.directory != nullptr) return ::chdir(launch.directory) == 0;
  return ::chdir(launch.home) == 0 || ::chdir("/") == 0;
}

[[noreturn]] void RunProgram(Launch& launch) {
  if (::setsid() < 0 || !KeepStandardDescriptors(launch) || !EnterDirectory(launch)) {
    Fail(launch.report, errno);
  }
  ::umask(launch.umask);
  ResetSignals();
  ::execve(launch.program, launch.arguments, launch.environment);
  Fail(launch.report, errno);
}

// The child ends early, so that its own child, the program, belongs to the init process and never
// becomes a zombie of the caller. It stays until the caller has taken hold of the program: so long
// its number is the program's, ended or not, and no other's.
[[noreturn]] void RunChild(Launch& launch) {
  const pid_t program = ::fork();
  if (program < 0) Fail(launch.report, errno);
  if (program == 0) RunProgram(launch);
  Send(launch.report, Report{program, 0});
  char end;
  while (::recv(launch.report, &end, 1, 0) < 0 && errno == EINTR) {
  }
  ::_exit(0);
}

// A host that ignores SIGCHLD, or that collects every child, leaves no status to be had.
void WaitForChild(pid_t child) {
  while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// Reads the reports until exec, or the end of both processes, closes the other end. Returns whether
// the program runs; `process` stands for it then, unless the kernel has no descriptors of
// processes.
bool ReadReports(int socket, int& process) {
  bool is_forked = false;
  bool has_failed = false;
  Report report;
  ssize_t n;
  while ((n = ::recv(socket, &report, sizeof report, 0)) > 0 || (n < 0 && errno == EINTR)) {
    if (n < 0) continue;
    has_failed = has_failed || report.error != 0;
    if (report.program == 0) continue;
    is_forked = true;
    process = static_cast<int>(::syscall(SYS_pidfd_open, report.program, 0));
    ::shutdown(socket, SHUT_WR);  // the child may go
  }
  return is_forked && !has_failed;
}

// Starts the program; false if it does not run.
bool Start(const std::string& program, const std::vector<std::string>& arguments,
           const std::string& directory, int& process) {
  std::vector<char*> pointers;
  for (const std::string& argument : arguments) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  boost::filesystem::path home;
  GetHomeDirectory(home);

  const Descriptor null_device = AboveStandard(::open("/dev/null", O_RDWR | O_CLOEXEC));
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return false;
  Descriptor own = AboveStandard(ends[0]);
  Descriptor childs = AboveStandard(ends[1]);
  if (!null_device || !own || !childs) return false;

  const long open_max = ::sysconf(_SC_OPEN_MAX);
  Launch launch = {program.c_str(),
                   pointers.data(),
                   environ,
                   directory.empty() ? nullptr : directory.c_str(),
                   home.c_str(),
                   g_umask_at_start,
                   null_device.get(),
                   childs.get(),
                   open_max > 0 ? int(open_max) : 1024};
  pid_t child;
  {
    BlockedSignals blocked;
    child = ::fork();
    if (child == 0) {
      own.Close();  // its own copy would keep the child from seeing the caller's end of it
      RunChild(launch);
    }
  }
  if (child < 0) return false;
  childs.Close();
  const bool is_running = ReadReports(own.get(), process);
  WaitForChild(child);
  return is_running;
}

bool IsProgram(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return false;
  errno = EACCES;  // what exec says of a directory
  return S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

// The first program of that name in the directories of PATH; empty if there is none.
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

// What to start for a path; false if there is nothing. The program is absolute: the child looks for
// it from another directory.
bool FindProgram(const std::string& path, std::string& program, DesktopEntry& entry) {
  if (path.empty() || path.find('\0') != std::string::npos) return false;
  program = path;
  entry.arguments = {path};
  if (EndsWith(path, ".desktop")) {
    if (!ReadDesktopEntry(path, entry)) return false;
    const bool has_slash = entry.arguments[0].find('/') != std::string::npos;
    program = has_slash ? entry.arguments[0] : FindInPath(entry.arguments[0]);
  }
  if (program.empty() || entry.directory.find('\0') != std::string::npos) return false;
  boost::system::error_code error;
  if (program[0] != '/') program = (boost::filesystem::current_path(error) / program).string();
  return !error;
}

}  // namespace

namespace Actions {

// The descriptor of a process, -1 if the kernel has none.
class Program::Process {
 public:
  explicit Process(int descriptor) : descriptor_(AboveStandard(descriptor)) {}

  bool IsRunning() const {
    pollfd ended = {descriptor_.get(), POLLIN, 0};
    return descriptor_ && ::poll(&ended, 1, 0) == 0;
  }

 private:
  const Descriptor descriptor_;
};

bool Program::IsRunning() const {
  return process_ != nullptr && process_->IsRunning();
}

Program StartApplication(const std::string& path) {
  std::string executable;
  DesktopEntry entry;
  int process = -1;
  Program program;
  if (!FindProgram(path, executable, entry)) return program;
  program.start_time_ = std::chrono::steady_clock::now();
  if (Start(executable, entry.arguments, entry.directory, process)) {
    program.process_ = std::make_shared<Program::Process>(process);
  } else if (process >= 0) {
    ::close(process);
  }
  return program;
}

bool LaunchApplication(const std::string& path) {
  return static_cast<bool>(StartApplication(path));
}

std::string FindObstacle(const std::string& path) {
  if (path.empty()) return "the path is empty";
  std::string program;
  DesktopEntry entry;
  struct stat status;
  const std::string prefix = path + ": ";
  if (::stat(path.c_str(), &status) != 0) return prefix + std::generic_category().message(errno);
  if (!S_ISREG(status.st_mode)) return prefix + "not a regular file";
  if (EndsWith(path, ".desktop") && ::access(path.c_str(), R_OK) != 0) {
    return prefix + std::generic_category().message(errno);
  }
  if (!FindProgram(path, program, entry)) return prefix + "its Exec line names no program";
  if (!IsProgram(program)) return program + ": " + std::generic_category().message(errno);
  if (!entry.directory.empty() && ::access(entry.directory.c_str(), X_OK) != 0) {
    return prefix + "its Path line: " + std::generic_category().message(errno);
  }
  return std::string();
}

}  // namespace Actions
}  // namespace TalvoOS
