#include "LineSocket.h"

#include <TalvoQuillpost/Protocol.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace bench {

LineSocket::~LineSocket() {
  ::close(fd_);
}

int LineSocket::ConnectToService() {
  const std::string endpoint = IPC::Protocol::Quillpost::GetEndpoint();
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, endpoint.c_str(), sizeof address.sun_path - 1);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("can't connect to " + endpoint);
  }
  return fd;
}

std::pair<int, int> LineSocket::Pair() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::runtime_error("can't make a pair of sockets");
  }
  return {ends[0], ends[1]};
}

void LineSocket::Send(const std::string& line) const {
  const std::string bytes = line + "\n";
  if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("can't send");
  }
}

std::string LineSocket::Receive() {
  std::size_t end;
  while ((end = input_.find('\n')) == std::string::npos) {
    char bytes[4096];
    const ssize_t got = ::recv(fd_, bytes, sizeof bytes, 0);
    if (got <= 0) throw std::runtime_error("the connection has ended");
    input_.append(bytes, static_cast<std::size_t>(got));
  }
  std::string line = input_.substr(0, end);
  input_.erase(0, end + 1);
  return line;
}

}  // namespace bench
