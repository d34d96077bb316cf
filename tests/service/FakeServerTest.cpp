// The service and its server: what the two ask of each other.

#include <TalvoQuillpost/Protocol.h>
#include <unistd.h>

#include <boost/asio/error.hpp>
#include <boost/thread/future.hpp>
#include <thread>

#include "service/FakeServer.h"

namespace {

TEST_F(ServiceOverAFakeServer, NamesItAndAsksForNoNewsOfNewConnections) {
  ASSERT_TRUE(service->Start());
  EXPECT_EQ(FakeServer::latest->name, "Quillpost:Service");
  EXPECT_EQ(FakeServer::latest->endpoint, IPC::Protocol::Quillpost::GetEndpoint());
  EXPECT_TRUE(FakeServer::latest->on_connected.empty());
  EXPECT_FALSE(FakeServer::latest->on_disconnected.empty());
  EXPECT_FALSE(FakeServer::latest->on_request.empty());
}

TEST_F(ServiceOverAFakeServer, StopsItOnceAndLetsGoOfIt) {
  ASSERT_TRUE(service->Start());
  service->Stop();
  service->Stop();
  EXPECT_EQ(FakeServer::latest->stops, 1);
  EXPECT_EQ(FakeServer::latest.use_count(), 1);
}

TEST_F(ServiceOverAFakeServer, StopsItAlsoIfItDoesNotListen) {
  FakeServer::listens = false;
  EXPECT_FALSE(service->Start());
  EXPECT_EQ(FakeServer::latest->stops, 1);
  EXPECT_EQ(FakeServer::latest.use_count(), 1);
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
    FakeServer::latest->on_request(peer, "ImportSTF2File", Params({{"InkPackagePath", "/missing"}}),
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
    OnServerThread([this] {
      FakeServer::latest->on_disconnected(peer, boost::asio::error::connection_reset);
    });
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
  OnServerThread(
      [this] { FakeServer::latest->on_disconnected(peer, boost::system::error_code()); });
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
  FakeServer::latest->queue->post([&] { server_thread = ::gettid(); });
  std::string status;
  std::thread asking([&] { status = Ask("DisableNotifications", sketcher); });
  EXPECT_TRUE(log.WaitFor(3, "Client 'Sketcher' disconnected."));
  EXPECT_TRUE(Eventually([&] { return IsThreadAsleep(server_thread); }));
  let_go.set_value();
  asking.join();
  EXPECT_EQ(status, "Success");
  EXPECT_EQ(peer->notifications, 1);
}

// A confirmation is answered at once. Its reply function is kept until it has been carried out: by
// that the server knows how much of one connection waits, and reads no further.
TEST_F(ServiceOverAFakeServer, KeepsTheReplyOfAConfirmationUntilItHasBeenCarriedOut) {
  WriteFile(root.storage() / "PEN-A/1.2.3.4/s1.stf2", "ink");
  ASSERT_TRUE(service->Start());
  ASSERT_TRUE(log.WaitFor(3, "Ink Delivery finished."));
  boost::promise<void> offering, let_go;
  peer->on_send = [&] {
    if (peer->notifications > 1) return;  // what is refused is offered again
    offering.set_value();
    let_go.get_future().get();
  };
  EXPECT_EQ(Ask("EnableNotifications", Params({{"ApplicationID", "Sketcher"}})), "Success");
  offering.get_future().get();

  std::weak_ptr<std::string> kept;
  std::string answer;
  OnServerThread([&] {
    const auto held = std::make_shared<std::string>();
    kept = held;
    FakeServer::latest->on_request(
        peer, "ConfirmInkPackageDelivery", Params({{"InkPackagePen", "PEN-A"}}),
        [&answer, held](const std::string& status, const Json::Value&) { answer = status; });
  });
  EXPECT_EQ(answer, "Success");
  EXPECT_FALSE(kept.expired());
  let_go.set_value();
  EXPECT_TRUE(Eventually([&] { return kept.expired(); }));
  EXPECT_EQ(Ask("DisableNotifications", Params({{"ApplicationID", "Sketcher"}})), "Success");
}

TEST(ServiceOverAFakeServerDeathTest, EndsTheProcessIfThereIsNoServer) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TestRoot root;
  FakeServer::makes_none = true;
  EXPECT_EXIT(TalvoQuillpost::CreateQuillpostService()->Start(), testing::KilledBySignal(SIGABRT),
              "Assertion failed: \\(server_ != nullptr\\), .*file Service.cpp");
}

// A server that does not report the end of its connections, as this one, leaves their clients with
// the service. They have threads, which nobody would join.
TEST(ServiceOverAFakeServerDeathTest, EndsTheProcessWhereItIsDestroyedWithAClient) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto leave_a_client = [] {
    TestRoot root;
    root.Subscribe("Sketcher", "1.2.3.4");
    auto service = TalvoQuillpost::CreateQuillpostService();
    service->Start();
    boost::promise<void> answered;
    FakeServer::latest->queue->post([&] {
      FakeServer::latest->on_request(boost::make_shared<Peer>(), "EnableNotifications",
                                     Params({{"ApplicationID", "Sketcher"}}),
                                     [&](const std::string&, const Json::Value&) {});
      answered.set_value();
    });
    answered.get_future().get();
    service->Stop();
    // The first delivery job, on the client's thread, holds the service until it has ended.
    EXPECT_TRUE(Eventually([&] { return service.use_count() == 1; }));
    service.reset();
  };
  EXPECT_EXIT(
      leave_a_client(), testing::KilledBySignal(SIGABRT),
      "Assertion failed: \\(false == delivery_thread.joinable\\(\\)\\), .*file Service.cpp");
}

}  // namespace
