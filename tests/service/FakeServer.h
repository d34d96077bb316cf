// The service over a stand-in for its server. Programs that link FakeServer.cpp have an
// IPC::Server::CreateEx of their own in the place of the library's: it hands the service's
// callbacks whatever a test likes, and may make no server at all. Two calls that the service makes
// into the os library come by here, too.

#pragma once

#include <IPC/Server.h>
#include <TalvoQuillpost/IService.h>
#include <gtest/gtest.h>

#include <atomic>
#include <boost/make_shared.hpp>
#include <functional>
#include <string>

#include "support/LogCapture.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

class FakeServer : public IPC::Server {
 public:
  bool Listen(const std::string& listened_endpoint) override {
    endpoint = listened_endpoint;
    return listens;
  }
  void Stop() override {
    ++stops;
    if (on_stop) on_stop();
  }

  boost::asio::io_service* queue = nullptr;
  OnConnected on_connected;
  OnDisconnected on_disconnected;
  OnRequest on_request;
  std::function<void()> on_stop;  // called by the host's thread
  std::string name;
  std::string endpoint;
  int stops = 0;

  static boost::shared_ptr<FakeServer> latest;
  static bool makes_none;
  static bool listens;

  // Called at each launch of an application, and at each look for the directory of subscriptions:
  // on the thread that does it, before it is done. Set before the service starts.
  static std::function<void(const std::string& program)> on_launch;
  static std::function<void()> on_subscriptions;
};

class Peer : public IPC::Server::Connection {
 public:
  bool SendNotification(const std::string&, const Json::Value&,
                        std::uint64_t* sent_by_peer) override {
    if (sent_by_peer != nullptr) *sent_by_peer = read + unread;
    ++notifications;
    if (on_send) on_send();
    return true;
  }
  // Each request is one byte, counted when the service asks for its place.
  std::uint64_t BeginOfRequest() const override { return read++; }

  mutable std::atomic<std::uint64_t> read{0};
  std::atomic<std::uint64_t> unread{0};  // requests that have arrived and were not handed on
  std::atomic<int> notifications{0};
  std::function<void()> on_send;  // set while nothing is delivered
};

class ServiceOverAFakeServer : public testing::Test {
 protected:
  ServiceOverAFakeServer() {
    FakeServer::makes_none = false;
    FakeServer::listens = true;
    root.Subscribe("Sketcher", "1.2.3.4");
  }
  ~ServiceOverAFakeServer() override {
    service->Stop();
    FakeServer::latest.reset();
  }

  // Runs something on the server's thread and waits for its end.
  static void OnServerThread(const std::function<void()>& job);

  // The status of a request that is answered, once, before its callback returns.
  std::string Ask(const std::string& name, const Json::Value& params) {
    return Ask(peer, name, params);
  }
  static std::string Ask(const boost::shared_ptr<Peer>& from, const std::string& name,
                         const Json::Value& params);

  static Json::Value App(const std::string& id) { return Params({{"ApplicationID", id}}); }

  TestRoot root;
  LogCapture log;
  const boost::shared_ptr<Peer> peer = boost::make_shared<Peer>();
  const boost::shared_ptr<TalvoQuillpost::IService> service =
      TalvoQuillpost::CreateQuillpostService();
};
