// Memory that runs out while the routing info changes or is saved: whatever of the change is in the
// table by then, the next save brings the file in line with it.

#include <new>

#include "stf2/AllocationControl.h"
#include "storage/StoreTest.h"

namespace TalvoQuillpost {
namespace Storage {
namespace {

constexpr std::size_t kMaxAllocations = 5000;

class MemoryTest : public StoreTest {
 protected:
  // Twenty strokes of two applications, saved, and then two more files between them.
  void Prepare() {
    Cleanup();
    boost::filesystem::remove_all(PenPath());
    for (int i = 10; i < 30; ++i) Put("s" + std::to_string(i) + ".stf2");
    ASSERT_TRUE(Sync({kApp, "app.two"}));
    Put("s125.stf2");
    Put("s175.stf2");
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
    }
    EXPECT_GT(allowed, 2u);
  }
};

TEST_F(MemoryTest, ClaimsThatRanOutOfItAreWrittenByTheNextSave) {
  const Names apps = {kApp, "app.two", "app.three"};
  ExpectTheNextSaveToBeWhole([&] { SyncRoutingInfo(kPen, kPage, apps); });
}

TEST_F(MemoryTest, MarksThatRanOutOfItAreWrittenByTheNextSave) {
  const Strokes strokes = {Stroke("s12"), Stroke("s17")};
  ExpectTheNextSaveToBeWhole([&] { SetRoutingInfoMarkers(kPen, kApp, strokes, strokes); });
}

TEST_F(MemoryTest, RemovalsThatRanOutOfItAreWrittenByTheNextSave) {
  const Strokes strokes = {Stroke("s12"), Stroke("s17")};
  ExpectTheNextSaveToBeWhole([&] { RemoveStrokes(kPen, strokes); });
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
