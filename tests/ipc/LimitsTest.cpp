// What happens if a peer, or the system, leaves no room.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <thread>

#include <boost/asio/error.hpp>

#include "ServerUnderTest.h"
#include "support/WireClient.h"

namespace {

class Limits : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(server_.Listen()); }

  std::unique_ptr<WireClient> Connect() { return std::make_unique<WireClient>(server_.endpoint()); }

  ServerUnderTest server_;
};

const char kTooMany[] =
    R"({"jsonrpc":"2.0","id":null,"error":{"code":-32000,"message":"64 connections are open already"}})";

TEST_F(Limits, TheSixtyFifthConnectionIsToldAndClosed) {
  std::vector<std::unique_ptr<WireClient>> clients;
  for (int i = 0; i < 64; ++i) {
    clients.push_back(Connect());
    ASSERT_EQ(clients.back()->Request("Echo"), "Success");
  }
  const auto refused = Connect();
  EXPECT_EQ(refused->WaitForLine(), kTooMany);
  EXPECT_EQ(refused->WaitForLine(), "");
  EXPECT_EQ(server_.connected(), 64u);
  EXPECT_EQ(clients[63]->Request("Echo"), "Success");

  clients.pop_back();
  ASSERT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
}

// ---- Unanswered requests

std::string Repeated(const std::string& text, int times) {
  std::string all;
  for (int i = 0; i < times; ++i) all += text;
  return all;
}

TEST_F(Limits, BeyondAHundredAndTwentyEightUnansweredRequestsNothingIsRead) {
  const auto client = Connect();
  for (int i = 0; i < 200; ++i) client->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 128; }));
  // Whoever else is there is served, and that takes the queue's turns that would hand on more.
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
  EXPECT_EQ(server_.held(), 128u);

  server_.Release();
  for (int id = 1; id <= 128; ++id) client->WaitForReply(id);
  ASSERT_TRUE(Eventually([&] { return server_.held() == 72; }));
  server_.Release();
  for (int id = 129; id <= 200; ++id) client->WaitForReply(id);
}

TEST_F(Limits, OneReplyMakesRoomForOneRequest) {
  const auto client = Connect();
  for (int i = 0; i < 130; ++i) client->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 128; }));
  server_.ReleaseTwice();
  EXPECT_TRUE(Eventually([&] { return server_.requests().size() == 129; }));
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
  EXPECT_EQ(server_.requests().size(), 130u);
}

TEST_F(Limits, APeerThatGoesWithTooManyUnansweredRequestsIsReported) {
  const auto client = Connect();
  for (int i = 0; i < 200; ++i) client->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 128; }));
  client->Die();
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
}

TEST_F(Limits, RequestsWithoutAnIdAreNeverUnanswered) {
  const auto client = Connect();
  for (int i = 0; i < 300; ++i) client->SendBytes("{\"jsonrpc\":\"2.0\",\"method\":\"Hold\"}\n");
  EXPECT_EQ(client->Request("Echo"), "Success");
  EXPECT_EQ(server_.held(), 300u);
}

// Requests that want no answer are carried out some time, too; what they hold has a bound.
TEST_F(Limits, RequestsThatAreNotCarriedOutYetHoldAQuarterMebibyteAtTheMost) {
  const std::string line = "{\"jsonrpc\":\"2.0\",\"method\":\"Hold\"}";
  const std::size_t bound = 256 * 1024 / (512 + line.size()) + 1;
  const auto client = Connect();
  client->SendBytes(Repeated(line + "\n", 1000));
  ASSERT_TRUE(Eventually([&] { return server_.held() == bound; }));
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
  EXPECT_EQ(server_.held(), bound);
  EXPECT_TRUE(Eventually([&] {
    server_.Release();
    return server_.requests().size() == 1001;
  }));
}

TEST_F(Limits, ARequestThatHoldsMoreThanThatIsTheOnlyOne) {
  const auto client = Connect();
  const std::string ink(700 * 1024, 'x');
  std::thread sending([&] {
    for (int i = 0; i < 3; ++i) client->Send("Hold", Params({{"Ink", ink}}));
  });
  for (std::size_t i = 1; i <= 3; ++i) {
    EXPECT_TRUE(Eventually([&] { return server_.held() == 1; }));
    EXPECT_EQ(Connect()->Request("Echo"), "Success");
    EXPECT_EQ(server_.held(), 1u);
    server_.Release();
  }
  sending.join();
  for (int id = 1; id <= 3; ++id) client->WaitForReply(id);
}

// The answer is not the end: what a request has put into a queue of the owner's counts as long as
// its reply function is kept there.
TEST_F(Limits, ARequestIsUnfinishedAsLongAsItsReplyFunctionIsKept) {
  const auto client = Connect();
  const std::string ink(300 * 1024, 'x');
  client->Send("Keep", Params({{"Ink", ink}}));
  client->Send("Echo");
  EXPECT_EQ(client->WaitForReply(1)["result"]["status"], "Success");
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
  EXPECT_EQ(server_.requests(), (std::vector<std::string>{"Keep", "Echo"}));
  server_.Release();
  client->WaitForReply(2);
}

// A program that connects, asks for much work and goes, again and again, gets no further than one
// that stays.
TEST_F(Limits, ConnectionsThatGoAndLeaveTooManyRequestsLetNoOthersIn) {
  const auto good = Connect();
  ASSERT_EQ(good->Request("Echo"), "Success");
  const std::string line = "{\"jsonrpc\":\"2.0\",\"method\":\"Hold\"}";
  const std::string requests = Repeated(line + "\n", 400);
  const std::size_t bytes_left_behind = 400 * (512 + line.size());
  const std::size_t enough = (std::size_t(8) << 20) / bytes_left_behind + 1;
  for (std::size_t i = 1; i <= enough; ++i) {
    const auto client = Connect();
    client->SendBytes(requests);
    ASSERT_TRUE(Eventually([&] { return server_.held() == i * 400; }));
    client->Die();
    ASSERT_TRUE(Eventually([&] { return server_.ends().size() == i; }));
  }
  const auto refused = Connect();
  EXPECT_EQ(refused->WaitForLine(),
            R"({"jsonrpc":"2.0","id":null,"error":{"code":-32000,"message":)"
            R"("too many requests of closed connections are not carried out yet"}})");
  EXPECT_EQ(refused->WaitForLine(), "");
  EXPECT_EQ(good->Request("Echo"), "Success");

  server_.Release();
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
}

// Those who are still there answer for their own requests, and keep nobody out.
TEST_F(Limits, RequestsOfOpenConnectionsAreNotLeftBehind) {
  const Json::Value ink = Params({{"Ink", std::string(1000 * 1000, 'x')}});
  std::vector<std::unique_ptr<WireClient>> clients;
  while (clients.size() < 9) {
    clients.push_back(Connect());
    clients.back()->Send("Hold", ink);
    ASSERT_TRUE(Eventually([&] { return server_.held() == clients.size(); }));
  }
  EXPECT_EQ(Connect()->Request("Echo"), "Success");
}

// ---- The outbox

Json::Value Bulk(std::size_t size) {
  return Params({{"Ink", std::string(size, 'x')}});
}

TEST_F(Limits, APeerThatDoesNotReadGetsUpToFourMebibytesAndIsEnded) {
  const auto client = Connect();
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  const auto connection = server_.connections().at(0);
  const std::size_t line = 512 * 1024;
  std::size_t taken = 0;
  while (connection->SendNotification("Note", Bulk(line))) ++taken;
  EXPECT_GE(taken, 7u);
  EXPECT_LE(taken, 10u);  // the socket itself holds a little
  EXPECT_FALSE(connection->SendNotification("Note", Bulk(1)));
  ASSERT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
  EXPECT_EQ(server_.ends()[0], boost::asio::error::no_buffer_space);
  EXPECT_TRUE(
      server_.log().Has(2, "Quillpost:Test ended a connection that left more than 4 MiB unread"));
}

TEST_F(Limits, RepliesFillTheOutboxToo) {
  const auto client = Connect();
  std::string ink(700 * 1024, 'x');
  for (int i = 0; i < 10; ++i) {
    try {
      client->Send("Echo", Params({{"Ink", ink}}));
    } catch (const std::runtime_error&) {
      break;  // ended already
    }
  }
  ASSERT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
  EXPECT_EQ(server_.ends()[0], boost::asio::error::no_buffer_space);
}

TEST_F(Limits, APeerThatReadsGetsAnyAmount) {
  const auto client = Connect();
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  const auto connection = server_.connections().at(0);
  for (int i = 0; i < 40; ++i) {
    ASSERT_TRUE(connection->SendNotification("Note", Bulk(512 * 1024)));
    EXPECT_EQ(client->WaitForNotification()["Ink"].asString().size(), 512u * 1024);
  }
}

TEST_F(Limits, ANotificationThatFitsNoLineIsNotSent) {
  const auto client = Connect();
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  const auto connection = server_.connections().at(0);
  EXPECT_FALSE(connection->SendNotification("Note", Bulk(1024 * 1024)));
  EXPECT_TRUE(connection->SendNotification("Note", Bulk(1)));
  EXPECT_EQ(client->WaitForNotification(), Bulk(1));
}

// Takes ten seconds: it is about them.
TEST_F(Limits, APeerThatReadsNothingForTenSecondsIsEnded) {
  const auto client = Connect();
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  const auto connection = server_.connections().at(0);
  for (int i = 0; i < 4; ++i) ASSERT_TRUE(connection->SendNotification("Note", Bulk(512 * 1024)));
  ASSERT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
  EXPECT_EQ(server_.ends()[0], boost::asio::error::timed_out);
  EXPECT_TRUE(server_.log().Has(2, "Quillpost:Test ended a connection that read nothing for 10 s"));
}

// ---- All together

// Six peers that do not read, each within its own bound, are more than there is room for. The
// others go on.
TEST_F(Limits, PeersThatTogetherLeaveTooMuchUnreadLoseTheOneThatHoldsMost) {
  const auto good = Connect();
  ASSERT_EQ(good->Request("Echo"), "Success");
  std::vector<std::unique_ptr<WireClient>> clients;
  const Json::Value bulk = Bulk(512 * 1024);
  for (std::size_t i = 0; i < 6; ++i) {
    clients.push_back(Connect());
    ASSERT_TRUE(Eventually([&] { return server_.connected() == i + 2; }));
    const std::size_t half_mebibytes = i == 3 ? 7 : 6;
    for (std::size_t n = 0; n < half_mebibytes; ++n)
      ASSERT_TRUE(server_.connections().at(i + 1)->SendNotification("Note", bulk));
  }
  ASSERT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
  EXPECT_EQ(server_.ends()[0], boost::asio::error::no_memory);
  EXPECT_FALSE(server_.connections().at(4)->SendNotification("Note", Bulk(1)));
  EXPECT_EQ(good->Request("Echo"), "Success");
}

// The second note of each pair waits in the outbox, and all together are twice what may wait at a
// time.
TEST_F(Limits, WhatHasBeenReadTakesNoRoomAnyMore) {
  const auto client = Connect();
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 1; }));
  const auto connection = server_.connections().at(0);
  const Json::Value bulk = Bulk(512 * 1024);
  for (int pair = 0; pair < 64; ++pair) {
    ASSERT_TRUE(connection->SendNotification("Note", bulk));
    ASSERT_TRUE(connection->SendNotification("Note", bulk));
    ASSERT_EQ(client->WaitForNotification(), bulk);
    ASSERT_EQ(client->WaitForNotification(), bulk);
  }
  EXPECT_EQ(client->Request("Echo"), "Success");
}

TEST_F(Limits, LinesThatNeverEndCountToo) {
  const auto good = Connect();
  std::vector<std::unique_ptr<WireClient>> clients;
  for (int i = 0; i < 60; ++i) {
    clients.push_back(Connect());
    try {
      clients.back()->SendBytes(std::string(1000 * 1000, ' '));
    } catch (const std::runtime_error&) {
      // Ended already.
    }
  }
  EXPECT_TRUE(Eventually([&] { return !server_.ends().empty(); }));
  EXPECT_EQ(server_.ends()[0], boost::asio::error::no_memory);
  EXPECT_EQ(good->Request("Echo"), "Success");
}

// ---- Descriptors

// With all descriptors taken the server can't accept. It says so once, goes on serving those who
// are there, and takes the waiting connection as soon as there is room.
TEST_F(Limits, RunningOutOfDescriptorsSlowsAcceptingDown) {
  const auto client = Connect();
  ASSERT_EQ(client->Request("Echo"), "Success");

  rlimit before;
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const int waiting = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const rlimit low = {static_cast<rlim_t>(waiting) + 1, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &low), 0);
  std::vector<int> fillers;
  for (int fd; (fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) fillers.push_back(fd);

  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  server_.endpoint().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::connect(waiting, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  const std::string line = "Quillpost:Test can't accept connections: Too many open files";
  EXPECT_TRUE(server_.log().WaitFor(1, line));
  EXPECT_EQ(client->Request("Echo"), "Success");

  for (int i = 0; i < 20; ++i) EXPECT_EQ(client->Request("Echo"), "Success");
  EXPECT_EQ(server_.log().Count(1, line), 1u);

  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_TRUE(Eventually([&] { return server_.connected() == 2; }));
  for (int fd : fillers) ::close(fd);
  ::close(waiting);
}

}  // namespace
