// Servers, streams and programs that fail while ink is on its way.

#include <gmock/gmock.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <random>

#include "ForwardWorld.h"

using testing::HasSubstr;
using testing::UnorderedElementsAre;

// The server is killed in the middle of ink that is on its way to it and from it, again and again.
TEST(ForwardFaults, AServerThatIsKilledLosesAndRepeatsNothing) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  for (int round = 0; round < InLongForm(4, 50); ++round) {
    ASSERT_TRUE(world.ImportMore(40));
    ASSERT_TRUE(world.WaitUntilKept(world.imported() - 30));
    server.Kill();
    ASSERT_TRUE(world.ImportMore(10));
    server.Start();
  }
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << forward.log();
  EXPECT_TRUE(world.WaitUntilKept(world.imported())) << inbox.log();
  StreamPeer peer(server.url());
  EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("library"); }));
  EXPECT_EQ(peer.Count(), world.imported());
  EXPECT_EQ(world.Kept(), peer.Ink());
  EXPECT_TRUE(world.HasKeptAllOnceAndInOrder());
}

TEST(ForwardFaults, AForwarderThatIsKilledLosesAndRepeatsNothing) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer peer(server.url());
  peer.Create(100);  // nearly no window: what is sent twice would be there twice
  auto forward = world.Forward(server.url());
  for (int round = 0; round < InLongForm(5, 50); ++round) {
    ASSERT_TRUE(world.ImportMore(40));
    forward.Start();
    ASSERT_TRUE(Eventually([&] { return peer.Count() >= world.imported() - 25; }));
    forward.Kill();
  }
  forward.Start();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(peer.Count(), world.imported());
  auto ink = peer.Ink();
  std::sort(ink.begin(), ink.end());
  EXPECT_EQ(std::unique(ink.begin(), ink.end()), ink.end());
}

TEST(ForwardFaults, AFullStreamLeavesInkWithTheService) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream", "--max-size", "5000"});
  forward.Start();
  ASSERT_TRUE(world.ImportMore(40));
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

// Somebody tidies the service's folder up while packages wait for the server.
TEST(ForwardFaults, APackageThatHasGoneIsAskedForAgain) {
  ForwardWorld world;
  NatsServer server(world.path("server"));
  StreamPeer(server.url()).Create();
  server.Kill();
  auto forward = world.Forward(server.url());
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.4", 5000, 1)));
  ASSERT_TRUE(world.Import(world.InkOf("1.2.3.5", 6000, 2)));
  forward.Start();
  ASSERT_TRUE(forward.WaitForLog("ink of pen 0000-0000-0000-0001 stays with the service"));
  ASSERT_TRUE(forward.WaitForLog("ink of pen 0000-0000-0000-0002 stays with the service"));
  namespace fs = boost::filesystem;
  std::vector<fs::path> packages(fs::directory_iterator(world.root().scratch()), {});
  ASSERT_EQ(packages.size(), 2u);
  fs::remove(packages[0]);
  WriteFile(packages[1], "");
  server.Start();
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << forward.log();
  EXPECT_THAT(forward.log(),
              HasSubstr("has gone from its place; the service is asked for it again"));
  auto inbox = world.Inbox(server.url());
  inbox.Start();
  ASSERT_TRUE(world.WaitUntilKept(2));
  EXPECT_THAT(world.Kept(), UnorderedElementsAre("0000-0000-0000-0001 1.2.3.4 5000",
                                                 "0000-0000-0000-0002 1.2.3.5 6000"));
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

// Desktop's end, inbox's end and server are killed at random, also two and three of them together,
// while ink keeps coming.
TEST(ForwardFaults, WhateverIsKilledEachPackageComesOnceAndInOrder) {
  constexpr unsigned kSeed = 20;
  SCOPED_TRACE("seed " + std::to_string(kSeed));
  std::mt19937 random(kSeed);
  ForwardWorld world;
  NatsServer server(world.path("server"));
  auto forward = world.Forward(server.url(), {"--create-stream"});
  auto inbox = world.Inbox(server.url());
  forward.Start();
  inbox.Start();
  const auto wanted = static_cast<std::size_t>(InLongForm(150, 5000));
  while (world.imported() < wanted) {
    ASSERT_TRUE(world.ImportMore(20 + static_cast<int>(random() % 20)));
    // Somewhere in the middle of this ink.
    ASSERT_TRUE(world.WaitUntilKept(world.imported() - 1 - random() % 19)) << inbox.log();
    const unsigned dying = 1 + random() % 7;  // a bit for each
    if (dying & 1) forward.Kill();
    if (dying & 2) server.Kill();
    if (dying & 4) inbox.Kill();
    ASSERT_TRUE(world.ImportMore(2));
    if (dying & 4) inbox.Start();
    if (dying & 2) server.Start();
    if (dying & 1) forward.Start();
  }
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty()) << forward.log();
  EXPECT_TRUE(world.WaitUntilKept(world.imported())) << inbox.log();
  StreamPeer peer(server.url());
  EXPECT_TRUE(Eventually([&] { return peer.HasTakenAll("library"); }));
  EXPECT_EQ(peer.Count(), world.imported());
  EXPECT_TRUE(world.HasKeptAllOnceAndInOrder());
}
