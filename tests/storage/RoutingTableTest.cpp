// The indexes of one pen's routing info: what they answer after each kind of change.

#include "storage/RoutingTable.h"

#include <gtest/gtest.h>

#include <utility>

namespace TalvoQuillpost {
namespace Storage {
namespace {

typedef std::set<StrokeID> Strokes;

const StrokeID kFirst = {"1.2.3.4", "a", "stf2"};
const StrokeID kSecond = {"1.2.3.4", "b", "stf2"};
const StrokeID kElsewhere = {"5.6.7.8", "aa", "stf2"};

class RoutingTableTest : public testing::Test {
 protected:
  RoutingTableTest() {
    table_.Claim(kSecond, {"A", "B"});
    table_.Claim(kFirst, {"A"});
    table_.Claim(kElsewhere, {"A"});
  }

  RoutingTable table_;
};

TEST_F(RoutingTableTest, AnApplicationIsOfferedItsStrokesInTheirOrder) {
  EXPECT_EQ(3u, table_.CountUndelivered("A"));
  EXPECT_EQ(kFirst, *table_.FirstUndelivered("A"));
  EXPECT_EQ(kSecond, *table_.FirstUndelivered("B"));
  EXPECT_EQ(Strokes({kFirst, kElsewhere, kSecond}), table_.Undelivered("A"));
}

TEST_F(RoutingTableTest, WhoClaimsNothingIsOfferedNothing) {
  EXPECT_EQ(0u, table_.CountUndelivered("C"));
  EXPECT_EQ(nullptr, table_.FirstUndelivered("C"));
  EXPECT_EQ(Strokes(), table_.Undelivered("C"));
}

TEST_F(RoutingTableTest, TheNextStrokeFollowsTheMarkOfTheFirst) {
  table_.Mark(kFirst, "A", false);
  EXPECT_EQ(2u, table_.CountUndelivered("A"));
  EXPECT_EQ(kElsewhere, *table_.FirstUndelivered("A"));
  table_.Mark(kElsewhere, "A", false);
  table_.Mark(kSecond, "A", false);
  EXPECT_EQ(nullptr, table_.FirstUndelivered("A"));
  EXPECT_EQ(1u, table_.CountUndelivered("B"));
}

TEST_F(RoutingTableTest, AStrokeIsProcessedWhenAllHaveItAndOneAccepts) {
  table_.Mark(kSecond, "A", true);
  EXPECT_EQ(Strokes(), table_.Processed());
  table_.Mark(kSecond, "B", false);
  EXPECT_EQ(Strokes({kSecond}), table_.Processed());
}

TEST_F(RoutingTableTest, ANewClaimerMakesAProcessedStrokeWait) {
  table_.Mark(kFirst, "A", true);
  ASSERT_EQ(Strokes({kFirst}), table_.Processed());
  table_.Claim(kFirst, {"B"});
  EXPECT_EQ(Strokes(), table_.Processed());
  EXPECT_EQ(kFirst, *table_.FirstUndelivered("B"));
}

TEST_F(RoutingTableTest, AnEndedClaimMayBeTheLastThatWasWaitedFor) {
  table_.Mark(kSecond, "A", true);
  table_.KeepClaims("1.2.3.4", {"A"});
  EXPECT_EQ(Strokes({kSecond}), table_.Processed());
  EXPECT_EQ(0u, table_.CountUndelivered("B"));
}

TEST_F(RoutingTableTest, APageThatNobodyClaimsLeavesTheTableAlone) {
  table_.KeepClaims("1.2.3.4", {});
  EXPECT_EQ(1u, table_.strokes().size());
  EXPECT_EQ(Strokes({kElsewhere}), table_.Undelivered("A"));
  EXPECT_EQ(0u, table_.CountUndelivered("B"));
}

TEST_F(RoutingTableTest, AnErasedStrokeIsInNoAnswer) {
  table_.Mark(kSecond, "A", true);
  table_.Mark(kSecond, "B", true);
  table_.Erase(kSecond);
  table_.Erase(kSecond);
  EXPECT_EQ(Strokes(), table_.Processed());
  EXPECT_EQ(Strokes({kFirst, kElsewhere}), table_.Undelivered("A"));
  table_.KeepClaims("1.2.3.4", {});
  EXPECT_EQ(1u, table_.strokes().size());
}

TEST_F(RoutingTableTest, ATableThatIsReadAnswersAsTheOneThatWasWritten) {
  table_.Mark(kFirst, "A", true);
  table_.Mark(kSecond, "A", false);
  const RoutingTable read((StrokeMap(table_.strokes())));
  EXPECT_EQ(table_.Undelivered("A"), read.Undelivered("A"));
  EXPECT_EQ(table_.Undelivered("B"), read.Undelivered("B"));
  EXPECT_EQ(Strokes({kFirst}), read.Processed());
}

TEST_F(RoutingTableTest, AnswersAsBeforeWhereItIsMovedTo) {
  RoutingTable moved(std::move(table_));
  moved.Mark(kFirst, "A", true);
  moved.KeepClaims("5.6.7.8", {});
  EXPECT_EQ(Strokes({kSecond}), moved.Undelivered("A"));
  EXPECT_EQ(Strokes({kFirst}), moved.Processed());
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
