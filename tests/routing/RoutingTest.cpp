#include "routing/StoreFixture.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;
namespace Storage = TalvoQuillpost::Storage;

namespace {

const LogCapture::Line kStart(
    3, "Synchronizing Storage's Ink Routing Info with Application configurations...");
const LogCapture::Line kNoPens(3, "Synchronization canceled: no pens in Storage.");
const LogCapture::Line kEnd(
    3, "Storage's Storage's Ink Routing Info was synchronized with Application configurations.");

LogCapture::Line Begin(const std::string& pen) {
  return {3, "Synchronizing with Storage about Ink from Pen '" + pen + "'..."};
}

LogCapture::Line Finish(const std::string& pen) {
  return {3, "Finished synchronizing with Storage about Ink from Pen '" + pen + "'."};
}

LogCapture::Line Page(const std::string& pen, const std::string& page, const std::string& claim) {
  return {3, "Updating Storage's Routing Info: Ink from Pen '" + pen + "' with Page Address '" +
                 page + "' " + claim};
}

constexpr char kNotClaimed[] = "was not claimed by applications.";

class Routing : public StoreFixture {};

TEST_F(Routing, WithoutAStoreIsCanceled) {
  service->RouteInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, kNoPens}));
}

TEST_F(Routing, OfAnEmptyStoreIsCanceled) {
  fs::create_directories(root.storage());
  service->RouteInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, kNoPens}));
}

TEST_F(Routing, APageClaimedByOneApplicationNamesIt) {
  AddStroke("1.2.3.4", "s1");
  root.Subscribe("Sketcher", "1.2.*.*");
  service->RouteInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, Begin("PEN"),
                                Page("PEN", "1.2.3.4", "is claimed by application 'Sketcher'."),
                                Finish("PEN"), kEnd}));
  EXPECT_EQ(Undelivered("Sketcher"), Strokes{Stroke("1.2.3.4", "s1")});
}

TEST_F(Routing, APageClaimedByMoreApplicationsNamesThemInTheirOrder) {
  AddStroke("1.2.3.4", "s1");
  root.Subscribe("b", "1.2.3.4");
  root.Subscribe("Z", "*.*.*.*");
  root.Subscribe("a", "1.2.*.*");
  root.Subscribe("other", "9.9.9.9");
  service->RouteInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, Begin("PEN"),
                                Page("PEN", "1.2.3.4", "is claimed by applications 'Z, a, b'."),
                                Finish("PEN"), kEnd}));
  for (const char* app : {"Z", "a", "b"}) EXPECT_EQ(Undelivered(app).size(), 1u) << app;
  EXPECT_TRUE(Undelivered("other").empty());
}

TEST_F(Routing, APageThatNobodyClaimsKeepsItsFiles) {
  const fs::path file = AddStroke("1.2.3.4", "s1");
  service->RouteInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, Begin("PEN"), Page("PEN", "1.2.3.4", kNotClaimed),
                                Finish("PEN"), kEnd}));
  EXPECT_TRUE(fs::exists(file));
}

TEST_F(Routing, PensAndPagesComeInAscendingOrder) {
  AddStroke("2.2.2.2", "s1", "ink", "B");
  AddStroke("10.2.2.2", "s1", "ink", "B");
  AddStroke("encrypted-stf2", "s1", "ink", "B");
  AddStroke("1.2.3.4", "s1", "ink", "A");
  service->RouteInk();
  EXPECT_EQ(log.lines(),
            (Lines{kStart, Begin("A"), Page("A", "1.2.3.4", kNotClaimed), Finish("A"), Begin("B"),
                   Page("B", "10.2.2.2", kNotClaimed), Page("B", "2.2.2.2", kNotClaimed),
                   Page("B", "encrypted-stf2", kNotClaimed), Finish("B"), kEnd}));
}

TEST_F(Routing, APenWithoutPagesIsPassedOver) {
  fs::create_directories(root.storage() / "A");
  AddStroke("1.2.3.4", "s1", "ink", "B");
  service->RouteInk();
  EXPECT_EQ(
      log.lines(),
      (Lines{kStart,
             Begin("A"),
             {3, "Won't synchronize with Storage about Ink from Pen 'A': no data in Storage."},
             Begin("B"),
             Page("B", "1.2.3.4", kNotClaimed),
             Finish("B"),
             kEnd}));
}

TEST_F(Routing, SealedInkIsClaimedByItsOwnWordAlone) {
  AddStroke("encrypted-stf2", "1700000000");
  root.Subscribe("All", "*.*.*.*");
  root.Subscribe("AllFive", "*.*.*.*.*");
  root.Subscribe("Sealed", "encrypted-stf2");
  service->RouteInk();
  EXPECT_TRUE(
      log.Has(3, Page("PEN", "encrypted-stf2", "is claimed by application 'Sealed'.").second));
  EXPECT_TRUE(Undelivered("All").empty());
  EXPECT_TRUE(Undelivered("AllFive").empty());
}

TEST_F(Routing, APageThatIsSubscribedNoMoreLosesItsClaimsAndKeepsItsFiles) {
  const fs::path alone = AddStroke("1.1.1.1", "s1");
  AddStroke("2.2.2.2", "s2");
  root.Subscribe("Alpha", "*.*.*.*");
  root.Subscribe("Beta", "2.2.2.2");
  Route();
  fs::remove(root.subscriptions() / "Alpha");
  service->RouteInk();
  EXPECT_TRUE(log.Has(3, Page("PEN", "1.1.1.1", kNotClaimed).second));
  EXPECT_TRUE(log.Has(3, Page("PEN", "2.2.2.2", "is claimed by application 'Beta'.").second));
  EXPECT_TRUE(Undelivered("Alpha").empty());
  EXPECT_EQ(Undelivered("Beta"), Strokes{Stroke("2.2.2.2", "s2")});
  EXPECT_TRUE(fs::exists(alone));
  const std::string saved = ReadFile(root.storage() / "PEN/RoutingInfo.txt");
  EXPECT_EQ(saved.find("1.1.1.1"), std::string::npos) << saved;
  EXPECT_NE(saved.find("2.2.2.2"), std::string::npos) << saved;
}

TEST_F(Routing, KeepsMarksAndOffersALaterSubscriberWhatOthersHaveHad) {
  AddStroke("1.2.3.4", "s1");
  root.Subscribe("Alpha", "1.2.3.4");
  Route();
  Mark("Alpha", {Stroke("1.2.3.4", "s1")}, {});
  root.Subscribe("Beta", "1.2.3.4");
  service->RouteInk();
  EXPECT_TRUE(Undelivered("Alpha").empty());
  EXPECT_EQ(Undelivered("Beta"), Strokes{Stroke("1.2.3.4", "s1")});
}

TEST_F(Routing, UnreadableSubscriptionsCountAsNone) {
  AddStroke("1.2.3.4", "s1");
  root.Subscribe("Alpha", "1.2.3.4");
  Route();
  fs::remove_all(root.subscriptions());
  WriteFile(root.subscriptions(), "no directory");
  service->RouteInk();
  EXPECT_TRUE(log.Has(3, Page("PEN", "1.2.3.4", kNotClaimed).second));
  EXPECT_TRUE(Undelivered("Alpha").empty());
}

// The pages of a pen are saved together; one that finds no room then is told of like the others.
TEST_F(Routing, PagesThatAFullDiskDoesNotTakeAreAllReportedAndSavedByTheNextPass) {
  Disk disk(root.storage(), "size=256k");
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  root.Subscribe("Alpha", "*.*.*.*");
  AddStroke("1.1.1.1", "s1");
  AddStroke("2.2.2.2", "s2");
  service->RouteInk();
  const std::string before = ReadFile(root.storage() / "PEN/RoutingInfo.txt");
  AddStroke("1.1.1.1", std::string(200, 'a'));
  for (int i = 0; i < 30; ++i) AddStroke("2.2.2.2", std::string(200, 'b') + std::to_string(i));
  disk.Fill();
  log.Clear();
  service->RouteInk();
  const std::string claim = "is claimed by application 'Alpha'.";
  const std::string failure =
      "Failed to update Storage's Routing Info about applications ('Alpha') claim status of Ink "
      "from Pen 'PEN' with Page Address ";
  EXPECT_EQ(log.lines(),
            (Lines{kStart,
                   Begin("PEN"),
                   Page("PEN", "1.1.1.1", claim),
                   Page("PEN", "2.2.2.2", claim),
                   {1, "Failed to save Routing Info for Pen 'PEN': No space left on device."},
                   {1, failure + "'1.1.1.1'."},
                   {1, failure + "'2.2.2.2'."},
                   Finish("PEN"),
                   kEnd}));
  EXPECT_EQ(before, ReadFile(root.storage() / "PEN/RoutingInfo.txt"));
  EXPECT_EQ(33u, Undelivered("Alpha").size());
  disk.Free();
  Route();
  TalvoQuillpost::Storage::Cleanup();
  TalvoQuillpost::Storage::Initialize();
  EXPECT_EQ(33u, Undelivered("Alpha").size());
}

TEST_F(Routing, AnUpdateThatCanNotBeSavedIsReportedAndThePassGoesOn) {
  AddStroke("1.1.1.1", "s1");
  AddStroke("2.2.2.2", "s2");
  root.Subscribe("Alpha", "1.1.1.1");
  root.Subscribe("Beta", "1.1.1.1");
  fs::create_directories(root.storage() / "PEN/RoutingInfo.txt");
  service->RouteInk();
  const LogCapture::Line reason(
      1,
      "Failed to save Routing Info for Pen 'PEN': can't create file 'ROOT/PEN/RoutingInfo.txt'.");
  // The directory is no page's, which is another line in the log.
  Lines lines = log.lines();
  ASSERT_EQ(lines[2].first, 2);
  lines.erase(lines.begin() + 2);
  EXPECT_EQ(
      lines,
      (Lines{kStart,
             Begin("PEN"),
             Page("PEN", "1.1.1.1", "is claimed by applications 'Alpha, Beta'."),
             Page("PEN", "2.2.2.2", kNotClaimed),
             reason,
             {1,
              "Failed to update Storage's Routing Info about applications ('Alpha, Beta') claim "
              "status of Ink from Pen 'PEN' with Page Address '1.1.1.1'."},
             {1,
              "Failed to update Storage's Routing Info about applications ('') claim status of "
              "Ink from Pen 'PEN' with Page Address '2.2.2.2'."},
             Finish("PEN"),
             kEnd}));
  EXPECT_EQ(Undelivered("Alpha"), Strokes{Stroke("1.1.1.1", "s1")});  // known all the same
}

TEST_F(Routing, APageThatCanNotBeListedDoesNotKeepTheOthersFromTheirTurn) {
  AddStroke("1.1.1.1", "s1");
  AddStroke("2.2.2.2", "s2");
  root.Subscribe("Alpha", "*.*.*.*");
  OpenToEveryone();
  fs::permissions(root.storage() / "PEN/1.1.1.1", fs::no_perms);
  {
    const PlainUser user;
    service->RouteInk();
  }
  const Lines lines = log.lines();
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[3].first, 1);
  EXPECT_EQ(lines[3].second.find("The routing of a page failed: "), 0u) << lines[3].second;
  EXPECT_NE(lines[3].second.find("Permission denied"), std::string::npos) << lines[3].second;
  EXPECT_EQ(lines[4], Page("PEN", "2.2.2.2", "is claimed by application 'Alpha'."));
  EXPECT_EQ(lines[6], kEnd);
  EXPECT_EQ(Undelivered("Alpha"), Strokes{Stroke("2.2.2.2", "s2")});
}

TEST_F(Routing, APenThatCanNotBeListedDoesNotKeepTheOthersFromTheirTurn) {
  AddStroke("1.1.1.1", "s1", "ink", "A");
  AddStroke("2.2.2.2", "s2", "ink", "B");
  root.Subscribe("Alpha", "*.*.*.*");
  OpenToEveryone();
  fs::permissions(root.storage() / "A", fs::no_perms);
  {
    const PlainUser user;
    service->RouteInk();
  }
  const Lines lines = log.lines();
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[2].second.find("The routing of a pen's ink failed: "), 0u) << lines[2].second;
  EXPECT_EQ(lines[3], Begin("B"));
  EXPECT_EQ(lines[6], kEnd);
  EXPECT_EQ(Undelivered("Alpha", "B").size(), 1u);
}

TEST(RoutingLog, IsSilentBelowLevel3) {
  TestRoot root;
  WriteFile(root.storage() / "PEN/1.2.3.4/s1.stf2", "ink");
  root.Subscribe("Alpha", "1.2.3.4");
  const LogCapture log(2);
  const auto service = boost::make_shared<TalvoQuillpost::Service>();
  service->RouteInk();
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(Storage::HasUndeliveredStrokes("PEN", "Alpha"));
  Storage::Cleanup();
}

}  // namespace
