#include "HostilePeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace {

constexpr int kPatienceMs = 20;  // with a service that takes or sends nothing just now

std::string Repeat(const std::string& text, std::size_t times) {
  std::string all;
  all.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) all += text;
  return all;
}

bool IsReady(int fd, short events) {
  pollfd poll = {fd, events, 0};
  return ::poll(&poll, 1, kPatienceMs) == 1;
}

}  // namespace

HostilePeer::HostilePeer(const std::string& endpoint, const std::string& application,
                         const std::string& ink, unsigned seed)
    : endpoint_(endpoint), application_(application), ink_(ink), random_(seed) {}

int HostilePeer::Connect() const {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  endpoint_.copy(address.sun_path, sizeof address.sun_path - 1);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  ::close(fd);
  return -1;
}

bool HostilePeer::Pour(int fd, const std::string& bytes) {
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t n =
        ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
    } else if (errno != EAGAIN) {
      return false;
    } else if (!IsReady(fd, POLLOUT)) {
      return true;  // half a message is a misdeed, too
    }
  }
  return true;
}

void HostilePeer::Read(int fd) {
  std::array<char, 16 * 1024> bytes;
  for (std::size_t times = UpTo(200); times > 0 && IsReady(fd, POLLIN); --times) {
    if (::recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT) <= 0) return;
  }
}

void HostilePeer::Visit() {
  const int fd = Connect();
  if (fd < 0) return;
  while (Pour(fd, Misdeed()) && UpTo(3) != 0) {
    if (UpTo(2) == 0) Read(fd);
  }
  if (UpTo(2) == 0) ::shutdown(fd, SHUT_WR);
  if (UpTo(2) == 0) Read(fd);
  ::close(fd);
}

std::string HostilePeer::Bytes(std::size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random_());
  return bytes;
}

std::string HostilePeer::Request(const std::string& method, const std::string& params) {
  return std::string("{\"jsonrpc\":\"2.0\",") + (UpTo(1) == 0 ? "\"id\":1," : "") +
         "\"method\":\"" + method + "\",\"params\":{" + params + "}}\n";
}

std::string HostilePeer::ManyValues() {
  std::string values;
  for (std::size_t i = UpTo(40000); i > 0; --i) values += "\"" + std::to_string(i) + "\",";
  return "[" + values + Repeat("[],", UpTo(40000)) + "0]";
}

std::string HostilePeer::Misdeed() {
  const std::string application = "\"ApplicationID\":\"" + application_ + "\"";
  switch (UpTo(15)) {
    case 0:
      return Bytes(UpTo(20000));
    case 1:
      return std::string(UpTo(1500000), 'x');
    case 2:
      return std::string(UpTo(1000000), '[') + "\n";
    case 3:
      return Request("Hello", "\"x\":" + ManyValues());
    case 4:
      return Request("EnableNotifications", "\"ApplicationID\":" + ManyValues());
    case 5:
      return Repeat(Request("Hello", ""), UpTo(3000));
    case 6:
      return Repeat(Request("ImportSTF2File", "\"InkPackagePath\":\"/nowhere\""), UpTo(1000));
    case 7:
      return Request("ImportSTF2File",
                     "\"InkPackagePath\":\"" + std::string(UpTo(1048000), 'p') + "\"");
    case 8:
      return Request("Hello", "").substr(0, UpTo(50));
    case 9:
      return Repeat("{\"jsonrpc\":\"2.0\",\"id\":{},\"method\":\"Hello\"}\n", UpTo(9));
    case 10:
      return Repeat("\n", UpTo(100000));
    case 11:
      return "{\"jsonrpc\":\"2.0\",\"id\":\"" + Bytes(40) + "\"}\n";
    case 12:
      return Request("ImportSTF2File", "\"InkPackagePath\":\"" + ink_ + "\"");
    case 13:
      return Repeat(Request("EnableNotifications", application) +
                        (UpTo(1) == 0 ? Request("DisableNotifications", application) : ""),
                    UpTo(5));
    case 14:
      return Repeat(Request("ConfirmInkPackageDelivery",
                            "\"InkPackagePen\":\"0123-4567-89AB-CDEF\",\"InkPackageDelivered\":" +
                                std::string(UpTo(1) == 0 ? "true" : "7")),
                    UpTo(300));
    default:
      return Request("ConfirmInkPackageDelivery",
                     "\"InkPackagePen\":\"none\",\"InkPackageDelivered\":true,"
                     "\"IgnoredPageAddresses\":" +
                         ManyValues());
  }
}
