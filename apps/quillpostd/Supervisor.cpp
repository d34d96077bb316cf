#include "Supervisor.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

Supervisor::Supervisor() {
  if (const char* socket = ::getenv("NOTIFY_SOCKET")) socket_ = socket;
  ::unsetenv("NOTIFY_SOCKET");
}

bool Supervisor::Send(const std::string& state) const {
  if (socket_.empty()) return true;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (socket_.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, socket_.data(), socket_.size());
  if (socket_[0] == '@') address.sun_path[0] = '\0';  // an abstract name, not a file
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());

  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return false;
  const timeval patience = {1, 0};  // a manager that does not read must not hold up the end
  ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  const ssize_t sent = ::sendto(fd, state.data(), state.size(), MSG_NOSIGNAL,
                                reinterpret_cast<const sockaddr*>(&address), length);
  const int error = errno;
  ::close(fd);
  errno = error;
  return sent >= 0;
}

bool IsStderrTheJournal() {
  const char* stream = ::getenv("JOURNAL_STREAM");
  struct stat status;
  return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
         std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}
