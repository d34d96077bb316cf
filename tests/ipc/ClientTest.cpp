#include <IPC/Client.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <condition_variable>
#include <future>

#include "LineDecoder.h"
#include "ServerUnderTest.h"
#include "support/Machine.h"

namespace {

using IPC::Client;
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

Json::Value Number(int n) {
  Json::Value params(Json::objectValue);
  params["n"] = n;
  return params;
}

// ---- Connecting

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

TEST_F(Connecting, WithoutServiceSaysSo) {
  ExpectOutcome(path(), Error::kNoService,
                "no service is listening at " + path() + ": No such file or directory");
}

TEST_F(Connecting, ToADeadSocketSaysThatNoServiceIsThere) {
  { FakeService service(path()); }
  ExpectOutcome(path(), Error::kNoService,
                "no service is listening at " + path() + ": Connection refused");
}

TEST_F(Connecting, ToAPathTooLongSaysSo) {
  const std::string long_path = "/" + std::string(200, 'x');
  ExpectOutcome(long_path, Error::kNoService,
                "no service is listening at " + long_path +
                    ": the path has 201 bytes, more than the 107 of a socket's");
}

TEST_F(Connecting, ToABusyServiceTimesOut) {
  FakeService service(path(), 0);
  Client first;  // takes the only place in the queue
  EXPECT_TRUE(first.Connect(path()));
  ExpectOutcome(path(), Error::kTimedOut,
                "the service at " + path() + " did not take the connection in time");
}

TEST_F(Connecting, ToAnotherUsersServiceIsRefusedBeforeAnythingIsSent) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ASSERT_EQ(::chmod(root_.path().c_str(), 0777), 0);
  std::unique_ptr<FakeService> service;
  {
    const PlainUser user;
    service = std::make_unique<FakeService>(path());
  }
  Client client;
  const Client::Outcome outcome = client.Connect(path());
  EXPECT_EQ(outcome.error, Error::kWrongUser);
  EXPECT_EQ(outcome.message, "another user's program is listening at " + path());
  EXPECT_EQ(client.Request("Hello").error, Error::kClosed);
  service->Accept();
  EXPECT_EQ(service->Hear(), "");
}

TEST_F(Connecting, WithoutRightsToTheSocketSaysWhoseItIsNot) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a socket of another user";
  FakeService service(path());
  const PlainUser user;
  ExpectOutcome(path(), Error::kWrongUser,
                "the service at " + path() + " is not for this user: Permission denied");
}

TEST_F(Connecting, MayBeTriedAgainAfterAFailure) {
  Client client;
  EXPECT_EQ(client.Connect(path()).error, Error::kNoService);
  FakeService service(path());
  EXPECT_TRUE(client.Connect(path()));
  EXPECT_TRUE(client.IsConnected());
}

TEST_F(Connecting, TwiceIsRefused) {
  FakeService service(path());
  Client client;
  ASSERT_TRUE(client.Connect(path()));
  const Client::Outcome outcome = client.Connect(path());
  EXPECT_EQ(outcome.error, Error::kClosed);
  EXPECT_EQ(outcome.message, "the client is connected or connecting already");
}

// ---- Asking a server

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

TEST_F(Asking, ARefusalOfTheServiceIsNoError) {
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

TEST_F(Asking, BeforeConnectingFailsAtOnce) {
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

TEST_F(Connecting, IsDoneAgainAfterALossWhereWished) {
  Heard heard;
  Client::Options options = heard.Options();
  options.reconnect = true;
  options.reconnect_first = Milliseconds(1);
  options.reconnect_longest = Milliseconds(8);
  Client client(options);
  {
    FakeService service(path());
    ASSERT_TRUE(client.Connect(path()));
    service.Accept();
  }
  ASSERT_TRUE(heard.WaitFor(2));
  EXPECT_FALSE(client.IsConnected());
  ::unlink(path().c_str());
  FakeService service(path());
  service.Accept();
  service.Say("{\"jsonrpc\":\"2.0\",\"method\":\"Note\",\"params\":{\"n\":1}}\n");
  ASSERT_TRUE(heard.WaitFor(4));
  EXPECT_EQ(heard.what(), (Strings{"connected", "disconnected: the service ended the connection",
                                   "connected", "Note 1"}));
}

TEST_F(Connecting, AgainEndsWithClose) {
  Heard heard;
  Client::Options options = heard.Options();
  options.reconnect = true;
  Client client(options);
  {
    FakeService service(path());
    ASSERT_TRUE(client.Connect(path()));
  }
  ASSERT_TRUE(heard.WaitFor(2));
  client.Close();
  EXPECT_EQ(client.Connect(path()).message, "the client has been closed");
}

// ---- A service that says strange things

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
  const std::string none = "disconnected: the service sent what is no message: ";
  EXPECT_EQ(ReasonAfter("HTTP/1.1 200 OK\n"), none + "unexpected text at byte 1");
  EXPECT_EQ(ReasonAfter("[]\n"), none + "a message that is no object");
  EXPECT_EQ(ReasonAfter("{}\n"), none + "\"method\" is no string");
  EXPECT_EQ(ReasonAfter("{\"method\":\"Note\",\"params\":[]}\n"), none + "\"params\" is no object");
  EXPECT_EQ(ReasonAfter("{\"id\":1}\n"), none + "a result without status");
  EXPECT_EQ(ReasonAfter("{\"id\":1,\"result\":{\"status\":3}}\n"),
            none + "a result without status");
  EXPECT_EQ(ReasonAfter("{\"id\":1,\"error\":7}\n"), none + "an error without code and message");
  EXPECT_EQ(ReasonAfter("{\"id\":\"x\",\"result\":{\"status\":\"Success\"}}\n"),
            "disconnected: the service answered a request that was never sent");
  EXPECT_EQ(ReasonAfter("{\"id\":null,\"error\":{\"code\":-32700,\"message\":\"not JSON\"}}\n"),
            "disconnected: the service found fault with a message: not JSON (error -32700)");
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
    std::promise<void> done;
    client.RequestAsync("Echo", params, [&](const Client::Reply& reply) {
      if (reply.error == Error::kProtocol && !full.exchange(true)) reason.set_value(reply.message);
    });
  }
  EXPECT_EQ(reason.get_future().get(),
            "no room for the request Echo: the service leaves too many unread");
  EXPECT_TRUE(client.IsConnected());
  client.Close(Milliseconds(0));
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
  std::promise<Client::Reply> reply;
  client_->RequestAsync("Hold", Json::Value(), [&](const Client::Reply& r) { reply.set_value(r); });
  client_->Close(Milliseconds(10));
  auto ready = reply.get_future();
  ASSERT_EQ(ready.wait_for(Milliseconds(0)), std::future_status::ready);
  EXPECT_EQ(ready.get().message, "the client has been closed");
  EXPECT_EQ(heard_.what(), Strings{"connected"});
}

TEST_F(Asking, AfterCloseEveryRequestFailsAtOnce) {
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
