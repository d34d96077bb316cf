// The service over a server that is none: this program has its own IPC::Server::CreateEx in the
// place of the library's, hands the service's callbacks whatever it likes, and may make no server
// at all.

#include <IPC/Server.h>
#include <TalvoQuillpost/IService.h>
#include <TalvoQuillpost/Protocol.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <boost/asio/error.hpp>
#include <boost/make_shared.hpp>
#include <boost/thread/future.hpp>
#include <functional>
#include <string>
#include <thread>

#include "support/LogCapture.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

namespace {

bool g_makes_none = false;
bool g_listens = true;

class FakeServer : public IPC::Server {
 public:
  bool Listen(const std::string& listened_endpoint) override {
    endpoint = listened_endpoint;
    return g_listens;
  }
  void Stop() override { ++stops; }

  boost::asio::io_service* queue = nullptr;
  OnConnected on_connected;
  OnDisconnected on_disconnected;
  OnRequest on_request;
  std::string name;
  std::string endpoint;
  int stops = 0;
};

boost::shared_ptr<FakeServer> g_server;  // the latest

class Peer : public IPC::Server::Connection {
 public:
  bool SendNotification(const std::string&, const Json::Value&) override {
    ++notifications;
    if (on_send) on_send();
    return true;
  }

  std::atomic<int> notifications{0};
  std::function<void()> on_send;  // set while nothing is delivered
};

}  // namespace

namespace IPC {

boost::shared_ptr<Server> Server::CreateEx(boost::asio::io_service& queue, OnConnected on_connected,
                                           OnDisconnected on_disconnected, OnRequest on_request,
                                           const std::string& name) {
  if (g_makes_none) return nullptr;
  g_server = boost::make_shared<FakeServer>();
  g_server->queue = &queue;
  g_server->on_connected = on_connected;
  g_server->on_disconnected = on_disconnected;
  g_server->on_request = on_request;
  g_server->name = name;
  return g_server;
}

}  // namespace IPC

namespace {

class ServiceOverAFakeServer : public testing::Test {
 protected:
  ServiceOverAFakeServer() { root.Subscribe("Sketcher", "1.2.3.4"); }
  ~ServiceOverAFakeServer() override {
    service->Stop();
    g_server.reset();
  }

  // Runs something on the server's thread and waits for its end.
  static void OnServerThread(const std::function<void()>& job) {
    boost::promise<void> done;
    g_server->queue->post([&] {
      job();
      done.set_value();
    });
    done.get_future().get();
  }

  // The status of a request that is answered, once, before its callback returns.
  std::string Ask(const std::string& name, const Json::Value& params) {
    std::string answer;
    int answers = 0;
    OnServerThread([&] {
      g_server->on_request(peer, name, params, [&](const std::string& status, const Json::Value&) {
        answer = status;
        ++answers;
      });
    });
    EXPECT_EQ(answers, 1) << name;
    return answer;
  }

  TestRoot root;
  LogCapture log;
  const boost::shared_ptr<Peer> peer = boost::make_shared<Peer>();
  const boost::shared_ptr<TalvoQuillpost::IService> service =
      TalvoQuillpost::CreateQuillpostService();
};

TEST_F(ServiceOverAFakeServer, NamesItAndAsksForNoNewsOfNewConnections) {
  ASSERT_TRUE(service->Start());
  EXPECT_EQ(g_server->name, "Quillpost:Service");
  EXPECT_EQ(g_server->endpoint, IPC::Protocol::Quillpost::GetEndpoint());
  EXPECT_TRUE(g_server->on_connected.empty());
  EXPECT_FALSE(g_server->on_disconnected.empty());
  EXPECT_FALSE(g_server->on_request.empty());
}

TEST_F(ServiceOverAFakeServer, StopsItOnceAndLetsGoOfIt) {
  ASSERT_TRUE(service->Start());
  service->Stop();
  service->Stop();
  EXPECT_EQ(g_server->stops, 1);
  EXPECT_EQ(g_server.use_count(), 1);
}

TEST_F(ServiceOverAFakeServer, StopsItAlsoWhereItDoesNotListen) {
  g_listens = false;
  EXPECT_FALSE(service->Start());
  EXPECT_EQ(g_server->stops, 1);
  EXPECT_EQ(g_server.use_count(), 1);
}

TEST_F(ServiceOverAFakeServer, TakesArgumentsThatAreNoObjectAsNone) {
  ASSERT_TRUE(service->Start());
  Json::Value list(Json::arrayValue);
  list.append("Sketcher");
  for (const Json::Value& params : {Json::Value(), list, Json::Value("Sketcher"), Json::Value(7)}) {
    EXPECT_EQ(Ask("Hello", params), "Success");
    EXPECT_EQ(Ask("EnableNotifications", params), "NotRegistered");
    EXPECT_EQ(Ask("DisableNotifications", params), "NotRegistered");
    EXPECT_EQ(Ask("ConfirmInkPackageDelivery", params), "Failed");
    EXPECT_EQ(Ask("ImportSTF2File", params), "Failed");
    EXPECT_EQ(Ask("", params), "NotSupported");
  }
}

TEST_F(ServiceOverAFakeServer, AnswersAnImportFromAnotherThread) {
  ASSERT_TRUE(service->Start());
  boost::promise<boost::thread::id> answered;
  boost::thread::id server_thread;
  OnServerThread([&] {
    server_thread = boost::this_thread::get_id();
    g_server->on_request(peer, "ImportSTF2File", Params({{"InkPackagePath", "/missing"}}),
                         [&](const std::string& status, const Json::Value& result) {
                           EXPECT_EQ(status, "Failed");
                           EXPECT_TRUE(result.isNull());
                           answered.set_value(boost::this_thread::get_id());
                         });
  });
  EXPECT_NE(answered.get_future().get(), server_thread);
}

TEST_F(ServiceOverAFakeServer, TakesASecondReportOfAnEndForNothing) {
  ASSERT_TRUE(service->Start());
  EXPECT_EQ(Ask("EnableNotifications", Params({{"ApplicationID", "Sketcher"}})), "Success");
  const auto report = [this] {
    OnServerThread(
        [this] { g_server->on_disconnected(peer, boost::asio::error::connection_reset); });
  };
  report();
  EXPECT_EQ(log.Count(2, "Client 'Sketcher' crashed."), 1u);
  EXPECT_EQ(peer.use_count(), 1);
  report();
  EXPECT_EQ(log.Count(2, "Client 'Sketcher' crashed."), 1u);
}

// Which error ended the connection makes no difference, nor whether there was one.
TEST_F(ServiceOverAFakeServer, TakesEveryEndForACrash) {
  ASSERT_TRUE(service->Start());
  EXPECT_EQ(Ask("EnableNotifications", Params({{"ApplicationID", "Sketcher"}})), "Success");
  OnServerThread([this] { g_server->on_disconnected(peer, boost::system::error_code()); });
  EXPECT_TRUE(log.Has(2, "Client 'Sketcher' crashed."));
}

// Disabling joins the delivery thread, which is in the midst of offering the ink of two pens: the
// package under way is its last.
TEST_F(ServiceOverAFakeServer, OffersNothingMoreToAnApplicationThatIsBeingDisabled) {
  WriteFile(root.storage() / "PEN-A/1.2.3.4/s1.stf2", "ink");
  WriteFile(root.storage() / "PEN-B/1.2.3.4/s1.stf2", "ink");
  ASSERT_TRUE(service->Start());
  ASSERT_TRUE(log.WaitFor(3, "Ink Delivery finished."));
  boost::promise<void> offering, let_go;
  peer->on_send = [&] {
    if (peer->notifications > 1) return;
    offering.set_value();
    let_go.get_future().get();
  };
  const Json::Value sketcher = Params({{"ApplicationID", "Sketcher"}});
  EXPECT_EQ(Ask("EnableNotifications", sketcher), "Success");
  offering.get_future().get();
  std::atomic<pid_t> server_thread{0};
  g_server->queue->post([&] { server_thread = ::gettid(); });
  std::string status;
  std::thread asking([&] { status = Ask("DisableNotifications", sketcher); });
  EXPECT_TRUE(log.WaitFor(3, "Client 'Sketcher' disconnected."));
  EXPECT_TRUE(Eventually([&] { return IsThreadAsleep(server_thread); }));
  let_go.set_value();
  asking.join();
  EXPECT_EQ(status, "Success");
  EXPECT_EQ(peer->notifications, 1);
}

TEST(ServiceOverAFakeServerDeathTest, EndsTheProcessWhereThereIsNoServer) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TestRoot root;
  g_makes_none = true;
  EXPECT_EXIT(TalvoQuillpost::CreateQuillpostService()->Start(), testing::KilledBySignal(SIGABRT),
              "Assertion failed: \\(server_ != nullptr\\), .*file Service.cpp");
}

}  // namespace
