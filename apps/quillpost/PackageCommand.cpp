#include "PackageCommand.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

namespace {

// The environment of this process with other variables.
std::vector<std::string> Environment(const std::map<std::string, std::string>& variables) {
  std::vector<std::string> environment;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (variables.count(text.substr(0, text.find('='))) == 0) environment.push_back(text);
  }
  for (const auto& variable : variables) {
    environment.push_back(variable.first + "=" + variable.second);
  }
  return environment;
}

// Starts the shell. 0 or the error.
int Spawn(const std::string& command, std::vector<std::string> environment, pid_t& process) {
  std::vector<char*> pointers;
  for (std::string& variable : environment) pointers.push_back(&variable[0]);
  pointers.push_back(nullptr);
  const char* arguments[] = {"sh", "-c", command.c_str(), nullptr};

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  sigset_t all;
  sigset_t none;
  ::sigfillset(&all);
  ::sigemptyset(&none);
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  ::posix_spawnattr_init(&attributes);
  ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  ::posix_spawnattr_setsigdefault(&attributes, &all);
  ::posix_spawnattr_setsigmask(&attributes, &none);
  const int error = ::posix_spawn(&process, "/bin/sh", &actions, &attributes,
                                  const_cast<char**>(arguments), pointers.data());
  ::posix_spawnattr_destroy(&attributes);
  ::posix_spawn_file_actions_destroy(&actions);
  return error;
}

int Collect(pid_t process) {
  int status = 0;
  while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

bool PackageCommand::Start(const std::string& command,
                           const std::map<std::string, std::string>& variables,
                           std::function<void(int status)> on_end, std::string& reason) {
  pid_t process = -1;
  if (const int error = Spawn(command, Environment(variables), process)) {
    reason = std::generic_category().message(error);
    return false;
  }
  const int descriptor = static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
  if (descriptor < 0) {
    reason = std::generic_category().message(errno);
    ::kill(process, SIGKILL);
    Collect(process);
    return false;
  }
  ended_.assign(descriptor);
  ended_.async_wait(boost::asio::posix::stream_descriptor::wait_read,
                    [this, process, on_end](const boost::system::error_code& error) {
                      if (error) return;  // the owner goes, and the command is left to itself
                      boost::system::error_code ignored;
                      ended_.close(ignored);
                      on_end(Collect(process));
                    });
  return true;
}
