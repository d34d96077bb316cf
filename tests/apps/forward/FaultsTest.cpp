// Servers, streams and programs that fail while ink is on its way.

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>

#include "ForwardWorld.h"

using testing::HasSubstr;

namespace {

// QUILLPOST_FORWARD_LONG asks for the long form of the stories.
int Rounds(int few, int many) {
  return std::getenv("QUILLPOST_FORWARD_LONG") != nullptr ? many : few;
}

// Ink of that many pages, each a package, of two pens.
std::string PageOf(int number) {
  return "1.2." + std::to_string(number / 100) + "." + std::to_string(number % 100);
}

bool ImportSome(ForwardWorld& world, int& count, int some) {
  InkFile one(1), two(2);
  for (int i = 0; i < some; ++i) {
    ++count;
    (count % 2 == 0 ? one : two).AddStroke(PageOf(count).c_str(), 1000 + count);
  }
  return world.Import(one.bytes()) && world.Import(two.bytes());
}

}  // namespace

// The server is killed in the middle of ink that is on its way to it and from it, again and again.
TEST(ForwardFaults, AServerThatIsKilledLosesAndRepeatsNothing) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  int count = 0;
  for (int round = 0; round < Rounds(4, 50); ++round) {
    ASSERT_TRUE(ImportSome(world, count, 40));
    ASSERT_TRUE(world.WaitUntilKept(static_cast<std::size_t>(count) - 30));
    server.Kill();
    ASSERT_TRUE(ImportSome(world, count, 10));
    server.Start();
  }
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << forward.log();
  EXPECT_TRUE(world.WaitUntilKept(static_cast<std::size_t>(count))) << inbox.log();
  StreamPeer peer(server.url());
  EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("library"); }));
  EXPECT_EQ(peer.Count(), static_cast<std::uint64_t>(count));
  EXPECT_EQ(world.Kept(), peer.Ink());
}

TEST(ForwardFaults, AForwarderThatIsKilledLosesAndRepeatsNothing) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create(100);  // nearly no window: what is sent twice would be there twice
  auto forward = world.Forward(server.url());
  int count = 0;
  for (int round = 0; round < Rounds(5, 50); ++round) {
    ASSERT_TRUE(ImportSome(world, count, 40));
    forward.Start();
    ASSERT_TRUE(Eventually([&] { return peer.Count() >= static_cast<std::uint64_t>(count) - 25; }));
    forward.Kill();
  }
  forward.Start();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(peer.Count(), static_cast<std::uint64_t>(count));
  auto ink = peer.Ink();
  std::sort(ink.begin(), ink.end());
  EXPECT_EQ(std::unique(ink.begin(), ink.end()), ink.end());
}

TEST(ForwardFaults, AFullStreamLeavesInkWithTheService) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream", "--max-size", "5000"});
  forward.Start();
  int count = 0;
  ASSERT_TRUE(ImportSome(world, count, 40));
  EXPECT_TRUE(forward.WaitForLog("stays with the service: the stream did not take a message of "));
  EXPECT_TRUE(forward.WaitForLog("maximum bytes exceeded"));
  EXPECT_FALSE(world.is_store_empty());
  StreamPeer peer(server.url());
  const std::uint64_t before = peer.Count();
  EXPECT_GT(before, 0u);
  EXPECT_TRUE(Eventually([&] {
    peer.Purge();
    return world.is_store_empty();
  })) << forward.log();
}

TEST(ForwardFaults, AServerThatIsAwayIsWaitedFor) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer(server.url()).Create();
  server.Kill();
  auto forward = world.Forward(server.url());
  auto inbox = world.Inbox(server.url());
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000)));
  forward.Start();
  inbox.Start();
  EXPECT_TRUE(
      forward.WaitForLog("stays with the service: can't connect to " + server.url() + ": "));
  EXPECT_TRUE(inbox.WaitForLog("No ink comes from the stream: can't connect to " + server.url()));
  server.Start();
  EXPECT_TRUE(world.WaitUntilKept(1));
}

TEST(ForwardFaults, ItEndsQuietlyWhileItsServerIsAway) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  server.Kill();
  auto forward = world.Forward(server.url());
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  ASSERT_TRUE(forward.WaitForLog("can't connect"));
  ASSERT_TRUE(inbox.WaitForLog("can't connect"));
  EXPECT_EQ(forward.Stop(), 0);
  EXPECT_EQ(inbox.Stop(), 0);
}
