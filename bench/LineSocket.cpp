#include "LineSocket.h"

#include <TalvoQuillpost/Protocol.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace bench {

namespace {

constexpr time_t kPatienceSeconds = 300;

int Connect(const sockaddr* address, socklen_t size, const std::string& name) {
  const int fd = ::socket(address->sa_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || ::connect(fd, address, size) != 0) {
    ::close(fd);
    throw std::runtime_error("can't connect to " + name);
  }
  return fd;
}

}  // namespace

LineSocket::LineSocket(int fd) : fd_(fd) {
  const timeval patience = {kPatienceSeconds, 0};
  ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

LineSocket::~LineSocket() {
  ::close(fd_);
}

int LineSocket::ConnectToService() {
  return ConnectToPath(IPC::Protocol::Quillpost::GetEndpoint());
}

int LineSocket::ConnectToPath(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return Connect(reinterpret_cast<sockaddr*>(&address), sizeof address, path);
}

int LineSocket::ConnectToPort(int port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int fd =
      Connect(reinterpret_cast<sockaddr*>(&address), sizeof address, std::to_string(port));
  const int on = 1;
  ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
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
  SendBytes(line + "\n");
}

void LineSocket::SendBytes(const std::string& bytes) const {
  if (::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("can't send");
  }
}

bool LineSocket::ReceiveMore() {
  char bytes[64 * 1024];
  const ssize_t got = ::recv(fd_, bytes, sizeof bytes, 0);
  if (got < 0) throw std::runtime_error("nothing comes");
  input_.append(bytes, static_cast<std::size_t>(got));
  return got > 0;
}

bool LineSocket::AtEnd() {
  return input_.empty() && !ReceiveMore();
}

std::string LineSocket::Receive() {
  std::size_t end;
  while ((end = input_.find('\n')) == std::string::npos) {
    if (!ReceiveMore()) throw std::runtime_error("the connection has ended");
  }
  std::string line = input_.substr(0, end);
  input_.erase(0, end + 1);
  return line;
}

std::string LineSocket::ReceiveBytes(std::size_t count) {
  while (input_.size() < count) {
    if (!ReceiveMore()) throw std::runtime_error("the connection has ended");
  }
  std::string bytes = input_.substr(0, count);
  input_.erase(0, count);
  return bytes;
}

}  // namespace bench
