// How a client finds its service, and finds it again.

#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <atomic>
#include <thread>

#include "ClientFixture.h"
#include "support/Machine.h"

namespace {

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

// Signals that interrupt a thread in the middle of its calls.
class Interruptions {
 public:
  Interruptions() {
    struct sigaction action = {};
    action.sa_handler = [](int) { ++count_; };
    ::sigaction(SIGUSR1, &action, &before_);
  }
  ~Interruptions() { ::sigaction(SIGUSR1, &before_, nullptr); }

  static void Interrupt(pid_t thread) {
    const int before = count_;
    EXPECT_EQ(::syscall(SYS_tgkill, ::getpid(), thread, SIGUSR1), 0);
    EXPECT_TRUE(Eventually([&] { return count_ > before; }));
  }

 private:
  static std::atomic<int> count_;
  struct sigaction before_;
};

std::atomic<int> Interruptions::count_{0};

TEST_F(Connecting, GoesOnAfterASignal) {
  const Interruptions interruptions;
  FakeService service(path(), 0);
  Client first;  // takes the only place in the queue
  ASSERT_TRUE(first.Connect(path()));
  Client client;
  std::atomic<pid_t> thread{0};
  std::atomic<bool> is_over{false};
  std::thread connecting([&] {
    thread = ::gettid();
    const Client::Outcome outcome = client.Connect(path(), kPatience);
    EXPECT_TRUE(outcome) << outcome.message;
    is_over = true;
  });
  for (int i = 0; i < 5 && !is_over; ++i) {
    EXPECT_TRUE(Eventually([&] { return is_over || (thread != 0 && IsThreadAsleep(thread)); }));
    if (!is_over) Interruptions::Interrupt(thread);
  }
  EXPECT_FALSE(is_over);
  service.Accept();  // a place is free
  connecting.join();
  EXPECT_TRUE(client.IsConnected());
}

// Signals that come more often than the time to wait is long do not make it begin anew.
TEST_F(Connecting, ToABusyServiceTimesOutAmongManySignals) {
  const Interruptions interruptions;
  FakeService service(path(), 0);
  Client first;
  ASSERT_TRUE(first.Connect(path()));
  const pid_t thread = ::gettid();
  std::atomic<bool> is_over{false};
  std::thread interrupting([&] {
    while (!is_over) Interruptions::Interrupt(thread);
  });
  ExpectOutcome(path(), Error::kTimedOut,
                "the service at " + path() + " did not take the connection in time");
  is_over = true;
  interrupting.join();
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

TEST_F(Connecting, WithoutRightsToTheSocketSaysThatItIsNotForThisUser) {
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

// ---- Again, after a loss

TEST_F(Connecting, IsDoneAgainAfterALossIfWished) {
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

// Otherwise it is for the owner to connect: a client that were still trying would refuse that.
TEST_F(Connecting, IsLeftToTheOwnerAfterALossUnlessWished) {
  Heard heard;
  Client client(heard.Options());
  {
    FakeService service(path());
    ASSERT_TRUE(client.Connect(path()));
    service.Accept();
  }
  ASSERT_TRUE(heard.WaitFor(2));
  EXPECT_FALSE(client.IsConnected());
  EXPECT_EQ(client.Request("Hello").error, Error::kClosed);
  ::unlink(path().c_str());
  FakeService service(path());
  ASSERT_TRUE(client.Connect(path()));
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

}  // namespace
