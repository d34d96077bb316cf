// A server that stays away is not pressed.

#include "stream/Patience.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <set>
#include <thread>

#include "ForwardWorld.h"

using std::chrono::milliseconds;

namespace {

// Takes connections and ends each without a word, as a server does that is about to go down.
class DeafServer {
 public:
  DeafServer() : thread_([this] { Take(), queue_.run(); }) {}
  ~DeafServer() {
    queue_.stop();
    thread_.join();
  }
  DeafServer(const DeafServer&) = delete;
  DeafServer& operator=(const DeafServer&) = delete;

  std::string url() const { return "nats://127.0.0.1:" + std::to_string(port_); }
  int attempts() const { return attempts_; }

 private:
  using Tcp = boost::asio::ip::tcp;

  void Take() {
    acceptor_.async_accept([this](const boost::system::error_code& error, const Tcp::socket&) {
      if (!error) ++attempts_;
      Take();
    });
  }

  boost::asio::io_context queue_;
  Tcp::acceptor acceptor_{queue_, Tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0)};
  const unsigned short port_ = acceptor_.local_endpoint().port();
  std::atomic<int> attempts_{0};
  std::thread thread_;
};

}  // namespace

TEST(Patience, EachWaitIsTwiceTheOneBeforeUpToTheLongest) {
  Stream::Patience patience(milliseconds(100), milliseconds(500));
  for (const int wait : {100, 200, 400, 500, 500}) EXPECT_EQ(patience.Next(), milliseconds(wait));
}

TEST(Patience, AfterASuccessItBeginsAnew) {
  Stream::Patience patience(milliseconds(100), milliseconds(500));
  patience.Next();
  patience.Next();
  patience.Reset();
  EXPECT_EQ(patience.Next(), milliseconds(100));
}

TEST(Patience, LostConnectionsComeBackMoreAndMoreRarelyAndNotInStep) {
  ASSERT_GE(::sodium_init(), 0);
  std::int64_t longest = 100;
  for (int attempts = 1; attempts <= 40; ++attempts) {
    longest = std::min<std::int64_t>(2 * longest, 10000);
    std::set<std::int64_t> delays;
    for (int desktop = 0; desktop < 100; ++desktop)
      delays.insert(Stream::ReconnectDelayMs(attempts));
    EXPECT_GE(*delays.begin(), longest / 2) << attempts;
    EXPECT_LE(*delays.rbegin(), longest) << attempts;
    EXPECT_GT(delays.size(), 10u) << attempts;
  }
  EXPECT_GT(Stream::ReconnectDelayMs(0), 0);
}

TEST(Patience, BothEndsAskADeafServerMoreAndMoreRarely) {
  ForwardWorld world;
  const DeafServer desktops_server, inboxes_server;
  auto forward = world.Forward(desktops_server.url());
  auto inbox = world.Inbox(inboxes_server.url());
  forward.Start();
  inbox.Start();
  for (const std::string wait : {"1000", "2000", "4000"}) {
    ASSERT_TRUE(forward.WaitForLog("The next attempt to connect: in " + wait + " ms."));
  }
  EXPECT_EQ(desktops_server.attempts(), 3);
  for (const std::string wait : {"500", "1000", "2000", "4000"}) {
    ASSERT_TRUE(inbox.WaitForLog("The next attempt to read the stream: in " + wait + " ms."));
  }
  EXPECT_EQ(inboxes_server.attempts(), 4);
}
