// A client and a server that keep their promises: asking, being told, losing and closing.

#include <condition_variable>
#include <future>
#include <thread>

#include "ClientFixture.h"
#include "LineDecoder.h"

namespace {

class Asking : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(server_.Listen());
    Start(heard_.Options());
  }

  void Start(const Client::Options& options) {
    client_ = std::make_unique<Client>(options);
    ASSERT_TRUE(client_->Connect(server_.endpoint()));
  }

  ServerUnderTest server_;
  Heard heard_;
  std::unique_ptr<Client> client_;
};

TEST_F(Asking, GivesTheStatusAndTheResult) {
  const Client::Reply reply = client_->Request("Echo", Number(7));
  EXPECT_TRUE(reply);
  EXPECT_EQ(reply.message, "");
  EXPECT_EQ(reply.status, "Success");
  EXPECT_EQ(reply.result, Number(7));
}

TEST_F(Asking, ARefusalOfTheServiceIsAnAnswer) {
  const Client::Reply reply = client_->Request("Draw");
  EXPECT_TRUE(reply);
  EXPECT_EQ(reply.status, "NotSupported");
  EXPECT_TRUE(reply.result.isNull());
}

TEST_F(Asking, AMessageThatTheServerFindsFaultWithIsAProtocolError) {
  const Client::Reply reply = client_->Request("Echo", Json::Value(1));
  EXPECT_EQ(reply.error, Error::kProtocol);
  EXPECT_EQ(reply.message,
            "the service found fault with the request: \"params\" must be an object "
            "(error -32602)");
  EXPECT_EQ(client_->Request("Echo").status, "Success");
}

TEST_F(Asking, ARequestThatFitsNoLineIsNotSent) {
  Json::Value params(Json::objectValue);
  params["Ink"] = std::string(1 << 20, 'x');
  const Client::Reply reply = client_->Request("Echo", params);
  EXPECT_EQ(reply.error, Error::kProtocol);
  EXPECT_EQ(reply.message, "the request Echo has more than 1048576 bytes");
  EXPECT_EQ(client_->Request("Echo").status, "Success");
}

TEST_F(Asking, ALateReplyTimesOutAndIsDropped) {
  const Client::Reply reply = client_->Request("Hold", Json::Value(), Milliseconds(20));
  EXPECT_EQ(reply.error, Error::kTimedOut);
  EXPECT_EQ(reply.message, "the service did not answer within 20 ms");
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  server_.Release();
  EXPECT_EQ(client_->Request("Echo", Number(3)).result, Number(3));
}

TEST_F(Asking, WithoutATimeoutWaitsForTheReply) {
  std::thread releaser([&] {
    EXPECT_TRUE(Eventually([&] { return server_.held() == 1; }));
    server_.Release();
  });
  EXPECT_EQ(client_->Request("Hold", Json::Value(), Milliseconds(0)).status, "Success");
  releaser.join();
}

TEST_F(Asking, RepliesInAnotherOrderFindTheirRequests) {
  std::promise<std::string> first, second;
  client_->RequestAsync("Hold", Json::Value(),
                        [&](const Client::Reply& reply) { first.set_value(reply.status); });
  client_->RequestAsync("Hold", Json::Value(),
                        [&](const Client::Reply& reply) { second.set_value(reply.status); });
  ASSERT_TRUE(Eventually([&] { return server_.held() == 2; }));
  EXPECT_EQ(client_->Request("Echo", Number(5)).result, Number(5));
  server_.Release(/*last_first=*/true);
  EXPECT_EQ(first.get_future().get(), "Success");
  EXPECT_EQ(second.get_future().get(), "Success");
}

TEST_F(Asking, FromManyThreadsEachGetsItsOwnReply) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i)
        EXPECT_EQ(client_->Request("Echo", Number(t * 100 + i)).result, Number(t * 100 + i));
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(Asking, BeforeConnectingFailsImmediately) {
  Client client;
  const Client::Reply reply = client.Request("Echo");
  EXPECT_EQ(reply.error, Error::kClosed);
  EXPECT_EQ(reply.message, "there is no connection to the service");
  std::promise<Error> error;
  client.RequestAsync("Echo", Json::Value(),
                      [&](const Client::Reply& reply) { error.set_value(reply.error); });
  EXPECT_EQ(error.get_future().get(), Error::kClosed);
}

TEST_F(Asking, TheSixtyFifthConnectionIsRefused) {
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 63; ++i) {
    clients.push_back(std::make_unique<Client>());
    ASSERT_TRUE(clients.back()->Connect(server_.endpoint()));
    ASSERT_TRUE(clients.back()->Request("Echo"));
  }
  Heard heard;
  Client refused(heard.Options());
  ASSERT_TRUE(refused.Connect(server_.endpoint()));
  ASSERT_TRUE(heard.WaitFor(2));
  EXPECT_EQ(heard.what()[1],
            "disconnected: the service refused the connection: 64 connections "
            "are open already (error -32000)");
  EXPECT_FALSE(refused.IsConnected());
}

// ---- Being told

TEST_F(Asking, NotificationsComeInTheirOrderAfterTheReportOfTheConnection) {
  for (int i = 0; i < 3; ++i) client_->Request("Notify", Number(i));
  ASSERT_TRUE(heard_.WaitFor(4));
  EXPECT_EQ(heard_.what(), (Strings{"connected", "Note 0", "Note 1", "Note 2"}));
}

TEST_F(Asking, ACallbackMayAskAndWait) {
  std::promise<std::string> status;
  Client::Options options;
  options.on_notification = [&](const std::string&, const Json::Value&) {
    status.set_value(client_->Request("Echo").status);
  };
  Start(options);
  client_->Request("Notify");
  EXPECT_EQ(status.get_future().get(), "Success");
}

TEST_F(Asking, CallbacksRunOnTheOwnersQueue) {
  boost::asio::io_service queue;
  std::vector<std::thread::id> threads;
  Client::Options options;
  options.callback_queue = &queue;
  options.on_connected = [&] { threads.push_back(std::this_thread::get_id()); };
  options.on_notification = [&](const std::string&, const Json::Value&) {
    threads.push_back(std::this_thread::get_id());
  };
  Start(options);
  client_->Request("Notify");
  client_->RequestAsync("Echo", Json::Value(), [&](const Client::Reply&) {
    threads.push_back(std::this_thread::get_id());
  });
  client_->Request("Echo");
  queue.run();
  EXPECT_EQ(threads, std::vector<std::thread::id>(3, std::this_thread::get_id()));
}

TEST_F(Asking, AnExceptionOutOfACallbackIsLoggedAndEndsNothing) {
  Client::Options options;
  options.on_notification = [](const std::string&, const Json::Value&) {
    throw std::runtime_error("no ink");
  };
  Start(options);
  client_->Request("Notify");
  EXPECT_TRUE(server_.log().WaitFor(1, "Quillpost: taking a notification failed: no ink"));
  EXPECT_EQ(client_->Request("Echo").status, "Success");
}

// ---- Losing the connection

TEST_F(Asking, TheLossOfTheServiceEndsOpenRequestsAndIsReported) {
  std::promise<std::string> reason;
  client_->RequestAsync("Hold", Json::Value(), [&](const Client::Reply& reply) {
    EXPECT_EQ(reply.error, Error::kClosed);
    reason.set_value(reply.message);
  });
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  server_.Stop();
  EXPECT_EQ(reason.get_future().get(), "the service ended the connection");
  ASSERT_TRUE(heard_.WaitFor(2));
  EXPECT_EQ(heard_.what(),
            (Strings{"connected", "disconnected: the service ended the connection"}));
  EXPECT_FALSE(client_->IsConnected());
  EXPECT_EQ(client_->Request("Echo").error, Error::kClosed);
}

// ---- Closing

TEST_F(Asking, CloseWaitsForOpenRequests) {
  std::promise<std::string> status;
  client_->RequestAsync("Hold", Json::Value(),
                        [&](const Client::Reply& reply) { status.set_value(reply.status); });
  ASSERT_TRUE(Eventually([&] { return server_.held() == 1; }));
  std::thread closer([&] { client_->Close(Milliseconds(60000)); });
  // Once a request is refused the closing has begun.
  EXPECT_TRUE(Eventually([&] { return client_->Request("Echo").error == Error::kClosed; }));
  server_.Release();
  closer.join();
  EXPECT_EQ(status.get_future().get(), "Success");
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() == 1; }));
}

TEST_F(Asking, CloseEndsOpenRequestsWhenItsPatienceEnds) {
  ASSERT_TRUE(heard_.WaitFor(1));  // a report that comes after the closing is not made any more
  std::promise<Client::Reply> reply;
  client_->RequestAsync("Hold", Json::Value(), [&](const Client::Reply& r) { reply.set_value(r); });
  client_->Close(Milliseconds(10));
  auto ready = reply.get_future();
  ASSERT_EQ(ready.wait_for(Milliseconds(0)), std::future_status::ready);
  EXPECT_EQ(ready.get().message, "the client has been closed");
  EXPECT_EQ(heard_.what(), Strings{"connected"});
}

TEST_F(Asking, AfterCloseEveryRequestFailsImmediately) {
  client_->Close();
  EXPECT_EQ(client_->Request("Echo").message, "the client has been closed");
  bool called = false;
  client_->RequestAsync("Echo", Json::Value(), [&](const Client::Reply& reply) {
    called = reply.error == Error::kClosed;
  });
  EXPECT_TRUE(called);
  client_->Close();
}

TEST_F(Asking, ACallbackMayCloseTheClient) {
  std::promise<void> closed;
  Client::Options options;
  options.on_notification = [&](const std::string&, const Json::Value&) {
    client_->Close();
    closed.set_value();
  };
  Start(options);
  client_->RequestAsync("Notify", Json::Value(), nullptr);
  closed.get_future().wait();
  EXPECT_FALSE(client_->IsConnected());
}

TEST_F(Asking, ACallbackMayDestroyTheClient) {
  std::promise<void> destroyed;
  Client::Options options;
  options.on_notification = [&](const std::string&, const Json::Value&) {
    client_.reset();
    destroyed.set_value();
  };
  Start(options);
  client_->RequestAsync("Notify", Json::Value(), nullptr);
  destroyed.get_future().wait();
  EXPECT_TRUE(Eventually([&] { return server_.ends().size() >= 1; }));
}

TEST_F(Asking, AnOwnersQueueThatIsNeverRunHoldsNothingUp) {
  auto queue = std::make_unique<boost::asio::io_service>();
  Client::Options options = heard_.Options();
  options.callback_queue = queue.get();
  Start(options);
  client_->Request("Notify");
  client_.reset();
  queue.reset();
}

}  // namespace
