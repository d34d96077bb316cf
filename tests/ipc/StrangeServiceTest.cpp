// A client whose service says strange things.

#include <future>
#include <thread>

#include "ClientFixture.h"
#include "LineDecoder.h"

namespace {

class StrangeService : public Connecting {
 protected:
  // The reason for which the client gives the connection up when it has heard this.
  std::string ReasonAfter(const std::string& bytes) {
    FakeService service(path());
    Heard heard;
    Client client(heard.Options());
    EXPECT_TRUE(client.Connect(path()));
    service.Accept();
    service.Say(bytes);
    EXPECT_TRUE(heard.WaitFor(2));
    ::unlink(path().c_str());
    return heard.what().back();
  }
};

TEST_F(StrangeService, IsLeftWithTheReason) {
  const std::string none = "disconnected: the service sent something that is not a message: ";
  EXPECT_EQ(ReasonAfter("HTTP/1.1 200 OK\n"), none + "unexpected text at byte 1");
  EXPECT_EQ(ReasonAfter("[]\n"), none + "a message that is not an object");
  EXPECT_EQ(ReasonAfter("{}\n"), none + "\"method\" is not a string");
  EXPECT_EQ(ReasonAfter("{\"method\":\"Note\",\"params\":[]}\n"),
            none + "\"params\" is not an object");
  EXPECT_EQ(ReasonAfter("{\"id\":1}\n"), none + "a result without status");
  EXPECT_EQ(ReasonAfter("{\"id\":1,\"result\":{\"status\":3}}\n"),
            none + "a result without status");
  EXPECT_EQ(ReasonAfter("{\"id\":1,\"error\":7}\n"), none + "an error without code and message");
  EXPECT_EQ(ReasonAfter("{\"id\":\"x\",\"result\":{\"status\":\"Success\"}}\n"),
            "disconnected: the service answered a request that was never sent");
  EXPECT_EQ(ReasonAfter("{\"id\":null,\"error\":{\"code\":-32700,\"message\":\"not JSON\"}}\n"),
            "disconnected: the service found fault with a message: not JSON (error -32700)");
}

// It takes long to make the line of the first request: the client finds out before it is done.
TEST_F(StrangeService, IsTheReasonWhyRequestsFailBeforeAndAfterTheEnd) {
  Json::Value params(Json::objectValue);
  for (int i = 0; i < 200 * 1000; ++i) params["Ink"].append(i % 10);
  for (int round = 0; round < 10; ++round) {
    FakeService service(path());
    Client client;
    ASSERT_TRUE(client.Connect(path()));
    service.Accept();
    service.Say("[]\n");
    const Client::Reply before = client.Request("Echo", params);
    const Client::Reply after = client.Request("Echo");
    for (const Client::Reply& reply : {before, after}) {
      EXPECT_EQ(reply.error, Error::kProtocol);
      EXPECT_EQ(
          reply.message,
          "the service sent something that is not a message: a message that is not an object");
    }
    ::unlink(path().c_str());
  }
}

TEST_F(StrangeService, ThatAnswersWhatNobodyAskedIsIgnored) {
  FakeService service(path());
  Client client;
  ASSERT_TRUE(client.Connect(path()));
  service.Accept();
  service.Say("{\"id\":99,\"result\":{\"status\":\"Success\",\"result\":null}}\n");
  std::thread answer([&] {
    EXPECT_EQ(service.Hear(), R"({"jsonrpc":"2.0","id":1,"method":"Hello"})");
    service.Say("{\"id\":1,\"result\":{\"status\":\"Failed\",\"result\":null}}\n");
  });
  EXPECT_EQ(client.Request("Hello").status, "Failed");
  answer.join();
}

TEST_F(StrangeService, ThatSendsAnOverLongLineIsLeft) {
  FakeService service(path());
  Heard heard;
  Client client(heard.Options());
  ASSERT_TRUE(client.Connect(path()));
  service.Accept();
  service.Say(std::string(IPC::kMaxLineBytes, 'x'));
  ASSERT_TRUE(heard.WaitFor(2));
  EXPECT_EQ(heard.what()[1], "disconnected: the service sent a line of more than 1048576 bytes");
}

// A service that reads nothing: requests wait in the client, up to a bound, and the connection goes
// on all the same.
TEST_F(StrangeService, ThatDoesNotReadFillsTheClientUpToABound) {
  FakeService service(path());
  Client client;
  ASSERT_TRUE(client.Connect(path()));
  Json::Value params(Json::objectValue);
  params["Ink"] = std::string(1 << 19, 'x');
  std::promise<std::string> reason;
  std::atomic<bool> full{false};
  for (int i = 0; i < 20 && !full; ++i) {
    client.RequestAsync("Echo", params, [&](const Client::Reply& reply) {
      if (reply.error == Error::kProtocol && !full.exchange(true)) reason.set_value(reply.message);
    });
  }
  EXPECT_EQ(reason.get_future().get(),
            "no room for the request Echo: the service leaves too many unread");
  EXPECT_TRUE(client.IsConnected());
  client.Close(Milliseconds(0));
}

}  // namespace
