#include "HttpPeer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "support/Patience.h"

namespace {

constexpr int kPatienceMs =
    static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(kPatience).count());

std::string LowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

int Connect(unsigned short port, bool is_v6) {
  const int fd = ::socket(is_v6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int result = -1;
  if (is_v6) {
    sockaddr_in6 address{};
    address.sin6_family = AF_INET6;
    address.sin6_port = htons(port);
    address.sin6_addr = in6addr_loopback;
    result = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  } else {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    result = ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  }
  if (result == 0) return fd;
  const int error = errno;
  ::close(fd);
  throw std::runtime_error(std::string("can't connect: ") + std::strerror(error));
}

}  // namespace

Json::Value HttpAnswer::Json() const {
  ::Json::Value value;
  std::istringstream(body) >> value;
  return value;
}

HttpPeer::HttpPeer(unsigned short port, bool is_v6) : fd_(Connect(port, is_v6)) {}

HttpPeer::~HttpPeer() {
  ::close(fd_);
}

bool HttpPeer::Send(const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    pollfd ready = {fd_, POLLOUT, 0};
    if (::poll(&ready, 1, kPatienceMs) <= 0) throw std::runtime_error("nobody reads");
    const ssize_t sent = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

bool HttpPeer::ReadMore() {
  pollfd ready = {fd_, POLLIN, 0};
  if (::poll(&ready, 1, kPatienceMs) <= 0) throw std::runtime_error("no answer: " + input_);
  char buffer[65536];
  const ssize_t count = ::recv(fd_, buffer, sizeof buffer, 0);
  if (count > 0) input_.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

HttpAnswer HttpPeer::ReadAnswer(bool has_body) {
  HttpAnswer answer;
  std::size_t end = 0;
  while ((end = input_.find("\r\n\r\n")) == std::string::npos) {
    if (!ReadMore()) return answer;
  }
  std::istringstream head(input_.substr(0, end + 2));
  std::string line;
  std::getline(head, line);
  answer.status = std::stoi(line.substr(9));
  while (std::getline(head, line)) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    answer.headers[LowerCase(line.substr(0, colon))] =
        line.substr(colon + 2, line.size() - colon - 3);
  }
  input_.erase(0, end + 4);
  const auto length = answer.headers.find("content-length");
  const std::size_t size = has_body && length != answer.headers.end()
                               ? static_cast<std::size_t>(std::stoul(length->second))
                               : 0;
  while (input_.size() < size && ReadMore()) {
  }
  answer.body = input_.substr(0, size);
  input_.erase(0, size);
  return answer;
}

HttpAnswer HttpPeer::Ask(const std::string& method, const std::string& target,
                         const HttpHeaders& headers, const std::string& body) {
  std::string request = method + " " + target + " HTTP/1.1\r\n";
  for (const auto& [name, value] : headers) request += name + ": " + value + "\r\n";
  if (!body.empty() || method == "POST") {
    request += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  }
  Send(request + "\r\n" + body);
  return ReadAnswer(method != "HEAD");
}

std::string HttpPeer::ReadUntil(const std::string& text) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (input_.find(text) == std::string::npos) {
    if (std::chrono::steady_clock::now() > end || !ReadMore())
      throw std::runtime_error("it did not come: " + input_);
  }
  return input_;
}

void HttpPeer::WaitForEnd() {
  while (ReadMore()) {
  }
}
