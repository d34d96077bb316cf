// What the tests of the client share: services for it to meet, and what its callbacks have said.

#pragma once

#include <IPC/Client.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <mutex>
#include <string>
#include <vector>

#include "ServerUnderTest.h"

typedef IPC::Client Client;
typedef Client::Error Error;
typedef Client::Milliseconds Milliseconds;

// A service that says what the test wants it to say, one connection at a time.
class FakeService {
 public:
  explicit FakeService(const std::string& path, int backlog = 4) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listener_, backlog), 0);
  }
  ~FakeService() {
    ::close(listener_);
    if (connection_ >= 0) ::close(connection_);
  }

  void Accept() {
    connection_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    EXPECT_GE(connection_, 0);
  }
  void Say(const std::string& bytes) {
    EXPECT_EQ(::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
  }
  // What has come, up to the end of a line or of the connection.
  std::string Hear() {
    std::string heard;
    char byte;
    while (::recv(connection_, &byte, 1, 0) == 1 && byte != '\n') heard += byte;
    return heard;
  }

 private:
  int listener_ = -1;
  int connection_ = -1;
};

// What the callbacks of a client have said, in their order.
class Heard {
 public:
  void Add(const std::string& what) {
    std::lock_guard<std::mutex> lock(mutex_);
    what_.push_back(what);
  }
  std::vector<std::string> what() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return what_;
  }
  bool WaitFor(std::size_t count) const {
    return Eventually([&] { return what().size() >= count; });
  }
  Client::Options Options() {
    Client::Options options;
    options.on_connected = [this] { Add("connected"); };
    options.on_disconnected = [this](const Client::Outcome& reason) {
      Add("disconnected: " + reason.message);
    };
    options.on_notification = [this](const std::string& name, const Json::Value& params) {
      Add(name + " " + params["n"].asString());
    };
    return options;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> what_;
};

typedef std::vector<std::string> Strings;

inline Json::Value Number(int n) {
  Json::Value params(Json::objectValue);
  params["n"] = n;
  return params;
}

// A directory in which a service may be found.
class Connecting : public testing::Test {
 protected:
  std::string path() const { return (root_.path() / "ipc.sock").string(); }

  void ExpectOutcome(const std::string& endpoint, Error error, const std::string& message) {
    Client client;
    const Client::Outcome outcome = client.Connect(endpoint, Milliseconds(50));
    EXPECT_EQ(outcome.error, error);
    EXPECT_EQ(outcome.message, message);
    EXPECT_FALSE(client.IsConnected());
  }

  TestRoot root_;
};
