#include "ServerUnderTest.h"

#include <IPC/Protocol.h>

#include <future>
#include <stdexcept>

namespace Status = IPC::Protocol::Core::Status;

ServerUnderTest::ServerUnderTest() : work_(new boost::asio::io_service::work(queue_)) {
  server_ = IPC::Server::CreateEx(
      queue_,
      [this](Connection connection) {
        std::lock_guard<std::mutex> lock(mutex_);
        ++connected_;
        connections_.push_back(connection);
      },
      [this](Connection connection, const boost::system::error_code& reason) {
        {
          std::lock_guard<std::mutex> lock(mutex_);
          ends_.push_back(reason);
        }
        if (on_end) on_end(connection);
      },
      [this](Connection connection, const std::string& name, const Json::Value& params,
             IPC::Server::Reply reply) { Handle(connection, name, params, reply); },
      "Quillpost:Test");
  thread_ = std::thread([this] { queue_.run(); });
}

ServerUnderTest::~ServerUnderTest() {
  server_->Stop();
  server_.reset();
  work_.reset();
  thread_.join();
}

void ServerUnderTest::BetweenCallbacks(const std::function<void()>& job) {
  std::promise<void> done;
  queue_.post([&] {
    job();
    done.set_value();
  });
  done.get_future().get();
}

void ServerUnderTest::Handle(const Connection& connection, const std::string& name,
                             const Json::Value& params, const IPC::Server::Reply& reply) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(name);
    begins_of_requests_.push_back(connection->BeginOfRequest());
    if (name == "Hold" || name == "Keep") held_.push_back(reply);
    if (name == "Hold") return;
  }
  if (name == "Throw") throw std::runtime_error("no ink");
  if (name == "Notify") connection->SendNotification("Note", params);
  const bool known = name == "Echo" || name == "Notify" || name == "Keep";
  reply(known ? Status::Success : Status::NotSupported, name == "Echo" ? params : Json::Value());
}

void ServerUnderTest::Release(bool last_first) {
  std::deque<IPC::Server::Reply> held;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    held.swap(held_);
  }
  while (!held.empty()) {
    (last_first ? held.back() : held.front())(Status::Success, Json::Value());
    last_first ? held.pop_back() : held.pop_front();
  }
}

void ServerUnderTest::ReleaseTwice() {
  IPC::Server::Reply reply;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    reply = held_.front();
    held_.pop_front();
  }
  const IPC::Server::Reply copy = reply;
  reply(Status::Success, Json::Value());
  copy(Status::Failed, Json::Value());
}

std::vector<std::uint64_t> ServerUnderTest::begins_of_requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return begins_of_requests_;
}

std::size_t ServerUnderTest::held() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return held_.size();
}

std::vector<std::string> ServerUnderTest::requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

std::size_t ServerUnderTest::connected() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return connected_;
}

std::vector<boost::system::error_code> ServerUnderTest::ends() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return ends_;
}

std::vector<ServerUnderTest::Connection> ServerUnderTest::connections() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return connections_;
}

void ServerUnderTest::ForgetConnections() {
  std::lock_guard<std::mutex> lock(mutex_);
  connections_.clear();
}
