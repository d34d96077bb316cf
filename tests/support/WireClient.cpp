#include "support/WireClient.h"

#include <errno.h>
#include <json/reader.h>
#include <json/writer.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "support/Patience.h"

namespace {

constexpr int kBoundMs = std::chrono::milliseconds(kPatience).count();

[[noreturn]] void Fail(const std::string& what) {
  throw std::runtime_error("wire client: " + what);
}

Json::Value Parse(const std::string& line) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value message;
  std::string errors;
  if (!reader->parse(line.data(), line.data() + line.size(), &message, &errors)) {
    Fail("no JSON: " + line);
  }
  return message;
}

std::string ToLine(const Json::Value& message) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, message) + "\n";
}

}  // namespace

WireClient::WireClient(const std::string& endpoint) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (endpoint.size() >= sizeof address.sun_path) Fail("endpoint too long: " + endpoint);
  std::memcpy(address.sun_path, endpoint.data(), endpoint.size());
  fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const int error = errno;
    ::close(fd_);
    Fail("can't connect to " + endpoint + ": " + std::strerror(error));
  }
}

WireClient::~WireClient() {
  Die();
}

int WireClient::Send(const std::string& method, const Json::Value& params) {
  Json::Value request;
  request["jsonrpc"] = "2.0";
  request["id"] = ++last_id_;
  request["method"] = method;
  request["params"] = params;
  SendBytes(ToLine(request));
  return last_id_;
}

void WireClient::SendBytes(const std::string& bytes) {
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    const ssize_t n = ::send(fd_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) Fail(std::string("can't send: ") + std::strerror(errno));
    sent += static_cast<std::size_t>(n);
  }
}

Json::Value WireClient::WaitForReply(int id) {
  while (replies_.count(id) == 0) {
    if (!ReadMessage(kBoundMs)) Fail("no reply to request " + std::to_string(id));
  }
  const Json::Value reply = replies_[id];
  replies_.erase(id);
  return reply;
}

std::string WireClient::Request(const std::string& method, const Json::Value& params) {
  return WaitForReply(Send(method, params))["result"]["status"].asString();
}

Json::Value WireClient::WaitForNotification() {
  while (notifications_.empty()) {
    if (!ReadMessage(kBoundMs)) Fail("no notification");
  }
  const Json::Value params = notifications_.front();
  notifications_.pop_front();
  return params;
}

bool WireClient::HasNotification(int timeout_ms) {
  while (notifications_.empty()) {
    if (!ReadMessage(timeout_ms)) return false;
  }
  return true;
}

pid_t WireClient::service() const {
  ucred credentials = {};
  socklen_t size = sizeof credentials;
  if (::getsockopt(fd_, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) Fail("no peer");
  return credentials.pid;
}

std::size_t WireClient::CountNotifications() {
  while (ReadMessage(0)) {
  }
  return notifications_.size();
}

std::string WireClient::WaitForLine() {
  std::string line;
  if (!ReadLine(kBoundMs, line) && !ended_) Fail("no line");
  return line;
}

void WireClient::WaitForEnd() {
  while (ReadMessage(kBoundMs)) {
  }
  if (!ended_) Fail("the connection does not end");
}

void WireClient::HalfClose() {
  ::shutdown(fd_, SHUT_WR);
}

void WireClient::Die() {
  if (fd_ >= 0) ::close(fd_);
  fd_ = -1;
  ended_ = true;
}

bool WireClient::ReadMessage(int timeout_ms) {
  std::string line;
  if (!ReadLine(timeout_ms, line)) return false;
  const Json::Value message = Parse(line);
  if (message.isMember("method")) {
    notifications_.push_back(message["params"]);
  } else {
    replies_[message["id"].isInt() ? message["id"].asInt() : 0] = message;
  }
  return true;
}

// False when nothing has come in time, and at the end of the connection.
bool WireClient::ReadLine(int timeout_ms, std::string& line) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  std::size_t length;
  while ((length = input_.find('\n')) == std::string::npos) {
    if (ended_) return false;
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd socket = {fd_, POLLIN, 0};
    const int ready = ::poll(&socket, 1, static_cast<int>(std::max<long>(left.count(), 0)));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    char buffer[65536];
    const ssize_t n = ::recv(fd_, buffer, sizeof buffer, 0);
    if (n > 0) input_.append(buffer, static_cast<std::size_t>(n));
    if (n == 0 || (n < 0 && errno != EINTR)) ended_ = true;
  }
  line = input_.substr(0, length);
  input_.erase(0, length + 1);
  return true;
}

Json::Value Params(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  Json::Value params(Json::objectValue);
  for (const auto& [key, value] : members) params[key] = value;
  return params;
}
