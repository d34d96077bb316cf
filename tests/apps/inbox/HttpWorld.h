// A server on a thread of its own, and somebody who answers for it.

#pragma once

#include <gtest/gtest.h>
#include <sodium.h>

#include <algorithm>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "HttpPeer.h"
#include "database/Keeper.h"
#include "http/Server.h"
#include "support/Patience.h"
#include "support/TestRoot.h"

// Answers a request with its method and body; /later when the test says so, /events as a stream.
class EchoHandler : public Inbox::Handler {
 public:
  void Handle(Inbox::Request request, Inbox::Reply reply) override {
    Inbox::Response response;
    response.type = "text/plain";
    response.body = request.method + " " + request.body;
    response.is_event_stream = request.path == "/api/events";
    if (request.path == "/api/later") {
      later_ = std::move(reply);
      Note("later");
    } else {
      reply(response);
    }
  }
  void OnStream(const Inbox::Request&, std::shared_ptr<Inbox::EventStream> stream) override {
    streams_.push_back(std::move(stream));
    Note("stream");
  }
  void OnStreamEnd(const std::shared_ptr<Inbox::EventStream>&) override { Note("end"); }

  // Waits until the word was noted.
  void WaitFor(const std::string& word) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(news_.wait_for(lock, kPatience, [&] {
      return std::find(noted_.begin(), noted_.end(), word) != noted_.end();
    })) << word;
  }

  // After a wait for "later" or "stream".
  Inbox::Reply later_;
  std::vector<std::shared_ptr<Inbox::EventStream>> streams_;

 private:
  void Note(const std::string& word) {
    const std::lock_guard<std::mutex> lock(mutex_);
    noted_.push_back(word);
    news_.notify_all();
  }

  std::mutex mutex_;
  std::condition_variable news_;
  std::vector<std::string> noted_;  // guarded by mutex_
};

class HttpWorld : public testing::Test {
 protected:
  explicit HttpWorld(Inbox::HttpLimits limits = {})
      : sessions_((root_.path() / "address").string(), [](const Inbox::Sessions::Session&) {}),
        server_(queue_, handler_, limits),
        port_(server_.Bind(0)),
        guard_(sessions_, port_) {
    EXPECT_GE(::sodium_init(), 0);
    sessions_.Begin(port_);
    const std::string address = sessions_.Address();
    const std::string token = address.substr(address.find('=') + 1);
    cookie_ = sessions_.CookieName() + "=" + sessions_.Open(token, Inbox::NowMs());
    server_.Serve(guard_);
    thread_ = std::thread([this] { queue_.run(); });
  }
  ~HttpWorld() override {
    StopServer();
    handler_.streams_.clear();
  }

  // Ends the server and its thread.
  void StopServer() {
    if (!thread_.joinable()) return;
    boost::asio::post(queue_, [this] { server_.Stop(); });
    work_.reset();
    thread_.join();
  }

  // The headers of our own page, let in.
  HttpHeaders Ours() const {
    const std::string host = "127.0.0.1:" + std::to_string(port_);
    return {{"Host", host},
            {"Cookie", cookie_},
            {"Origin", "http://" + host},
            {"Content-Type", "application/json"}};
  }

  // Our request as bytes, without its body.
  std::string Head(const std::string& method, const std::string& target,
                   const std::string& more = "") const {
    std::string head = method + " " + target + " HTTP/1.1\r\n";
    for (const auto& [name, value] : Ours()) head += name + ": " + value + "\r\n";
    return head + more + "\r\n";
  }

  const TestRoot root_;
  Inbox::Sessions sessions_;
  EchoHandler handler_;
  boost::asio::io_context queue_;
  Inbox::HttpServer server_;
  const unsigned short port_;
  const Inbox::Guard guard_;
  std::string cookie_;

 private:
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_ =
      boost::asio::make_work_guard(queue_);
  std::thread thread_;
};
