#include "routing/StoreFixture.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;

namespace {

class Cleanup : public StoreFixture {
 protected:
  // Two strokes of one page, routed to two applications.
  void SetUp() override {
    root.Subscribe("Alpha", "1.2.3.4");
    root.Subscribe("Beta", "1.2.3.4");
    first_file = AddStroke("1.2.3.4", "s1");
    second_file = AddStroke("1.2.3.4", "s2");
    Route();
  }

  const StrokeID first = Stroke("1.2.3.4", "s1");
  const StrokeID second = Stroke("1.2.3.4", "s2");
  fs::path first_file;
  fs::path second_file;
};

TEST_F(Cleanup, RemovesAStrokeThatAllHaveReceivedAndOneHasAccepted) {
  Mark("Alpha", {first}, {first});
  Mark("Beta", {first}, {});
  service->CleanupStorage("PEN");
  EXPECT_EQ(log.lines(), (Lines{{3, "Removing 1 Inks from Pen 'PEN' storage..."},
                                {3, "Removed 1 Inks from Pen 'PEN' storage."}}));
  EXPECT_FALSE(fs::exists(first_file));
  EXPECT_TRUE(fs::exists(second_file));
  EXPECT_TRUE(Processed().empty());
  EXPECT_EQ(Undelivered("Alpha"), Strokes{second});
}

TEST_F(Cleanup, KeepsAStrokeThatOneHasNotReceived) {
  Mark("Alpha", {first}, {first});
  service->CleanupStorage("PEN");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(fs::exists(first_file));
}

TEST_F(Cleanup, KeepsAStrokeThatAllHaveReceivedAndNobodyHasAccepted) {
  Mark("Alpha", {first}, {});
  Mark("Beta", {first}, {});
  service->CleanupStorage("PEN");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(fs::exists(first_file));
}

TEST_F(Cleanup, TidiesDirectoriesThatAreEmptyThen) {
  Mark("Alpha", {first, second}, {first});
  Mark("Beta", {first, second}, {second});
  service->CleanupStorage("PEN");
  EXPECT_EQ(log.lines(), (Lines{{3, "Removing 2 Inks from Pen 'PEN' storage..."},
                                {3, "Removed 2 Inks from Pen 'PEN' storage."},
                                {3, "Removed empty Storage dir: 'ROOT/PEN/1.2.3.4'."},
                                {3, "Removed empty Storage dir: 'ROOT/PEN'."}}));
  EXPECT_FALSE(fs::exists(root.storage() / "PEN"));
}

TEST_F(Cleanup, TidiesAlsoIfNothingWasProcessed) {
  fs::create_directories(root.storage() / "PEN/5.5.5.5");
  service->CleanupStorage("PEN");
  EXPECT_EQ(log.lines(), (Lines{{3, "Removed empty Storage dir: 'ROOT/PEN/5.5.5.5'."}}));
}

TEST_F(Cleanup, OfWhatIsNoPenDoesNothing) {
  service->CleanupStorage("../PEN");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(fs::exists(first_file));
}

TEST_F(Cleanup, OfTheStoreTakesEveryPenInItsOrder) {
  fs::create_directories(root.storage() / "B");
  fs::create_directories(root.storage() / "A");
  fs::create_directories(root.storage() / "not a pen");
  service->CleanupStorage();
  EXPECT_EQ(log.lines(), (Lines{{2, "Got unexpected directory while looking for Pen Serials: '" +
                                        (root.storage() / "not a pen").string() + "'."},
                                {3, "Removed empty Storage dir: 'ROOT/A'."},
                                {3, "Removed empty Storage dir: 'ROOT/B'."}}));
  EXPECT_TRUE(fs::exists(first_file));
}

TEST_F(Cleanup, OfTheStoreIsLeftToTheNextStartOnceItsQueueIsStopped) {
  fs::create_directories(root.storage() / "A");
  TalvoQuillpost::EventQueue queue;
  queue.Stop();
  TalvoQuillpost::CleanupStorage(queue);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(fs::exists(root.storage() / "A"));
}

TEST_F(Cleanup, WithoutAStoreDoesNothing) {
  fs::remove_all(root.storage());
  service->CleanupStorage();
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(fs::exists(root.storage()));
}

TEST_F(Cleanup, APenThatCanNotBeListedDoesNotKeepTheOthersFromTheirTurn) {
  fs::create_directories(root.storage() / "A");
  fs::create_directories(root.storage() / "B");
  OpenToEveryone();
  fs::permissions(root.storage() / "A", fs::no_perms);
  {
    const PlainUser user;
    service->CleanupStorage();
  }
  const Lines lines = log.lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].first, 1);
  EXPECT_EQ(lines[0].second.find("The clean-up of a pen's ink failed: "), 0u) << lines[0].second;
  EXPECT_EQ(lines[1].second, "Removed empty Storage dir: 'ROOT/B'.");
}

}  // namespace
