// The indexes of one pen's routing info: what they answer after each kind of change.

#include "storage/RoutingTable.h"

#include <gtest/gtest.h>

#include "support/TestRoot.h"

namespace TalvoQuillpost {
namespace Storage {
namespace {

typedef std::vector<StrokeID> List;
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

  static constexpr char kPen[] = "AJ3-000-1X";

  const TestRoot root_;
  RoutingTable table_{kPen};
};

TEST_F(RoutingTableTest, AnApplicationIsOfferedItsStrokesInTheirOrder) {
  EXPECT_EQ(3u, table_.CountUndelivered("A"));
  EXPECT_EQ(List({kFirst}), table_.FirstUndelivered("A", 1));
  EXPECT_EQ(List({kFirst, kElsewhere}), table_.FirstUndelivered("A", 2));
  EXPECT_EQ(List({kFirst, kElsewhere, kSecond}), table_.FirstUndelivered("A", 4));
  EXPECT_EQ(List({kSecond}), table_.FirstUndelivered("B", 2));
  EXPECT_EQ(Strokes({kFirst, kElsewhere, kSecond}), table_.Undelivered("A"));
}

TEST_F(RoutingTableTest, WhoClaimsNothingIsOfferedNothing) {
  EXPECT_EQ(0u, table_.CountUndelivered("C"));
  EXPECT_EQ(List(), table_.FirstUndelivered("C", 2));
  EXPECT_EQ(Strokes(), table_.Undelivered("C"));
}

TEST_F(RoutingTableTest, TheNextStrokeFollowsTheMarkOfTheFirst) {
  table_.Mark(kFirst, "A", false);
  EXPECT_EQ(2u, table_.CountUndelivered("A"));
  EXPECT_EQ(List({kElsewhere, kSecond}), table_.FirstUndelivered("A", 2));
  table_.Mark(kElsewhere, "A", false);
  table_.Mark(kSecond, "A", false);
  EXPECT_EQ(List(), table_.FirstUndelivered("A", 2));
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
  EXPECT_EQ(List({kFirst, kSecond}), table_.FirstUndelivered("B", 2));
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
  std::string reason;
  ASSERT_TRUE(table_.Save(reason));
  RoutingTable read(kPen);
  ASSERT_EQ(RoutingInfoFile::Loaded::kTable, read.Load(reason));
  EXPECT_EQ(table_.Undelivered("A"), read.Undelivered("A"));
  EXPECT_EQ(table_.Undelivered("B"), read.Undelivered("B"));
  EXPECT_EQ(Strokes({kFirst}), read.Processed());
}

TEST_F(RoutingTableTest, KnowsTheFilesOfAPageByTheirNames) {
  EXPECT_TRUE(table_.NamesOf("1.2.3.4").Has("a.stf2"));
  EXPECT_FALSE(table_.NamesOf("1.2.3.4").Has("a.ink"));
  EXPECT_FALSE(table_.NamesOf("1.2.3.4").Has("aa.stf2"));
  EXPECT_TRUE(table_.NamesOf("5.6.7.8").Has("aa.stf2"));
  EXPECT_FALSE(table_.NamesOf("9.9.9.9").Has("a.stf2"));
  table_.Erase(kFirst);
  EXPECT_FALSE(table_.NamesOf("1.2.3.4").Has("a.stf2"));
  EXPECT_TRUE(table_.NamesOf("1.2.3.4").Has("b.stf2"));
}

TEST_F(RoutingTableTest, APageIsKnownOnceAllItsStrokesHaveTheSameClaims) {
  const auto apps = std::make_shared<const std::set<std::string>>(std::set<std::string>{"A"});
  table_.KeepClaims("1.2.3.4", *apps);
  EXPECT_FALSE(table_.IsClaimedBy("1.2.3.4", apps));
  table_.NoteListed("1.2.3.4", FileStamp(), apps);
  EXPECT_TRUE(table_.IsClaimedBy("1.2.3.4", apps));
  EXPECT_FALSE(table_.IsClaimedBy("5.6.7.8", apps));
  const auto more = std::make_shared<const std::set<std::string>>(std::set<std::string>{"A", "B"});
  EXPECT_FALSE(table_.IsClaimedBy("1.2.3.4", more));
  // The file of the other stroke was not there when B came.
  table_.KeepClaims("1.2.3.4", *more);
  table_.Claim(kFirst, *more);
  table_.NoteListed("1.2.3.4", FileStamp(), more);
  EXPECT_FALSE(table_.IsClaimedBy("1.2.3.4", more));
}

// A list of files may still name a stroke that was erased since.
TEST_F(RoutingTableTest, TellsErasuresFromEachOtherAndTablesToo) {
  std::set<std::uint64_t> seen = {table_.erasures()};
  table_.Claim({"1.2.3.4", "new", "stf2"}, {"A"});
  EXPECT_EQ(1u, seen.count(table_.erasures()));
  table_.Erase(kFirst);
  EXPECT_TRUE(seen.insert(table_.erasures()).second);
  table_.Erase(kFirst);
  EXPECT_TRUE(seen.insert(table_.erasures()).second);
  EXPECT_TRUE(seen.insert(RoutingTable("ANOTHER-PEN").erasures()).second);
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
