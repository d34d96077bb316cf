// What the inbox bears: kills, full disks, disks that fail. What it has confirmed is in it, once.

#include <gmock/gmock.h>
#include <signal.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <random>
#include <set>
#include <thread>

#include "InboxProgram.h"
#include "support/Machine.h"

using testing::HasSubstr;

namespace {

#ifdef SANITIZED
constexpr int kKills = 4;
#else
constexpr int kKills = 20;
#endif
constexpr int kInksForAKill = 8;

// Ink of several pens, so that packages wait together.
std::string InkNumber(int number) {
  return InkFile(static_cast<std::uint64_t>(number % 5 + 1))
      .AddStroke(("1.2.3." + std::to_string(number % 7)).c_str(),
                 1000 + static_cast<std::uint64_t>(number) * 1000)
      .bytes();
}

// The start of every stroke that the inbox shows.
std::multiset<std::uint64_t> StartsIn(InboxProgram& inbox) {
  std::multiset<std::uint64_t> starts;
  for (const Json::Value& page : inbox.Pages()) {
    const auto ink = inbox.Get("/api/pages/" + page["id"].asString() + "/ink").Json();
    for (const Json::Value& stroke : ink["strokes"]) starts.insert(stroke["start"].asUInt64());
  }
  return starts;
}

std::string HindranceOf(InboxProgram& inbox) {
  return inbox.Get("/api/status").Json()["hindrance"].asString();
}

}  // namespace

// Packages arrive all the time, and the inbox is killed at any moment, again and again. Each time
// it starts anew it goes on; in the end everything that the service let go of is there exactly
// once.
TEST(InboxFaults, AKillLosesNothingAndDoublesNothing) {
  InboxWorld world;
  std::mt19937 random(20260131);
  std::multiset<std::uint64_t> sent;
  int number = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    Process inbox({QUILLPOST_INBOX}, {{"XDG_DATA_HOME", ""}});
    for (int i = 0; i < kInksForAKill; ++i, ++number) {
      ASSERT_TRUE(world.Import(InkNumber(number)));
      sent.insert(1000 + static_cast<std::uint64_t>(number) * 1000);
      if (random() % kInksForAKill == 0) inbox.Signal(SIGKILL);
    }
    inbox.Signal(SIGKILL);
    inbox.Wait();
  }
  InboxProgram inbox;
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(StartsIn(inbox), sent);
}

// Whatever the service no longer has must be in the inbox at that moment, not only in the end.
TEST(InboxFaults, WhatIsConfirmedIsThereWhenItIsKilled) {
  InboxWorld world;
  std::mt19937 random(7);
  for (int round = 0; round < kKills; ++round) {
    const int number = 10000 + round;
    Process inbox({QUILLPOST_INBOX}, {{"XDG_DATA_HOME", ""}});
    ASSERT_TRUE(world.Import(InkNumber(number)));
    if (random() % 2 == 0) {
      ASSERT_TRUE(Eventually([&] { return HoldsNothing(world.root().scratch()); }));
    }
    inbox.Signal(SIGKILL);
    inbox.Wait();
    const bool is_confirmed = HoldsNothing(world.root().storage());
    if (!is_confirmed) continue;
    world.StopService();
    {
      InboxProgram again;
      EXPECT_EQ(StartsIn(again).count(1000 + static_cast<std::uint64_t>(number) * 1000), 1u);
      EXPECT_EQ(again.Stop(), 0);
    }
    world.StartService();
  }
}

TEST(InboxFaults, APackageThatIsOfferedTwiceIsKeptOnce) {
  InboxWorld world;
  InboxProgram inbox;
  ASSERT_TRUE(world.Import(InkNumber(1)));
  ASSERT_TRUE(inbox.WaitForPages(1));
  ASSERT_TRUE(world.WaitUntilStoreIsEmpty());
  ASSERT_TRUE(world.Import(InkNumber(1)));
  ASSERT_TRUE(world.Import(InkNumber(2)));  // and then something new, to know that it has passed
  ASSERT_TRUE(inbox.WaitForPages(2));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(StartsIn(inbox).size(), 2u);
}

TEST(InboxFaults, OnAFullDiskInkStaysWithTheServiceUntilThereIsRoom) {
  InboxWorld world;
  const auto data = world.root().path() / "data";
  Disk disk(data, "size=2m");
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount a file system";
  // Below the root like every path of the system.
  InboxProgram inbox({}, {{"XDG_DATA_HOME", "/data"}});
  ASSERT_TRUE(world.Import(InkNumber(1)));
  ASSERT_TRUE(inbox.WaitForPages(1));
  disk.Fill();
  std::vector<Stf2Sample> samples(50000, Stf2Sample{0, 5, 5, 0, STF2_SAMPLE_COORDINATE, 1});
  ASSERT_TRUE(world.Import(InkFile().AddStroke("1.1.1.1", 77000, samples).bytes()));
  EXPECT_TRUE(Eventually([&] {
    return HindranceOf(inbox).find("ink stays with the service") == 0;
  })) << HindranceOf(inbox);
  EXPECT_THAT(HindranceOf(inbox), HasSubstr("full"));
  EXPECT_EQ(inbox.Pages().size(), 1u) << "what is there can be read all the same";
  EXPECT_FALSE(HoldsNothing(world.root().storage()));
  disk.Free();
  EXPECT_TRUE(inbox.WaitForPages(2));
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(HindranceOf(inbox), "");
}

TEST(InboxFaults, WhatCantBeSyncedIsNotConfirmed) {
  if (std::string(FAILING_SYNC).empty()) {
    GTEST_SKIP() << "the sanitizers' own library must be loaded first";
  }
  InboxWorld world;
  const std::string fault = world.path("fault");
  InboxProgram inbox({}, {{"LD_PRELOAD", FAILING_SYNC}, {"FAILING_SYNC", fault}});
  ASSERT_TRUE(Eventually(
      [&] { return inbox.Get("/api/status").Json()["service"].asString() == "connected"; }));
  WriteFile(fault, "");
  ASSERT_TRUE(world.Import(InkNumber(1)));
  EXPECT_TRUE(Eventually([&] { return !HindranceOf(inbox).empty(); }));
  EXPECT_THAT(HindranceOf(inbox), HasSubstr("disk I/O error"));
  EXPECT_FALSE(HoldsNothing(world.root().storage()));
  boost::filesystem::remove(fault);
  EXPECT_TRUE(world.WaitUntilStoreIsEmpty());
  EXPECT_EQ(StartsIn(inbox).size(), 1u);
}
