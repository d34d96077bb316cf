#include "support/Process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "support/Patience.h"

namespace {

constexpr int kReportBytes = 1 << 20;  // room for what a sanitizer says while nobody reads

[[noreturn]] void Fail(const std::string& what, int error) {
  throw std::runtime_error(what + ": " + std::strerror(error));
}

std::vector<char*> Pointers(const std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (const std::string& string : strings) pointers.push_back(const_cast<char*>(string.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> ChangedEnvironment(const Process::Environment& changes) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (changes.count(text.substr(0, text.find('='))) == 0) variables.push_back(text);
  }
  for (const auto& change : changes) variables.push_back(change.first + "=" + change.second);
  return variables;
}

// Reads what is there without waiting; false at the end of the stream.
bool Drain(int fd, std::string& text) {
  char buffer[65536];
  while (true) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n > 0) {
      text.append(buffer, static_cast<std::size_t>(n));
    } else if (n == 0 || (errno != EINTR && errno != EAGAIN)) {
      return false;
    } else if (errno == EAGAIN) {
      return true;
    }
  }
}

}  // namespace

Process::Process(const std::vector<std::string>& command, const Environment& changes) {
  int output[2];
  int error[2];
  if (::pipe2(output, O_CLOEXEC) != 0 || ::pipe2(error, O_CLOEXEC) != 0) Fail("pipe", errno);
  ::fcntl(error[1], F_SETPIPE_SZ, kReportBytes);
  output_fd_ = output[0];
  error_fd_ = error[0];
  ::fcntl(output_fd_, F_SETFL, O_NONBLOCK);
  ::fcntl(error_fd_, F_SETFL, O_NONBLOCK);

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, error[1], STDERR_FILENO);
  const std::vector<std::string> environment = ChangedEnvironment(changes);
  const int failure = ::posix_spawn(&pid_, command[0].c_str(), &actions, nullptr,
                                    Pointers(command).data(), Pointers(environment).data());
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(output[1]);
  ::close(error[1]);
  if (failure == 0) exit_fd_ = static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0));
  if (failure != 0 || exit_fd_ < 0) {
    ::close(output_fd_);
    ::close(error_fd_);
    Fail("can't start " + command[0], failure != 0 ? failure : errno);
  }
}

Process::~Process() {
  if (exit_fd_ >= 0) {
    Signal(SIGKILL);
    Collect();
  }
  ::close(output_fd_);
  ::close(error_fd_);
  // Its status tells of a report only if it ended by itself.
  if (error_.find("Sanitizer: ") != std::string::npos) ADD_FAILURE() << error_;
}

void Process::Signal(int signal) {
  if (exit_fd_ >= 0) ::kill(pid_, signal);  // not collected yet, so the number is still its own
}

void Process::Collect() {
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  ::close(exit_fd_);
  exit_fd_ = -1;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  Drain(output_fd_, output_);
  Drain(error_fd_, error_);
}

// Waits for news of the program and takes them; false when `end` has come.
bool Process::ReadSome(std::chrono::steady_clock::time_point end) {
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
  if (left.count() <= 0) return false;
  pollfd fds[] = {{output_open_ ? output_fd_ : -1, POLLIN, 0},
                  {error_open_ ? error_fd_ : -1, POLLIN, 0},
                  {exit_fd_, POLLIN, 0}};
  if (::poll(fds, 3, static_cast<int>(left.count())) < 0 && errno != EINTR) return false;
  output_open_ = Drain(output_fd_, output_);
  error_open_ = Drain(error_fd_, error_);
  if (fds[2].revents != 0) Collect();
  return true;
}

bool Process::ReadUntil(const std::function<bool()>& done) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!done()) {
    if (exit_fd_ < 0 || !ReadSome(end)) return done();
  }
  return true;
}

int Process::Wait() {
  ReadUntil([this] { return exit_fd_ < 0; });
  return status_;
}

bool Process::WaitForOutput(const std::string& text) {
  return ReadUntil([this, &text] { return output_.find(text) != std::string::npos; });
}

bool Process::WaitForError(const std::string& text) {
  return ReadUntil([this, &text] { return error_.find(text) != std::string::npos; });
}

Finished RunToEnd(const std::vector<std::string>& command, const Process::Environment& changes) {
  Process process(command, changes);
  Finished finished;
  finished.status = process.Wait();
  finished.output = process.output();
  finished.error = process.error();
  return finished;
}
