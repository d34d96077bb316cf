// Who waits for whom: the service's threads and clients, each held up in turn in the middle of its
// work.

#include <unistd.h>

#include <boost/asio/error.hpp>
#include <boost/filesystem/operations.hpp>
#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "service/FakeServer.h"
#include "support/InkFile.h"
#include "support/Patience.h"

namespace {

// A thread that passes while it is closed waits until it is opened. It is closed once at most.
class Gate {
 public:
  void Close() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_open_ = false;
  }
  void Open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_open_ = true;
    changed_.notify_all();
  }
  void Pass() {
    std::unique_lock<std::mutex> lock(mutex_);
    if (is_open_) return;
    waiting_thread_ = ::gettid();
    changed_.notify_all();
    changed_.wait(lock, [this] { return is_open_; });
  }

  // The thread that waits, 0 when none comes in time.
  pid_t WaitForThread() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, kPatience, [this] { return waiting_thread_ != 0; });
    return waiting_thread_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_open_ = true;
  pid_t waiting_thread_ = 0;
};

class ServiceThreads : public ServiceOverAFakeServer {
 protected:
  ServiceThreads() {
    // The host's thread only finds out where to watch them.
    FakeServer::on_subscriptions = [this, host = ::gettid()] {
      if (::gettid() != host) subscriptions.Pass();
    };
    FakeServer::on_launch = [this](const std::string&) {
      ++launches;
      launching.Pass();
    };
  }
  ~ServiceThreads() override {
    for (Gate* gate : {&subscriptions, &launching, &sending}) gate->Open();
    service->Stop();
    FakeServer::on_subscriptions = nullptr;
    FakeServer::on_launch = nullptr;
  }

  void AddStroke(const std::string& name, const std::string& pen = "PEN") const {
    WriteFile(root.storage() / pen / "1.2.3.4" / (name + ".stf2"), "ink " + name);
  }

  void Start() {
    ASSERT_TRUE(service->Start());
    ASSERT_TRUE(log.WaitFor(3, "Ink Delivery finished."));
  }

  // Reports the end of a connection.
  static void End(const boost::shared_ptr<Peer>& ended) {
    OnServerThread([&] { FakeServer::latest->on_disconnected(ended, boost::asio::error::eof); });
  }

  // Imports ink that nobody has subscribed to; its passes are queued by the end.
  std::string Import() const {
    const std::string file = (root.path() / "capture").string();
    WriteFile(file, InkFile().AddStroke("9.9.9.9", 100).bytes());
    boost::promise<std::string> answer;
    OnServerThread([&] {
      FakeServer::latest->on_request(
          peer, "ImportSTF2File", Params({{"InkPackagePath", file}}),
          [&](const std::string& status, const Json::Value&) { answer.set_value(status); });
    });
    return answer.get_future().get();
  }

  // Of two packages, the second one was offered and not confirmed: when it is refused, it is
  // offered again. Ends the connection.
  void ExpectSecondPackageInFlight() {
    EXPECT_EQ(Ask("ConfirmInkPackageDelivery",
                  Params({{"InkPackagePen", "PEN"}, {"InkPackageDelivered", false}})),
              "Success");
    EXPECT_TRUE(Eventually([&] { return peer->notifications == 3; }));
    EXPECT_TRUE(boost::filesystem::exists(root.storage() / "PEN/1.2.3.4/s2.stf2"));
    End(peer);
  }

  // All of them are open at first.
  Gate subscriptions;  // passed by the routing pass, and later by the delivery pass
  Gate launching;
  Gate sending;  // passed by peers that are told to
  std::atomic<int> launches{0};
};

TEST_F(ServiceThreads, OneClientIsServedWhileTheThreadOfAnotherIsHeldUp) {
  root.Subscribe("Slow", "1.2.3.4");
  for (const char* name : {"s1", "s2", "s3"}) AddStroke(name);
  Start();
  const auto slow = boost::make_shared<Peer>();
  slow->on_send = [this] { sending.Pass(); };
  sending.Close();
  EXPECT_EQ(Ask(slow, "EnableNotifications", App("Slow")), "Success");
  ASSERT_NE(sending.WaitForThread(), 0);
  EXPECT_EQ(Ask("EnableNotifications", App("Sketcher")), "Success");
  for (int package = 1; package <= 3; ++package) {
    ASSERT_TRUE(Eventually([&] { return peer->notifications == package; }));
    Ask("ConfirmInkPackageDelivery",
        Params({{"InkPackagePen", "PEN"}, {"InkPackageDelivered", true}}));
  }
  EXPECT_TRUE(log.WaitFor(3, "Delivered 1 Ink items to application 'Sketcher'.", 3));
  EXPECT_EQ(slow->notifications, 1);
  sending.Open();
  End(slow);
  End(peer);
}

// As a client that is in a hurry, or that repeats itself, sends them. The second confirmation waits
// while the first one is carried out and the next package announced; the client can't mean that.
TEST_F(ServiceThreads, TwoConfirmationsThatWaitTogetherAreForOnePackage) {
  for (const char* name : {"s1", "s2"}) AddStroke(name);
  Start();
  const Json::Value confirmation =
      Params({{"InkPackagePen", "PEN"}, {"InkPackageDelivered", true}});
  peer->on_send = [this] { sending.Pass(); };
  sending.Close();
  EXPECT_EQ(Ask("EnableNotifications", App("Sketcher")), "Success");
  ASSERT_NE(sending.WaitForThread(), 0);
  EXPECT_EQ(Ask("ConfirmInkPackageDelivery", confirmation), "Success");
  EXPECT_EQ(Ask("ConfirmInkPackageDelivery", confirmation), "Success");
  sending.Open();
  ASSERT_TRUE(Eventually([&] { return peer->notifications == 2; }));
  ExpectSecondPackageInFlight();
}

// The second confirmation was sent with the first one, and the service reads it when it has offered
// the next package already: it still can't mean that.
TEST_F(ServiceThreads, AConfirmationSentBeforeAPackageWasOfferedIsNotForIt) {
  for (const char* name : {"s1", "s2"}) AddStroke(name);
  Start();
  const Json::Value confirmation =
      Params({{"InkPackagePen", "PEN"}, {"InkPackageDelivered", true}});
  EXPECT_EQ(Ask("EnableNotifications", App("Sketcher")), "Success");
  ASSERT_TRUE(Eventually([&] { return peer->notifications == 1; }));
  peer->unread = 1;
  EXPECT_EQ(Ask("ConfirmInkPackageDelivery", confirmation), "Success");
  ASSERT_TRUE(Eventually([&] { return peer->notifications == 2; }));
  peer->unread = 0;
  EXPECT_EQ(Ask("ConfirmInkPackageDelivery", confirmation), "Success");
  ExpectSecondPackageInFlight();
}

// The confirmation is sent while the package is being offered: it can only be for that one.
TEST_F(ServiceThreads, AConfirmationSentAfterAPackageWasOfferedIsForIt) {
  AddStroke("s1");
  Start();
  peer->on_send = [this] { peer->unread = 1; };
  EXPECT_EQ(Ask("EnableNotifications", App("Sketcher")), "Success");
  ASSERT_TRUE(Eventually([&] { return peer->unread == 1; }));
  EXPECT_EQ(Ask("ConfirmInkPackageDelivery",
                Params({{"InkPackagePen", "PEN"}, {"InkPackageDelivered", true}})),
            "Success");
  EXPECT_TRUE(Eventually([&] { return !boost::filesystem::exists(root.storage() / "PEN"); }));
  End(peer);
}

// The delivery pass comes while the lost client's thread is being joined. Were the client found
// then, its ink would be handed to a thread that ends; so the pass waits, and launches the
// application anew.
TEST_F(ServiceThreads, ADeliveryPassWaitsUntilALostClientIsGone) {
  AddStroke("s1");
  Start();
  EXPECT_EQ(launches, 1);
  peer->on_send = [this] { sending.Pass(); };
  sending.Close();
  EXPECT_EQ(Ask("EnableNotifications", App("Sketcher")), "Success");
  ASSERT_NE(sending.WaitForThread(), 0);
  subscriptions.Close();
  EXPECT_EQ(Import(), "Success");
  const pid_t worker = subscriptions.WaitForThread();
  ASSERT_NE(worker, 0);
  std::thread ending([this] { End(peer); });
  EXPECT_TRUE(
      log.WaitFor(3, "Delivering 1 Ink items from Pen 'PEN' to application 'Sketcher' canceled."));
  subscriptions.Open();
  EXPECT_TRUE(log.WaitFor(3, "Delivering Ink to applications...", 2));
  EXPECT_TRUE(Eventually([&] { return IsThreadAsleep(worker); }));
  EXPECT_EQ(launches, 1);
  sending.Open();
  ending.join();
  EXPECT_TRUE(log.WaitFor(3, "Ink Delivery finished.", 2));
  EXPECT_EQ(launches, 2);
}

TEST_F(ServiceThreads, AnApplicationIsEnabledAfterItsLaunchIsOver) {
  AddStroke("s1");
  launching.Close();
  ASSERT_TRUE(service->Start());
  ASSERT_NE(launching.WaitForThread(), 0);
  std::atomic<pid_t> server_thread{0};
  std::string status;
  std::thread asking([&] {
    OnServerThread([&] { server_thread = ::gettid(); });
    status = Ask("EnableNotifications", App("Sketcher"));
  });
  EXPECT_TRUE(Eventually([&] { return server_thread != 0 && IsThreadAsleep(server_thread); }));
  EXPECT_FALSE(log.Has(3, "Client 'Sketcher' connected."));
  launching.Open();
  asking.join();
  EXPECT_EQ(status, "Success");
  EXPECT_TRUE(Eventually([this] { return peer->notifications == 1; }));
  End(peer);
}

TEST_F(ServiceThreads, StopDropsTheDeliveryPassBehindTheRoutingPassThatRuns) {
  AddStroke("s1");
  subscriptions.Close();
  ASSERT_TRUE(service->Start());
  ASSERT_NE(subscriptions.WaitForThread(), 0);
  std::thread host([this] { service->Stop(); });
  EXPECT_TRUE(log.WaitFor(4, "Stopped Quillpost server thread."));
  subscriptions.Open();
  host.join();
  EXPECT_TRUE(log.Has(3,
                      "Storage's Storage's Ink Routing Info was synchronized with Application "
                      "configurations."));
  EXPECT_FALSE(log.Has(3, "Delivering Ink to applications..."));
  EXPECT_EQ(log.lines().back().second, "Quillpost stopped.");
}

TEST_F(ServiceThreads, RequestsThatComeBeforeAPassBeginsAreServedByIt) {
  AddStroke("s1");
  Start();
  subscriptions.Close();
  EXPECT_EQ(Import(), "Success");
  const pid_t worker = subscriptions.WaitForThread();
  ASSERT_NE(worker, 0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Import(), "Success");
  subscriptions.Open();
  EXPECT_TRUE(Eventually(
      [&] { return log.Count(3, "Ink Delivery finished.") >= 3 && IsThreadAsleep(worker); }));
  EXPECT_EQ(log.Count(3, "Ink Delivery finished."), 3u) << "the first, the one held up, one more";
}

// The end of all connections comes first, and takes its time: a pass that went on beside it would
// launch the applications that have just been disconnected.
TEST_F(ServiceThreads, NoDeliveryPassBeginsBesideTheEndOfTheConnections) {
  AddStroke("s1");
  Start();
  EXPECT_EQ(Ask("EnableNotifications", App("Sketcher")), "Success");
  ASSERT_TRUE(Eventually([this] { return peer->notifications == 1; }));
  subscriptions.Close();
  EXPECT_EQ(Import(), "Success");
  const pid_t worker = subscriptions.WaitForThread();
  FakeServer::latest->on_stop = [&] {
    End(peer);
    subscriptions.Open();
    EXPECT_TRUE(Eventually(
        [&] { return log.Count(3, "Ink Delivery finished.") == 2 || StateOfThread(worker) == 0; }));
  };
  service->Stop();
  EXPECT_EQ(log.Count(3, "Ink Delivery finished."), 1u);
  EXPECT_EQ(launches, 1);
}

TEST_F(ServiceThreads, StoppingTheServiceOnItsOwnThreadThrows) {
  ASSERT_TRUE(service->Start());
  OnServerThread([this] {
    try {
      service->Stop();
      ADD_FAILURE() << "nothing was thrown";
    } catch (const boost::thread_resource_error& error) {
      EXPECT_EQ(std::string(error.what()).find("boost thread: trying joining itself"), 0u);
    }
  });
}

}  // namespace
