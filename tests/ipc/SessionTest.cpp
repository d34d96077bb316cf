// The life of a connection: its order, its end, and what the owner learns of it.

#include <gtest/gtest.h>

#include <boost/asio/error.hpp>
#include <boost/make_shared.hpp>
#include <thread>

#include "ServerUnderTest.h"
#include "support/WireClient.h"

namespace {

typedef std::vector<std::string> Strings;

class Connection : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.Listen());
    client_ = std::make_unique<WireClient>(server_.endpoint());
  }

  static std::string Reply(int id, const std::string& status = "Success") {
    return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"result":{"status":")" + status +
           R"(","result":null}})";
  }

  static Json::Value Number(int n) { return Params({{"n", n}}); }

  bool HasEnded() {
    return Eventually([&] { return server_.ends().size() == 1; });
  }

  ServerUnderTest server_;
  std::unique_ptr<WireClient> client_;
};

TEST_F(Connection, RequestsAreHandedOnInTheirOrder) {
  for (int i = 0; i < 500; ++i) client_->Send("Request" + std::to_string(i));
  EXPECT_EQ(client_->Request("Last"), "NotSupported");
  Strings expected;
  for (int i = 0; i < 500; ++i) expected.push_back("Request" + std::to_string(i));
  expected.push_back("Last");
  EXPECT_EQ(server_.requests(), expected);
}

TEST_F(Connection, RepliesMayComeInAnotherOrder) {
  for (int i = 0; i < 3; ++i) client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 3; }));
  server_.Release(/*last_first=*/true);
  EXPECT_EQ(client_->WaitForLine(), Reply(3));
  EXPECT_EQ(client_->WaitForLine(), Reply(2));
  EXPECT_EQ(client_->WaitForLine(), Reply(1));
}

TEST_F(Connection, NotificationsAndRepliesOfOneThreadKeepTheirOrder) {
  client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  const auto connection = server_.connections().at(0);
  for (int i = 0; i < 1000; ++i) ASSERT_TRUE(connection->SendNotification("Note", Number(i)));
  server_.Release();
  ASSERT_TRUE(connection->SendNotification("Note", Number(1000)));
  for (int i = 0; i < 1000; ++i)
    ASSERT_EQ(client_->WaitForLine(),
              R"({"jsonrpc":"2.0","method":"Note","params":{"n":)" + std::to_string(i) + "}}");
  EXPECT_EQ(client_->WaitForLine(), Reply(1));
  EXPECT_EQ(client_->WaitForLine(), R"({"jsonrpc":"2.0","method":"Note","params":{"n":1000}})");
}

TEST_F(Connection, ManyThreadsMaySendTogetherAndEveryMessageArrivesWhole) {
  client_->Request("Echo");
  const auto connection = server_.connections().at(0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(connection->SendNotification("Note", Params({{"t", t}, {"i", i}})));
    });
  }
  std::vector<int> next(4, 0);
  for (int n = 0; n < 800; ++n) {
    const Json::Value note = client_->WaitForNotification();
    EXPECT_EQ(note["i"].asInt(), next.at(note["t"].asUInt())++);
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(Connection, AReplyCountsTheFirstTimeOnly) {
  client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  server_.ReleaseTwice();
  EXPECT_EQ(client_->WaitForLine(), Reply(1));
  client_->Send("Other");
  EXPECT_EQ(client_->WaitForLine(), Reply(2, "NotSupported"));
}

TEST_F(Connection, OneRequestDoesNotWaitForAnothersReply) {
  client_->Send("Hold");
  EXPECT_EQ(client_->Request("Echo"), "Success");
  EXPECT_EQ(server_.held(), 1u);
}

// ---- Half-close

TEST_F(Connection, AfterAHalfCloseWhatArrivedWholeIsAnswered) {
  client_->SendBytes(
      "{\"jsonrpc\":\"2.0\",\"id\":1,\"method\":\"Echo\"}\n"
      "{\"jsonrpc\":\"2.0\",\"id\":2,\"method\":\"Ec");
  client_->HalfClose();
  EXPECT_EQ(client_->WaitForLine(), Reply(1));
  EXPECT_EQ(client_->WaitForLine(), "");
  ASSERT_TRUE(HasEnded());
  EXPECT_EQ(server_.ends()[0], boost::asio::error::eof);
  EXPECT_EQ(server_.requests(), Strings{"Echo"});
}

TEST_F(Connection, AfterAHalfCloseTheEndWaitsForLateReplies) {
  client_->Send("Hold");
  client_->Send("Hold");
  client_->HalfClose();
  ASSERT_TRUE(Eventually([&] { return server_.held() == 2; }));
  // Another connection comes and goes; this one is still there for its replies.
  EXPECT_EQ(WireClient(server_.endpoint()).Request("Echo"), "Success");
  ASSERT_TRUE(HasEnded());
  server_.Release();
  EXPECT_EQ(client_->WaitForLine(), Reply(1));
  EXPECT_EQ(client_->WaitForLine(), Reply(2));
  EXPECT_EQ(client_->WaitForLine(), "");
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() == 2; }));
}

TEST_F(Connection, AfterAHalfCloseNotificationsStillPass) {
  client_->Send("Hold");
  client_->HalfClose();
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  EXPECT_TRUE(server_.connections().at(0)->SendNotification("Note", Number(1)));
  server_.Release();
  EXPECT_EQ(client_->WaitForLine(), R"({"jsonrpc":"2.0","method":"Note","params":{"n":1}})");
  EXPECT_EQ(client_->WaitForLine(), Reply(1));
  EXPECT_EQ(client_->WaitForLine(), "");
}

TEST_F(Connection, APeerThatGoesAfterAHalfCloseDisconnectsImmediately) {
  client_->Send("Hold");
  client_->HalfClose();
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  client_->Die();
  EXPECT_TRUE(HasEnded());
  server_.Release();  // to nobody
}

// ---- The end

TEST_F(Connection, TheEndOfAPeerIsReportedWithItsReason) {
  EXPECT_EQ(client_->Request("Echo"), "Success");
  client_->Die();
  ASSERT_TRUE(HasEnded());
  EXPECT_EQ(server_.ends()[0], boost::asio::error::eof);
}

TEST_F(Connection, APeerThatGoesWithoutReadingIsAReset) {
  client_->Send("Echo");
  ASSERT_TRUE(Eventually([&] { return server_.requests().size() == 1; }));
  client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  client_->Die();
  ASSERT_TRUE(HasEnded());
  EXPECT_NE(server_.ends()[0], boost::system::error_code());
}

TEST_F(Connection, TheEndIsReportedThoughRepliesAreOutstanding) {
  client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  client_->Die();
  EXPECT_TRUE(HasEnded());
}

TEST_F(Connection, WhatArrivedWholeBeforeTheEndIsHandedOn) {
  for (int i = 0; i < 100; ++i) client_->SendBytes("{\"jsonrpc\":\"2.0\",\"method\":\"Import\"}\n");
  client_->Die();
  ASSERT_TRUE(HasEnded());
  EXPECT_EQ(server_.requests(), Strings(100, "Import"));
}

TEST_F(Connection, NothingIsSentToAConnectionThatHasGone) {
  client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  client_->Die();
  ASSERT_TRUE(HasEnded());
  EXPECT_FALSE(server_.connections().at(0)->SendNotification("Note", Number(1)));
  server_.Release();  // dropped quietly
  EXPECT_EQ(server_.log().lines(), std::vector<LogCapture::Line>());
}

TEST_F(Connection, EveryReportIsOfTheConnectionThatWasAnnounced) {
  ServerUnderTest::Connection ended;
  std::mutex mutex;
  server_.BetweenCallbacks([&] {
    server_.on_end = [&](const ServerUnderTest::Connection& connection) {
      std::lock_guard<std::mutex> lock(mutex);
      ended = connection;
    };
  });
  WireClient second(server_.endpoint());
  ASSERT_TRUE(Eventually([&] { return server_.connected() == 2; }));
  second.Die();
  EXPECT_TRUE(Eventually([&] {
    std::lock_guard<std::mutex> lock(mutex);
    return ended != nullptr && ended == server_.connections().at(1);
  }));
  server_.Stop();
}

// ---- Repeated reports

// An owner that files things under a connection and lets go of one at each report.
class RepeatedReport : public Connection {
 protected:
  // Files that many things under the first connection.
  void File(std::size_t count) {
    server_.BetweenCallbacks([&] {
      filed_.assign(count, server_.connections().at(0));
      server_.on_end = [&](const ServerUnderTest::Connection&) {
        if (!filed_.empty()) filed_.pop_back();
      };
    });
  }

 private:
  std::vector<ServerUnderTest::Connection> filed_;
};

// The fourth report finds nothing to let go of.
TEST_F(RepeatedReport, ComesUntilItsOwnerDropsNoReference) {
  EXPECT_EQ(client_->Request("Echo"), "Success");
  File(3);
  client_->Die();
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() == 4; }));
  server_.Stop();
  EXPECT_EQ(server_.ends().size(), 4u);
}

TEST_F(Connection, AReportThatDropsNoReferenceIsNotRepeated) {
  EXPECT_EQ(client_->Request("Echo"), "Success");
  const auto kept = server_.connections();
  client_->Die();
  ASSERT_TRUE(HasEnded());
  server_.Stop();
  EXPECT_EQ(server_.ends().size(), 1u);
}

// Replies that other threads make in the meantime hide no release.
TEST_F(RepeatedReport, ComesWhileRepliesAreMadeElsewhere) {
  for (int i = 0; i < 100; ++i) client_->Send("Hold");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 100; }));
  File(200);
  std::thread replier([&] { server_.Release(); });
  client_->Die();
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() == 201; }));
  replier.join();
  server_.Stop();
}

TEST_F(Connection, AnExceptionOutOfAReportIsLoggedAndEndsNothing) {
  server_.BetweenCallbacks([&] {
    server_.on_end = [](const ServerUnderTest::Connection&) { throw std::runtime_error("no ink"); };
  });
  client_->Die();
  ASSERT_TRUE(HasEnded());
  EXPECT_TRUE(
      server_.log().WaitFor(1, "Quillpost:Test: reporting the end of a connection failed: no ink"));
  EXPECT_EQ(WireClient(server_.endpoint()).Request("Echo"), "Success");
}

}  // namespace
