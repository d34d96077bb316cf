// A network that is cut in the middle: what is sent vanishes, and no connection ends by it.

#include <gmock/gmock.h>

#include "CutNetwork.h"
#include "ForwardWorld.h"

namespace {

// Both ends of the ink's way with the clients, and a server that they reach over the wire alone.
struct World : ForwardWorld {
  explicit World(CutNetwork& made) : network(made) {
    network.EnterServer();
    server = std::make_unique<NatsServer>(path("server"), "", 0, "0.0.0.0");
    network.EnterClients();
    const std::string url = server->url("nats://", CutNetwork::kServer);
    forward = std::make_unique<LoggingProgram>(Forward(url, {"--create-stream"}));
    inbox = std::make_unique<LoggingProgram>(Inbox(url));
    forward->Start();
    inbox->Start();
  }

  // Cuts the wire in the middle of the ink and mends it when the desktop's log says `sign`, which
  // it does not say before.
  void CutUntil(const std::string& sign) {
    ASSERT_TRUE(ImportMore(100));
    ASSERT_TRUE(WaitUntilKept(imported() - 90)) << forward->log() << inbox->log();
    network.Cut();
    ASSERT_TRUE(ImportMore(20));
    EXPECT_TRUE(forward->WaitForLog(sign)) << forward->log();
    EXPECT_FALSE(is_store_empty());
    network.Mend();
    EXPECT_TRUE(WaitUntilStoreIsEmpty()) << forward->log();
    EXPECT_TRUE(WaitUntilKept(imported())) << inbox->log();
  }

  void ExpectEachOnce() {
    network.EnterServer();
    StreamPeer peer(server->url());
    EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("library"); }));
    EXPECT_EQ(peer.Count(), imported());
    EXPECT_TRUE(HasKeptAllOnceAndInOrder());
  }

  CutNetwork& network;
  std::unique_ptr<NatsServer> server;
  std::unique_ptr<LoggingProgram> forward, inbox;
};

}  // namespace

// The connection outlives the cut, and what it held comes late: after it was tried again.
TEST(ForwardNetwork, AShortCutLosesAndRepeatsNothing) {
  CutNetwork network;
  if (!network.why_not().empty()) GTEST_SKIP() << network.why_not();
  World world(network);
  world.CutUntil("the stream did not take a message of ");
  world.ExpectEachOnce();
}

// The servers' silence is noticed, the connection given up, and another one made.
TEST(ForwardNetwork, ACutBeyondThePingsLosesAndRepeatsNothing) {
  CutNetwork network;
  if (!network.why_not().empty()) GTEST_SKIP() << network.why_not();
  World world(network);
  world.CutUntil("the connection to the stream is lost");
  world.ExpectEachOnce();
}
