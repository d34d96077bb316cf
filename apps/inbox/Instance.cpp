#include "Instance.h"

#include <TalvoCppUtils/Descriptor.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Inbox {
namespace {

using std::chrono::steady_clock;

// A large database takes seconds to be checked before there is an address.
constexpr std::chrono::seconds kStartPatience(60);

constexpr std::chrono::milliseconds kEndPatience(30000);

std::string LockFile(const std::string& directory) {
  return directory + "/inbox.lock";
}

std::string ReadAddress(const std::string& directory) {
  std::ifstream file(AddressFile(directory));
  std::string address;
  std::getline(file, address);
  return address;
}

}  // namespace

Instance::Instance(const std::string& directory) {
  const std::string path = LockFile(directory);
  fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (fd_ < 0) {
    throw std::runtime_error("can't open " + path + ": " + std::generic_category().message(errno));
  }
  is_ours_ = ::flock(fd_, LOCK_EX | LOCK_NB) == 0;
  if (!is_ours_) return;
  // A killed process may have left its address. Nobody who waits for ours must read that one.
  ::unlink(AddressFile(directory).c_str());
  const std::string process = std::to_string(::getpid()) + "\n";
  const auto size = static_cast<ssize_t>(process.size());
  if (::ftruncate(fd_, 0) != 0 || ::write(fd_, process.data(), process.size()) != size) {
    throw std::runtime_error("can't write " + path + ": " + std::generic_category().message(errno));
  }
}

Instance::~Instance() {
  ::close(fd_);
}

bool EndRunning(const std::string& directory) {
  const std::string path = LockFile(directory);
  const TalvoCppUtils::Descriptor lock(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!lock.is_open() || ::flock(lock.get(), LOCK_EX | LOCK_NB) == 0) return false;
  pid_t process = 0;
  std::ifstream(path) >> process;
  const TalvoCppUtils::Descriptor end(
      process > 0 ? static_cast<int>(::syscall(SYS_pidfd_open, process, 0)) : -1);
  // The lock is still held: the process is the one that we have open, and not one that got its
  // number after its end.
  const bool has_ended = ::flock(lock.get(), LOCK_EX | LOCK_NB) == 0;
  if (has_ended) return true;
  if (!end.is_open() || ::kill(process, SIGTERM) != 0) {
    throw std::runtime_error("can't tell which process is the inbox");
  }
  pollfd ended = {end.get(), POLLIN, 0};
  if (::poll(&ended, 1, static_cast<int>(kEndPatience.count())) == 1) return true;
  throw std::runtime_error("the inbox, process " + std::to_string(process) + ", does not end");
}

std::string AddressFile(const std::string& directory) {
  return directory + "/inbox.address";
}

std::string WaitForAddress(const std::string& directory) {
  const auto end = steady_clock::now() + kStartPatience;
  const int events = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  ::inotify_add_watch(events, directory.c_str(), IN_MOVED_TO);
  std::string address;
  while ((address = ReadAddress(directory)).empty() && steady_clock::now() < end) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now());
    pollfd readable = {events, POLLIN, 0};
    ::poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 1)));
    char buffer[4096];
    while (::read(events, buffer, sizeof buffer) > 0) {
    }
  }
  ::close(events);
  return address;
}

bool ShowInBrowser(const std::string& address) {
  // xdg-open ends when the browser has the address, or becomes the browser itself. It is started by
  // a shell that ends first, so that we do not have to wait for it.
  const char* const command =
      "command -v xdg-open >/dev/null || exit 127; xdg-open \"$1\" "
      "</dev/null >/dev/null 2>&1 &";
  const char* const arguments[] = {"sh", "-c", command, "sh", address.c_str(), nullptr};
  pid_t process = -1;
  const int error = ::posix_spawnp(&process, "sh", nullptr, nullptr,
                                   const_cast<char* const*>(arguments), environ);
  int status = 0;
  while (error == 0 && ::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (error == 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0) return true;
  std::fprintf(stderr,
               "quillpost-inbox: there is no xdg-open to show it; open the address by hand\n");
  return false;
}

}  // namespace Inbox
