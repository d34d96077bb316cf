// The table of routing info: claims that come and go with the subscriptions, marks that only move
// forward, and every change in the file at once.

#include <boost/filesystem.hpp>
#include <thread>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;
using testing::ElementsAre;
using testing::IsEmpty;

namespace fs = boost::filesystem;

namespace {

class RoutingInfoTest : public StoreTest {
 protected:
  static bool Mark(const std::string& app, const Strokes& delivered, const Strokes& processed) {
    return SetRoutingInfoMarkers(kPen, app, delivered, processed);
  }

  // "delivered, processed" of a stroke for an application, as saved.
  std::string Marks(const StrokeID& id, const std::string& app = kApp) const {
    const RoutingInfo_App marks = Saved().at(id).at(app);
    return std::string(marks.delivered ? "1" : "0") + (marks.processed ? "1" : "0");
  }
};

class SyncRoutingInfoTest : public RoutingInfoTest {};
class MarkersTest : public RoutingInfoTest {};
class ProccessedStrokesTest : public RoutingInfoTest {};
class SaveRoutingInfoTest : public RoutingInfoTest {};

}  // namespace

// ---- SyncRoutingInfo -------------------------------------------------------------------------

// A pass that is at the pages of a pen while its last ink is removed must not make its directory
// again: nobody would take it away.
TEST_F(SyncRoutingInfoTest, OfAPassMakesNoDirectoryOfAPenThatIsGone) {
  EXPECT_TRUE(SyncPage(kPen, "1.2.3.4", std::make_shared<const Names>(Names{"app"}), {}));
  EXPECT_TRUE(SaveRoutingInfoOfPages(kPen));
  EXPECT_FALSE(fs::exists(PenPath()));
}

TEST_F(SyncRoutingInfoTest, EveryFileOfThePageIsClaimedByEverySubscriber) {
  Put("b.stf2");
  Put("a.stf2");
  EXPECT_TRUE(Sync({"app.two", "app.one"}));
  const ClaimList claims = {{"app.one", {}}, {"app.two", {}}};
  EXPECT_EQ(StrokeMap({{Stroke("a"), claims}, {Stroke("b"), claims}}), Saved());
  EXPECT_THAT(Undelivered("app.one"), ElementsAre(Stroke("a"), Stroke("b")));
  EXPECT_THAT(Undelivered("app.two"), ElementsAre(Stroke("a"), Stroke("b")));
  EXPECT_THAT(Undelivered("app.three"), IsEmpty());
}

TEST_F(SyncRoutingInfoTest, NamesAreTakenApartAtTheLastDot) {
  for (const char* name :
       {"abc", "x.y.stf2", "dot.", ".hidden", ".hidden.stf2", "two  blanks.s t"}) {
    Put(name);
  }
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_THAT(Undelivered(),
              ElementsAre(StrokeID{kPage, "abc", ""}, StrokeID{kPage, "dot", ""},
                          StrokeID{kPage, "two  blanks", "s t"}, StrokeID{kPage, "x.y", "stf2"}));
}

TEST_F(SyncRoutingInfoTest, LinksCountByWhatTheyPointToAndOtherThingsDoNot) {
  Put("a.stf2");
  fs::create_symlink(PenPath("1.2.3.4/a.stf2"), PenPath("1.2.3.4/link.stf2"));
  fs::create_symlink(PenPath("nowhere"), PenPath("1.2.3.4/dangling.stf2"));
  fs::create_directory(PenPath("1.2.3.4/folder.stf2"));
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("a"), Stroke("link")));
}

TEST_F(SyncRoutingInfoTest, OtherPagesAndPensAreNotTouched) {
  Put("a.stf2");
  Put("b.stf2", "1.2.3.40");
  Put("c.stf2", "0.1.2.3.4");
  ASSERT_TRUE(Sync({kApp}, "1.2.3.40"));
  ASSERT_TRUE(Sync({kApp}, "0.1.2.3.4"));
  EXPECT_TRUE(Sync({"app.two"}));
  EXPECT_TRUE(Sync({}));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("b", "1.2.3.40"), Stroke("c", "0.1.2.3.4")));
  EXPECT_THAT(Undelivered(kApp, "other-pen"), IsEmpty());
}

TEST_F(SyncRoutingInfoTest, APageThatNobodyClaimsLosesItsStrokesAndKeepsItsFiles) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_TRUE(Sync({}));
  EXPECT_THAT(Undelivered(), IsEmpty());
  EXPECT_THAT(Saved(), IsEmpty());
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/a.stf2")));
  EXPECT_EQ("ink", ReadFile(PenPath("1.2.3.4/b.stf2")));
}

TEST_F(SyncRoutingInfoTest, AClaimEndsWithItsSubscriptionAndOthersStay) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({"app.one", "app.two"}));
  ASSERT_TRUE(Mark("app.one", {Stroke("a")}, {}));
  EXPECT_TRUE(Sync({"app.two"}));
  EXPECT_EQ(StrokeMap({{Stroke("a"), {{"app.two", {}}}}}), Saved());
  // Who comes back begins anew.
  EXPECT_TRUE(Sync({"app.one", "app.two"}));
  EXPECT_EQ("00", Marks(Stroke("a")));
}

// Its file is gone: the last claim takes it out of the table, and the listing can't bring it back.
TEST_F(SyncRoutingInfoTest, AStrokeThatLosesItsLastClaimLeavesTheTable) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({"app.one"}));
  fs::remove(PenPath("1.2.3.4/a.stf2"));
  EXPECT_TRUE(Sync({"app.two"}));
  EXPECT_EQ(StrokeMap({{Stroke("b"), {{"app.two", {}}}}}), Saved());
}

TEST_F(SyncRoutingInfoTest, AVanishedStrokeKeepsItsClaims) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  fs::remove_all(PenPath(kPage));
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("a")));
  EXPECT_TRUE(Sync({"app.two"}));
  EXPECT_THAT(Undelivered(), IsEmpty());
}

TEST_F(SyncRoutingInfoTest, AStrokeWithoutClaimsLosesNoneAndStays) {
  const StrokeMap strokes = {{Stroke("unclaimed"), {}}};
  WriteFile(RoutingInfoPath(), WriteRoutingInfo(strokes));
  ASSERT_TRUE(Initialize());
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_EQ(strokes, Saved());
  EXPECT_TRUE(Sync({}));
  EXPECT_THAT(Saved(), IsEmpty());
}

TEST_F(SyncRoutingInfoTest, ALaterSubscriberIsOfferedWhatOthersHaveHad) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({"app.one"}));
  ASSERT_TRUE(Mark("app.one", {Stroke("a")}, {Stroke("a")}));
  EXPECT_TRUE(Sync({"app.one", "app.two"}));
  EXPECT_EQ("11", Marks(Stroke("a"), "app.one"));
  EXPECT_EQ("00", Marks(Stroke("a"), "app.two"));
  EXPECT_THAT(Undelivered("app.one"), IsEmpty());
  EXPECT_THAT(Undelivered("app.two"), ElementsAre(Stroke("a")));
  EXPECT_THAT(Processed(), IsEmpty());
}

TEST_F(SyncRoutingInfoTest, AMissingPageIsSavedAsNothing) {
  const LogCapture log;
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_EQ(WriteRoutingInfo({}), ReadFile(RoutingInfoPath()));
  EXPECT_FALSE(fs::exists(PenPath(kPage)));
  WriteFile(PenPath(kPage), "a file in its place");
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SyncRoutingInfoTest, InvalidArgumentsAreRefusedInSilence) {
  const LogCapture log;
  for (const char* invalid : {"", ".pen", "pen/..", "pen 1"}) {
    EXPECT_FALSE(SyncRoutingInfo(invalid, kPage, {kApp})) << invalid;
  }
  for (const char* invalid : {"", "1.2.3", "..", "1.2.3.4/..", "encrypted-stf3"}) {
    EXPECT_FALSE(SyncRoutingInfo(kPen, invalid, {kApp})) << invalid;
  }
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(fs::exists(root_.storage()));
}

TEST_F(SyncRoutingInfoTest, APageThatCantBeReadRaisesAndSavesNothing) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({"app.one"}));
  const std::string before = ReadFile(RoutingInfoPath());
  fs::permissions(PenPath(kPage), fs::perms(0));
  {
    const PlainUser user;
    EXPECT_THROW(Sync({"app.two"}), fs::filesystem_error);
  }
  fs::permissions(PenPath(kPage), fs::perms(0755));
  EXPECT_EQ(before, ReadFile(RoutingInfoPath()));
  // The lock was released on the way out.
  std::thread([] { EXPECT_THAT(Undelivered("app.one"), IsEmpty()); }).join();
}

// ---- The marks -------------------------------------------------------------------------------

TEST_F(MarkersTest, DeliveredAndProcessedAreSetAndSaved) {
  for (const char* name : {"a.stf2", "b.stf2", "c.stf2"}) Put(name);
  ASSERT_TRUE(Sync({kApp, "app.two"}));
  EXPECT_TRUE(Mark(kApp, {Stroke("a"), Stroke("b")}, {Stroke("b")}));
  EXPECT_EQ("10", Marks(Stroke("a")));
  EXPECT_EQ("11", Marks(Stroke("b")));
  EXPECT_EQ("00", Marks(Stroke("c")));
  for (const char* name : {"a", "b", "c"}) EXPECT_EQ("00", Marks(Stroke(name), "app.two"));
  EXPECT_THAT(Undelivered(), ElementsAre(Stroke("c")));
}

TEST_F(MarkersTest, MoveForwardOnly) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_TRUE(Mark(kApp, {Stroke("a")}, {Stroke("a")}));
  EXPECT_TRUE(Mark(kApp, {Stroke("a")}, {}));
  EXPECT_EQ("11", Marks(Stroke("a")));
  EXPECT_TRUE(Mark(kApp, {}, {}));
  EXPECT_EQ("11", Marks(Stroke("a")));
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_EQ("11", Marks(Stroke("a")));
}

TEST_F(MarkersTest, AStrokeAcceptedLaterBecomesProcessed) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  EXPECT_TRUE(Mark(kApp, {Stroke("a")}, {}));
  EXPECT_TRUE(Mark(kApp, {Stroke("a")}, {Stroke("a")}));
  EXPECT_EQ("11", Marks(Stroke("a")));
}

TEST_F(MarkersTest, ProcessedWithoutDeliveredChangesNothing) {
  Put("a.stf2");
  Put("b.stf2");
  ASSERT_TRUE(Sync({kApp}));
  ASSERT_TRUE(Mark(kApp, {Stroke("b")}, {}));
  EXPECT_TRUE(Mark(kApp, {}, {Stroke("a"), Stroke("b")}));
  EXPECT_EQ("00", Marks(Stroke("a")));
  EXPECT_EQ("10", Marks(Stroke("b")));
}

TEST_F(MarkersTest, WhoDoesNotClaimAStrokeIsNotAdded) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  const StrokeMap before = Saved();
  EXPECT_TRUE(Mark("app.two", {Stroke("a")}, {Stroke("a")}));
  EXPECT_TRUE(Mark(kApp, {Stroke("unknown"), Stroke("a", "1.2.3.5"), {kPage, "a", ""}}, {}));
  EXPECT_EQ(before, Saved());
}

TEST_F(MarkersTest, AnUnknownPenIsFalseAndNotAdded) {
  const LogCapture log;
  EXPECT_FALSE(Mark(kApp, {Stroke("a")}, {}));
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_FALSE(fs::exists(root_.storage()));
}

TEST_F(MarkersTest, InvalidArgumentsAreRefusedInSilence) {
  Put("a.stf2");
  ASSERT_TRUE(Sync({kApp}));
  const LogCapture log;
  EXPECT_FALSE(SetRoutingInfoMarkers("pen/..", kApp, {Stroke("a")}, {}));
  EXPECT_FALSE(SetRoutingInfoMarkers("", kApp, {Stroke("a")}, {}));
  EXPECT_FALSE(SetRoutingInfoMarkers(kPen, ".app", {Stroke("a")}, {}));
  EXPECT_FALSE(SetRoutingInfoMarkers(kPen, "", {Stroke("a")}, {}));
  EXPECT_TRUE(log.lines().empty());
}

// ---- GetUndeliveredStrokes, GetProccessedStrokes ---------------------------------------------

TEST_F(RoutingInfoTest, InvalidQuestionsAreFalseAndLeaveNothing) {
  const LogCapture log;
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", kApp}, {"pen/..", kApp}, {kPen, ""}, {kPen, ".app"}, {kPen, "app#"}};
  for (const auto& [pen, app] : rows) {
    Strokes strokes = {Stroke("stale")};
    EXPECT_FALSE(GetUndeliveredStrokes(pen, app, strokes));
    EXPECT_THAT(strokes, IsEmpty());
    EXPECT_FALSE(HasUndeliveredStrokes(pen, app));
  }
  for (const char* pen : {"", ".pen", "pen/.."}) {
    Strokes strokes = {Stroke("stale")};
    EXPECT_FALSE(GetProccessedStrokes(pen, strokes));
    EXPECT_THAT(strokes, IsEmpty());
  }
  EXPECT_TRUE(log.lines().empty());
}

// Asking about a pen makes it one without strokes, and that can be saved.
TEST_F(RoutingInfoTest, AnUnknownPenHasNoStrokesAndAnEntryFromThenOn) {
  EXPECT_THAT(Undelivered(), IsEmpty());
  EXPECT_TRUE(SaveRoutingInfo(kPen));
  Cleanup();
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_THAT(Processed(), IsEmpty());
  EXPECT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_THAT(Saved(), IsEmpty());
}

TEST_F(ProccessedStrokesTest, AllHaveReceivedAndOneHasAccepted) {
  struct Row {
    const char* name;
    ClaimList claims;
    bool expected;
  };
  const RoutingInfo_App pending{false, false}, ignored{true, false}, accepted{true, true};
  const std::vector<Row> rows = {
      {"nobody", {}, false},
      {"one pending", {{"a", pending}}, false},
      {"one ignored", {{"a", ignored}}, false},
      {"one accepted", {{"a", accepted}}, true},
      {"accepted, pending", {{"a", accepted}, {"b", pending}}, false},
      {"pending, accepted", {{"a", pending}, {"b", accepted}}, false},
      {"accepted, ignored", {{"a", accepted}, {"b", ignored}}, true},
      {"ignored, accepted", {{"a", ignored}, {"b", accepted}}, true},
      {"all ignored", {{"a", ignored}, {"b", ignored}, {"c", ignored}}, false},
      {"all accepted", {{"a", accepted}, {"b", accepted}, {"c", accepted}}, true}};
  StrokeMap strokes;
  Strokes expected;
  for (const Row& row : rows) {
    Put(std::string(row.name) + ".stf2");
    strokes[Stroke(row.name)] = row.claims;
    if (row.expected) expected.insert(Stroke(row.name));
  }
  WriteFile(RoutingInfoPath(), WriteRoutingInfo(strokes));
  ASSERT_TRUE(Initialize());
  EXPECT_EQ(expected, Processed());
}

// A has taken it, B wants nothing of the page: the last answer makes the stroke processed.
TEST_F(ProccessedStrokesTest, TheLastAnswerCompletesAStroke) {
  Put("s.stf2");
  ASSERT_TRUE(Sync({"A", "B"}));
  ASSERT_TRUE(Mark("A", {Stroke("s")}, {Stroke("s")}));
  EXPECT_THAT(Processed(), IsEmpty());
  ASSERT_TRUE(Mark("B", {Stroke("s")}, {}));
  EXPECT_THAT(Processed(), ElementsAre(Stroke("s")));
}

TEST_F(ProccessedStrokesTest, AStrokeThatNobodyAcceptsStaysAsLongAsItIsClaimed) {
  Put("s.stf2");
  ASSERT_TRUE(Sync({"A", "B"}));
  ASSERT_TRUE(Mark("A", {Stroke("s")}, {}));
  ASSERT_TRUE(Mark("B", {Stroke("s")}, {}));
  EXPECT_THAT(Processed(), IsEmpty());
  ASSERT_TRUE(Sync({"A", "B"}));
  EXPECT_THAT(Processed(), IsEmpty());
  EXPECT_THAT(Undelivered("A"), IsEmpty());
}

// ---- SaveRoutingInfo -------------------------------------------------------------------------

TEST_F(SaveRoutingInfoTest, APenWithoutAnEntryIsNotSaved) {
  const LogCapture log;
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_EQ(Lines({{2, "Will not save Routing Info for Pen 'AJ3-000-1X': nothing to save."}}),
            log.lines());
  EXPECT_FALSE(fs::exists(root_.storage()));
}

TEST_F(SaveRoutingInfoTest, MakesTheDirectoryOfThePen) {
  Undelivered();
  const LogCapture log;
  EXPECT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(WriteRoutingInfo({}), ReadFile(RoutingInfoPath()));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(SaveRoutingInfoTest, ReplacesALongerFile) {
  Undelivered();
  WriteFile(RoutingInfoPath(), std::string(10000, 'x'));
  EXPECT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(WriteRoutingInfo({}), ReadFile(RoutingInfoPath()));
}

// In place: who has another name for the file, or has it open, sees the change.
TEST_F(SaveRoutingInfoTest, WritesInPlace) {
  Put("a.stf2");
  WriteFile(RoutingInfoPath(), "");
  fs::create_hard_link(RoutingInfoPath(), root_.path() / "elsewhere");
  EXPECT_TRUE(Sync({kApp}));
  EXPECT_EQ(WriteRoutingInfo({{Stroke("a"), {{kApp, {}}}}}), ReadFile(root_.path() / "elsewhere"));
}

// A link in the store never has the file that it leads to overwritten or made.
TEST_F(SaveRoutingInfoTest, ReplacesALinkByAFile) {
  Put("a.stf2");
  WriteFile(root_.path() / "letter", "not routing info");
  for (const char* target : {"letter", "nowhere", "letter"}) {
    fs::remove(RoutingInfoPath());
    fs::create_symlink(root_.path() / target, RoutingInfoPath());
    EXPECT_TRUE(Sync({kApp}));
    EXPECT_FALSE(fs::is_symlink(RoutingInfoPath()));
    EXPECT_EQ(StrokeMap({{Stroke("a"), {{kApp, {}}}}}), Saved());
  }
  EXPECT_EQ("not routing info", ReadFile(root_.path() / "letter"));
  EXPECT_FALSE(fs::exists(root_.path() / "nowhere"));
}

TEST_F(SaveRoutingInfoTest, NamesADirectoryThatCantBeMade) {
  Undelivered();
  WriteFile(root_.storage(), "in its place");
  const LogCapture log;
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_EQ(
      Lines({{1, "Failed to create directory '" + Path(kPen).string() + "': Not a directory (20)"},
             {1,
              "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create directory "
              "'ROOT/AJ3-000-1X'."}}),
      log.lines());
}

TEST_F(SaveRoutingInfoTest, NamesAFileThatCantBeMadeAndNeverWaits) {
  Put("a.stf2");
  const Lines expected = {{1,
                           "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create file "
                           "'ROOT/AJ3-000-1X/RoutingInfo.txt'."}};
  fs::create_directory(RoutingInfoPath());
  {
    const LogCapture log;
    EXPECT_FALSE(Sync({kApp}));
    EXPECT_EQ(expected, log.lines());
  }
  fs::remove(RoutingInfoPath());
  ASSERT_EQ(0, ::mkfifo(RoutingInfoPath().c_str(), 0600));
  {
    const LogCapture log;
    EXPECT_FALSE(SaveRoutingInfo(kPen));
    EXPECT_EQ(expected, log.lines());
  }
  // The table has kept the change.
  fs::remove(RoutingInfoPath());
  EXPECT_TRUE(SaveRoutingInfo(kPen));
  EXPECT_EQ(StrokeMap({{Stroke("a"), {{kApp, {}}}}}), Saved());
}

TEST_F(SaveRoutingInfoTest, NamesAFileWithoutRights) {
  Undelivered();
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  fs::permissions(RoutingInfoPath(), fs::perms(0444));
  const LogCapture log;
  const PlainUser user;
  EXPECT_FALSE(SaveRoutingInfo(kPen));
  EXPECT_EQ(Lines({{1,
                    "Failed to save Routing Info for Pen 'AJ3-000-1X': can't create file "
                    "'ROOT/AJ3-000-1X/RoutingInfo.txt'."}}),
            log.lines());
}

// Two hosts, one after the other: the first writes under a number format of its own.
TEST_F(SaveRoutingInfoTest, IsReadBackAfterARestartUnderAnotherLocale) {
  for (int i = 0; i < 1200; ++i) Put("1234567890123" + std::to_string(i) + "_2.stf2");
  const auto all = [] { return Undelivered().size(); };
  {
    const ForeignLocale locale;
    ASSERT_TRUE(Sync({kApp}));
  }
  Cleanup();
  {
    const LogCapture log;
    ASSERT_TRUE(Initialize());
    EXPECT_TRUE(
        log.Has(3, "Loaded Routing Info 'ROOT/AJ3-000-1X/RoutingInfo.txt' with 1200 Ink items."));
  }
  EXPECT_EQ(1200u, all());
  ASSERT_TRUE(SaveRoutingInfo(kPen));
  Cleanup();
  {
    const ForeignLocale locale;
    ASSERT_TRUE(Initialize());
  }
  EXPECT_EQ(1200u, all());
}
