#include "database/Keeper.h"

#include <gmock/gmock.h>

#include "Inks.h"
#include "ink/PageAddress.h"

using namespace Inbox;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

class KeeperTest : public InboxFixture {};

std::vector<ChangeKind> KindsOf(const std::vector<Change>& changes) {
  std::vector<ChangeKind> kinds;
  for (const Change& change : changes) kinds.push_back(change.kind);
  return kinds;
}

}  // namespace

TEST_F(KeeperTest, InkIsAPageOfItsPen) {
  EXPECT_TRUE(Keep(InkOf("1.2.3.4", 5000), 9000));
  const auto rows = List();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].pen, kTestPenSerial);
  EXPECT_EQ(rows[0].address, "1.2.3.4");
  EXPECT_EQ(rows[0].kind, PageKind::kInk);
  EXPECT_EQ(rows[0].arrived_ms, 9000);
  EXPECT_EQ(rows[0].summary.strokes, 1);
  EXPECT_EQ(rows[0].summary.points, 2);
  EXPECT_EQ(rows[0].summary.first_ms, 5000);
}

TEST_F(KeeperTest, TheSameBytesAreKeptOnce) {
  EXPECT_TRUE(Keep(InkOf("1.2.3.4")));
  const std::int64_t change = catalogue().LastChange();
  EXPECT_FALSE(Keep(InkOf("1.2.3.4")));
  EXPECT_EQ(List()[0].summary.strokes, 1);
  EXPECT_EQ(Count("packages"), 1);
  EXPECT_EQ(catalogue().LastChange(), change) << "nobody is to be told of it";
}

TEST_F(KeeperTest, LaterInkJoinsItsPage) {
  Keep(InkOf("1.2.3.4", 8000), 1);
  Keep(InkOf("1.2.3.4", 5000), 2);
  const auto rows = List();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].summary.strokes, 2);
  EXPECT_EQ(rows[0].summary.first_ms, 5000);
  EXPECT_GE(rows[0].summary.last_ms, 8000);
  EXPECT_EQ(rows[0].arrived_ms, 2);
  const auto ink = catalogue().LoadInk(rows[0].id);
  ASSERT_TRUE(ink);
  EXPECT_THAT(ink->strokes, ElementsAre(1, 2));
  EXPECT_EQ(std::get<TalvoInk::Stroke>(ink->ink.items[0]).start_time_ms, 8000u)
      << "in the order in which it came";
}

TEST_F(KeeperTest, APackageOfSeveralPagesIsTakenApart) {
  InkFile file;
  Keep(file.AddStroke("1.2.3.4", 1000)
           .AddStroke("1.2.3.5", 2000)
           .AddStroke("1.2.3.4", 3000)
           .bytes());
  const auto rows = List();
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].address, "1.2.3.5");
  EXPECT_EQ(rows[1].address, "1.2.3.4");
  EXPECT_EQ(rows[1].summary.strokes, 2);
}

TEST_F(KeeperTest, PagesOfTwoPensStayApart) {
  Keep(InkOf("1.2.3.4", 5000, 1));
  Keep(InkOf("1.2.3.4", 5000, 2));
  EXPECT_EQ(List().size(), 2u);
}

TEST_F(KeeperTest, SealedInkStaysSealed) {
  const std::string sealed = Seal(InkOf("1.2.3.4"));
  EXPECT_TRUE(Keep(sealed));
  EXPECT_FALSE(Keep(sealed));
  const auto rows = List();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].kind, PageKind::kSealed);
  EXPECT_EQ(rows[0].pen, kTestPenSerial);
  EXPECT_EQ(rows[0].address, "encrypted-stf2");
  EXPECT_EQ(catalogue().LoadInk(rows[0].id)->closed, sealed);
}

TEST_F(KeeperTest, EachSealedPackageIsAPage) {
  Keep(Seal(InkOf("1.2.3.4", 1000)));
  Keep(Seal(InkOf("1.2.3.4", 2000)));
  EXPECT_EQ(List().size(), 2u);
}

TEST_F(KeeperTest, WhatCantBeReadIsKeptAsItCame) {
  EXPECT_TRUE(Keep("no ink at all"));
  const auto rows = List();
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0].kind, PageKind::kUnreadable);
  EXPECT_EQ(rows[0].pen, kTestPenSerial) << "as the envelope says";
  EXPECT_EQ(rows[0].address, "1.2.3.4");
  EXPECT_EQ(rows[0].reason, "neither STF2, InkML, .xopp nor SVG");
  EXPECT_EQ(catalogue().LoadInk(rows[0].id)->closed, "no ink at all");
}

TEST_F(KeeperTest, DamagedInkIsKeptWithTheReason) {
  std::string bytes = InkOf("1.2.3.4");
  bytes.resize(bytes.size() / 2);
  EXPECT_TRUE(Keep(bytes));
  EXPECT_EQ(List()[0].kind, PageKind::kUnreadable);
  EXPECT_FALSE(List()[0].reason.empty());
}

TEST_F(KeeperTest, InkWithoutStrokesIsShownAsSuch) {
  EXPECT_TRUE(Keep(InkFile().AddProperty("title", "nothing").bytes()));
  EXPECT_EQ(List()[0].reason, "it has no strokes");
}

TEST_F(KeeperTest, ATrashedPageComesBackWithNewInk) {
  Keep(InkOf("1.2.3.4", 1000));
  EXPECT_THAT(keeper().Trash({1}, 7000), ElementsAre(1));
  EXPECT_THAT(Ids(), IsEmpty());
  Keep(InkOf("1.2.3.4", 2000));
  EXPECT_THAT(Ids(), ElementsAre(1));
  EXPECT_EQ(Count("trash"), 0);
}

TEST_F(KeeperTest, TheSameBytesLeaveATrashedPageInTheTrash) {
  Keep(InkOf("1.2.3.4"));
  keeper().Trash({1}, 7000);
  EXPECT_FALSE(Keep(InkOf("1.2.3.4")));
  EXPECT_THAT(Ids(), IsEmpty());
}

TEST_F(KeeperTest, TheTrashGivesBackWhatItTook) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  EXPECT_THAT(keeper().Trash({1, 99, 1}, 7000), ElementsAre(1)) << "only what exists, and once";
  PageQuery trash;
  trash.is_trash = true;
  EXPECT_THAT(Ids(trash), ElementsAre(1));
  EXPECT_EQ(List(trash)[0].trashed_ms, 7000);
  EXPECT_THAT(keeper().Restore({1, 2}), ElementsAre(1));
  EXPECT_THAT(Ids(trash), IsEmpty());
  EXPECT_EQ(List().size(), 2u);
}

TEST_F(KeeperTest, PagesThatAreToBeShownAgainLeaveTheTrash) {
  Keep(InkOf("1.2.3.4"));
  Keep(InkOf("1.2.3.5"));
  keeper().Trash({1}, 2000);
  EXPECT_THAT(keeper().ShowAgain(kTestPenSerial, {"1.2.3.4", "1.2.3.5", "1.2.3.6"}),
              ElementsAre(1, 2));
  EXPECT_EQ(Count("trash"), 0);
  EXPECT_THAT(keeper().ShowAgain("0000-0000-0000-0001", {"1.2.3.4"}), ElementsAre());
}

TEST_F(KeeperTest, APageOfItsOwnGetsTheTitleOfItsDocument) {
  const std::string first = keeper().NextOwnPage(), other = keeper().NextOwnPage();
  keeper().NameDocument(first, "Notebook");
  const std::string third = TalvoInk::PageAfter(first, 2);
  Keep(InkOf(first.c_str()));
  Keep(InkOf(third.c_str()));
  Keep(InkOf(other.c_str()));
  EXPECT_EQ(catalogue().FindPage(1)->title, "Notebook");
  EXPECT_EQ(catalogue().FindPage(2)->title, "Notebook, page 3");
  EXPECT_EQ(catalogue().FindPage(3)->title, "");
}

TEST_F(KeeperTest, AnotherKeyChangesSealedPagesAlone) {
  Keep(InkOf("1.2.3.4"));
  Keep(Seal(InkOf("1.2.3.5")));
  const std::int64_t before = catalogue().LastChange();
  keeper().SetKeyFile("/home/ada/key");
  EXPECT_EQ(keeper().Setting("key file"), "/home/ada/key");
  const auto changes = catalogue().ChangesAfter(before, 10);
  ASSERT_EQ(changes->size(), 1u);
  EXPECT_EQ(changes->front().page, 2);
  EXPECT_EQ(catalogue().FindPage(2)->revision, 2);
}

TEST_F(KeeperTest, OnlyTheTrashIsPurged) {
  Keep(InkOf("1.2.3.4"));
  EXPECT_THAT(keeper().Purge({1}), IsEmpty());
  EXPECT_EQ(List().size(), 1u);
}

TEST_F(KeeperTest, APurgedPageLeavesNothing) {
  Keep(InkOf("1.2.3.4"));
  keeper().SetTitle(1, "Letter");
  keeper().Trash({1}, 7000);
  EXPECT_THAT(keeper().Purge({1}), ElementsAre(1));
  for (const char* table : {"pages", "packages", "strokes", "titles", "trash", "digests"}) {
    EXPECT_EQ(Count(table), 0) << table;
  }
  EXPECT_TRUE(Keep(InkOf("1.2.3.4"))) << "it may be imported again";
}

TEST_F(KeeperTest, APackageWhosePagesAreNotAllPurgedIsStillKnown) {
  const std::string bytes = InkFile().AddStroke("1.1.1.1", 1).AddStroke("1.1.1.2", 2).bytes();
  Keep(bytes);
  keeper().Trash({1}, 7000);
  keeper().Purge({1});
  EXPECT_FALSE(Keep(bytes));
  EXPECT_EQ(List().size(), 1u);
}

TEST_F(KeeperTest, TitlesAreSetAndTakenBack) {
  Keep(InkOf("1.2.3.4"));
  const std::int64_t revision = List()[0].revision;
  EXPECT_TRUE(keeper().SetTitle(1, "Grüße"));
  EXPECT_EQ(List()[0].title, "Grüße");
  EXPECT_GT(List()[0].revision, revision);
  EXPECT_TRUE(keeper().SetTitle(1, ""));
  EXPECT_EQ(List()[0].title, "");
  EXPECT_FALSE(keeper().SetTitle(99, "nobody"));
}

TEST_F(KeeperTest, EveryChangeIsNoted) {
  Keep(InkOf("1.2.3.4", 1000));
  Keep(InkOf("1.2.3.4", 2000));
  keeper().Trash({1}, 1);
  keeper().Restore({1});
  const auto changes = catalogue().ChangesAfter(0, 100);
  ASSERT_TRUE(changes);
  EXPECT_THAT(KindsOf(*changes), ElementsAre(ChangeKind::kNew, ChangeKind::kChanged,
                                             ChangeKind::kGone, ChangeKind::kBack));
  EXPECT_EQ((*changes)[0].stroke, 1);
  EXPECT_EQ((*changes)[1].stroke, 2) << "the first stroke that is new";
}

TEST_F(KeeperTest, PaperIsWhatTheMarkerStatesAndReachesAsFarAsTheInk) {
  const auto sample = [](std::int32_t x, std::int32_t y) {
    return Stf2Sample{0, x, y, 0, STF2_SAMPLE_COORDINATE, 0};
  };
  Keep(InkFile()
           .AddMarker("1.1.1.1", 0, "paper 100x50 mm plain")
           .AddStroke("1.1.1.1", 1, {sample(1000, 1000), sample(9000, 9000)})
           .bytes());
  EXPECT_EQ(List()[0].summary.paper.width, 100000);
  EXPECT_EQ(List()[0].summary.paper.height, 50000);
  Keep(InkFile().AddStroke("1.1.1.1", 2, {sample(1000, 1000), sample(9000, 60000)}).bytes());
  EXPECT_EQ(List()[0].summary.paper.width, 100000) << "not A4, which nobody stated";
  EXPECT_GT(List()[0].summary.paper.height, 60000);
}

TEST_F(KeeperTest, InkThatIsKilometresAwayLeavesThePaperItsSize) {
  const Stf2Sample far{0, 2000000000, 10, 0, STF2_SAMPLE_COORDINATE, 0};
  Keep(InkFile().AddStroke("1.1.1.1", 1, {far}).bytes());
  EXPECT_LT(List()[0].summary.paper.width, 2100000);
}

TEST_F(KeeperTest, PagesOfItsOwnAreNeverTheSame) {
  const std::string first = keeper().NextOwnPage(), second = keeper().NextOwnPage();
  EXPECT_NE(first, second);
  EXPECT_THAT(first, StartsWith("2147483647."));
  EXPECT_TRUE(keeper().IsOwnPage(first));
  EXPECT_FALSE(keeper().IsOwnPage("1.2.3.4"));
  EXPECT_FALSE(keeper().IsOwnPage(first + ".x"));
}

TEST_F(KeeperTest, ThePenOfTheInboxStaysTheSame) {
  const std::string pen = keeper().OwnPen();
  EXPECT_THAT(pen, StartsWith("FFFF-"));
  EXPECT_EQ(keeper().OwnPen(), pen);
}
