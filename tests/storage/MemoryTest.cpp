// Memory that runs out while new ink is committed: the next commit files what was written. And
// while the routing info changes or is saved: whatever of the change is in the table by then, all
// questions about it are answered from that, and the next save brings the file in line with it.

#include <new>

#include "stf2/AllocationControl.h"
#include "storage/NewStrokes.h"
#include "storage/StoreTest.h"

namespace TalvoQuillpost {
namespace Storage {
namespace {

constexpr std::size_t kMaxAllocations = 5000;

class MemoryTest : public StoreTest {
 protected:
  // Twelve strokes of two applications, saved, of which the second one has received two, and then
  // two more files between them and one on another page.
  void Prepare() {
    Cleanup();
    boost::filesystem::remove_all(PenPath());
    for (int i = 10; i < 22; ++i) Put("s" + std::to_string(i) + ".stf2");
    ASSERT_TRUE(Sync({kApp, "app.two"}));
    ASSERT_TRUE(SetRoutingInfoMarkers(kPen, "app.two", received_, {}));
    Put("s125.stf2");
    Put("s175.stf2");
    Put("s1.stf2", "5.6.7.8");
  }

  // Runs `change` with the allocation behind the `allowed` ones failing. True when it failed.
  template <typename Change>
  static bool RunsOut(std::size_t allowed, const Change& change) {
    const AllocationFailure failure(allowed);
    try {
      change();
    } catch (const std::bad_alloc&) {
    }
    return failure.happened();
  }

  // The archive of what the table holds, which is written whole after the file is gone.
  std::string WrittenWhole() const {
    boost::filesystem::remove(RoutingInfoPath());
    EXPECT_TRUE(SaveRoutingInfo(kPen));
    return ReadFile(RoutingInfoPath());
  }

  // What the table answers, for each application and at last for the clean-up.
  static std::vector<Strokes> Answers() {
    std::vector<Strokes> answers;
    for (const char* app : {kApp, "app.two", "app.three"}) {
      answers.push_back(Undelivered(app));
      std::vector<StrokeID> first;
      EXPECT_EQ(answers.back().size(), FindUndeliveredStrokes(kPen, app, 1, first));
      if (!answers.back().empty()) {
        EXPECT_EQ(*answers.back().begin(), first.front());
      }
    }
    answers.push_back(Processed());
    return answers;
  }

  // Fails each allocation of `change` in its turn.
  template <typename Change>
  void ExpectTheNextSaveToBeWhole(const Change& change) {
    std::size_t allowed = 0;
    for (bool ran_out = true; ran_out; ++allowed) {
      ASSERT_LT(allowed, kMaxAllocations);
      ASSERT_NO_FATAL_FAILURE(Prepare());
      ran_out = RunsOut(allowed, change);
      EXPECT_TRUE(SaveRoutingInfo(kPen));
      const std::string saved = ReadFile(RoutingInfoPath());
      ASSERT_EQ(WrittenWhole(), saved) << allowed << " allocations passed";
      const std::vector<Strokes> answers = Answers();
      Cleanup();
      Initialize();
      ASSERT_EQ(Answers(), answers) << allowed << " allocations passed";
    }
    EXPECT_GT(allowed, 2u);
  }

  const Strokes received_ = {Stroke("s12"), Stroke("s17")};
};

// The first save after a start takes note of a file of which nothing was known.
TEST_F(MemoryTest, AChangeAfterAFirstSaveThatRanOutOfItIsWritten) {
  std::size_t allowed = 0;
  for (bool ran_out = true; ran_out; ++allowed) {
    ASSERT_LT(allowed, kMaxAllocations);
    ASSERT_NO_FATAL_FAILURE(Prepare());
    Cleanup();
    ASSERT_TRUE(Initialize());
    ran_out = RunsOut(allowed, [] { SaveRoutingInfo(kPen); });
    EXPECT_TRUE(Sync({kApp, "app.two"}));
    const std::string saved = ReadFile(RoutingInfoPath());
    ASSERT_EQ(WrittenWhole(), saved) << allowed << " allocations passed";
  }
  EXPECT_GT(allowed, 2u);
}

TEST_F(MemoryTest, ClaimsThatRanOutOfItAreWrittenByTheNextSave) {
  const Names apps = {kApp, "app.two", "app.three"};
  ExpectTheNextSaveToBeWhole([&] { SyncRoutingInfo(kPen, kPage, apps); });
  ExpectTheNextSaveToBeWhole([&] { SyncRoutingInfo(kPen, "5.6.7.8", apps); });
}

// The applications had claimed all of the page before, so that only its new files are looked at.
TEST_F(MemoryTest, ClaimsThatRanOutOfItAreCompletedByTheNextPass) {
  const Names apps = {kApp, "app.two"};
  std::size_t allowed = 0;
  for (bool ran_out = true; ran_out; ++allowed) {
    ASSERT_LT(allowed, kMaxAllocations);
    ASSERT_NO_FATAL_FAILURE(Prepare());
    ran_out = RunsOut(allowed, [&] { SyncRoutingInfo(kPen, kPage, apps); });
    ASSERT_TRUE(SyncRoutingInfo(kPen, kPage, apps));
    ASSERT_EQ(14u, Undelivered(kApp).size()) << allowed << " allocations passed";
    ASSERT_EQ(12u, Undelivered("app.two").size()) << allowed << " allocations passed";
  }
  EXPECT_GT(allowed, 2u);
}

TEST_F(MemoryTest, MarksThatRanOutOfItAreWrittenByTheNextSave) {
  ExpectTheNextSaveToBeWhole([&] { SetRoutingInfoMarkers(kPen, kApp, received_, received_); });
}

// Of strokes that are processed once the other application claims them no more, and of all.
TEST_F(MemoryTest, EndsOfClaimsThatRanOutOfItAreWrittenByTheNextSave) {
  ExpectTheNextSaveToBeWhole([&] {
    SetRoutingInfoMarkers(kPen, "app.two", received_, received_);
    SyncRoutingInfo(kPen, kPage, {"app.two"});
  });
  ExpectTheNextSaveToBeWhole([&] { SyncRoutingInfo(kPen, kPage, {}); });
}

TEST_F(MemoryTest, RemovalsThatRanOutOfItAreWrittenByTheNextSave) {
  ExpectTheNextSaveToBeWhole([&] { RemoveStrokes(kPen, received_); });
}

// A commit that ran out of memory is tried again: what has its name by then gets no second one.
TEST_F(MemoryTest, ACommitThatRanOutOfItIsCompletedByTheNext) {
  std::size_t allowed = 0;
  for (bool ran_out = true; ran_out; ++allowed) {
    ASSERT_LT(allowed, kMaxAllocations);
    boost::filesystem::remove_all(PenPath());
    NewStrokes strokes;
    for (const char* name : {"a", "b"}) ASSERT_TRUE(strokes.Add(kPen, Stroke(name), "ink", 3));
    ran_out = RunsOut(allowed, [&] { CommitStrokes({&strokes}); });
    CommitStrokes({&strokes});
    ASSERT_TRUE(strokes.all_stored()) << allowed << " allocations passed";
    const auto page = PenPath(kPage);
    ASSERT_EQ(2, std::distance(boost::filesystem::directory_iterator(page), {}))
        << allowed << " allocations passed";
    ASSERT_EQ("ink", ReadFile(page / "b.stf2"));
  }
  EXPECT_GT(allowed, 2u);
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
