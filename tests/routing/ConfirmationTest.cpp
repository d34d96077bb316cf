#include "routing/ClientFixture.h"

namespace fs = boost::filesystem;
namespace Storage = TalvoQuillpost::Storage;

namespace {

class Confirmation : public ClientFixture {};

TEST_F(Confirmation, OfTheLastStrokeRemovesItFromTheStore) {
  AddRoutedStrokes(1);
  Deliver();
  const std::string package = LastPath();
  log.Clear();
  Confirm();
  EXPECT_FALSE(fs::exists(package));
  EXPECT_EQ(log.lines(), (Lines{Delivered(),
                                {3, "Removing 1 Inks from Pen 'PEN' storage..."},
                                {3, "Removed 1 Inks from Pen 'PEN' storage."},
                                {3, "Removed empty Storage dir: 'ROOT/PEN/1.2.3.4'."},
                                {3, "Removed empty Storage dir: 'ROOT/PEN'."}}));
  EXPECT_TRUE(Packages().empty());
  EXPECT_FALSE(fs::exists(root.storage() / "PEN"));
}

// Ten strokes are ten packages: each is offered when the one before it was confirmed, and the store
// is tidied after the last.
TEST_F(Confirmation, OfEachStrokeOffersTheNext) {
  AddRoutedStrokes(10);
  Deliver();
  Lines expected = {Delivering("1/10")};
  for (int left = 9; left >= 1; --left) {
    EXPECT_EQ(ReadFile(LastPath()), "ink " + Name(10 - left));
    EXPECT_EQ(CountScratchFiles(), 1u);
    Confirm();
    expected.push_back(Delivered());
    expected.push_back(Delivering("1/" + std::to_string(left)));
  }
  EXPECT_EQ(LinesOfDelivery(), expected);
  EXPECT_TRUE(fs::exists(root.storage() / "PEN/1.2.3.4/s01.stf2"));
  log.Clear();
  Confirm();
  EXPECT_EQ(CountNotifications(), 10u);
  EXPECT_EQ(log.lines()[0], Delivered());
  EXPECT_TRUE(log.Has(3, "Removed 10 Inks from Pen 'PEN' storage."));
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(Confirmation, ThatRefusesOffersTheSameStrokeAgainImmediately) {
  AddRoutedStrokes(2);
  Deliver();
  const std::string refused = LastPath();
  log.Clear();
  Confirm(false);
  EXPECT_EQ(LinesOfDelivery(), (Lines{Delivered(), Delivering("1/2")}));
  ASSERT_EQ(CountNotifications(), 2u);
  EXPECT_FALSE(fs::exists(refused));
  EXPECT_EQ(ReadFile(LastPath()), "ink s01");
  EXPECT_EQ(Undelivered("Alpha").size(), 2u);
}

TEST_F(Confirmation, WithThePageIgnoredMarksTheStrokeDeliveredAndNotProcessed) {
  AddRoutedStrokes(1);
  Deliver();
  Confirm(true, {"1.2.3.4"});
  EXPECT_TRUE(Undelivered("Alpha").empty());
  EXPECT_TRUE(Processed().empty());
  EXPECT_TRUE(fs::exists(root.storage() / "PEN/1.2.3.4/s01.stf2"));
  EXPECT_FALSE(log.Has(3, "Removing 1 Inks from Pen 'PEN' storage..."));
}

TEST_F(Confirmation, WithAnotherPageIgnoredMarksTheStrokeProcessed) {
  AddRoutedStrokes(1);
  Deliver();
  Confirm(true, {"9.9.9.9", "*.*.*.*"});
  EXPECT_FALSE(fs::exists(root.storage() / "PEN"));
}

TEST_F(Confirmation, OfAPackageOfTwoPagesMarksTheIgnoredOneDeliveredOnly) {
  root.Subscribe("Beta", "*.*.*.*");  // keeps the strokes in the store
  AddStroke("1.1.1.1", "a");
  AddStroke("2.2.2.2", "b");
  Route();
  const Strokes both = {Stroke("1.1.1.1", "a"), Stroke("2.2.2.2", "b")};
  const fs::path file = root.scratch() / "stf2.package";
  WriteFile(file, "ink");
  OnDeliveryThread([&] { service->DeliverInk(client, "PEN", InkType::kSTF2, both, file); });
  Confirm(true, {"2.2.2.2"});
  EXPECT_EQ(LinesOfDelivery(), Lines{Delivered(2)});
  EXPECT_TRUE(Undelivered("Alpha").empty());
  Mark("Beta", both, {});
  EXPECT_EQ(Processed(), Strokes{Stroke("1.1.1.1", "a")});
}

TEST_F(Confirmation, OfAPenWithoutAPackageChangesNothing) {
  AddRoutedStrokes(1);
  Deliver();
  log.Clear();
  Confirm(true, {}, "OTHER");
  Confirm(true, {}, "no pen");
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(fs::exists(LastPath()));
  EXPECT_EQ(Packages().count("PEN"), 1u);
  EXPECT_EQ(Undelivered("Alpha").size(), 1u);
}

TEST_F(Confirmation, ASecondOneChangesNothing) {
  AddRoutedStrokes(1);
  Deliver();
  Confirm(true, {"1.2.3.4"});
  log.Clear();
  Confirm();
  EXPECT_TRUE(log.lines().empty());
  EXPECT_TRUE(Processed().empty());
}

TEST_F(Confirmation, OfAPackageWhoseFileIsGoneIsAsGood) {
  AddRoutedStrokes(2);
  Deliver();
  fs::remove(LastPath());
  log.Clear();
  Confirm();
  EXPECT_EQ(LinesOfDelivery(), (Lines{Delivered(), Delivering("1/1")}));
  EXPECT_EQ(Undelivered("Alpha").size(), 1u);
}

// A directory that is not empty stands where the package file was. The error ends the confirmation
// before any mark is set; the package stays in flight, and can be confirmed when the file can be
// deleted.
TEST_F(Confirmation, OfAPackageWhoseFileCanNotBeDeletedIsToBeRepeated) {
  AddRoutedStrokes(2);
  Deliver();
  const fs::path package = LastPath();
  fs::remove(package);
  WriteFile(package / "file", "in the way");
  log.Clear();
  Confirm();
  const Lines lines = log.lines();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].first, 1);
  EXPECT_EQ(lines[0].second.find("The job of a test failed: "), 0u) << lines[0].second;
  EXPECT_NE(lines[0].second.find("Directory not empty"), std::string::npos) << lines[0].second;
  EXPECT_NE(lines[0].second.find(package.string()), std::string::npos) << lines[0].second;
  EXPECT_EQ(Undelivered("Alpha").size(), 2u);
  EXPECT_EQ(Packages().count("PEN"), 1u);
  EXPECT_EQ(CountNotifications(), 1u);

  fs::remove(package / "file");
  log.Clear();
  Confirm();
  EXPECT_EQ(LinesOfDelivery(), (Lines{Delivered(), Delivering("1/1")}));
  EXPECT_EQ(Undelivered("Alpha").size(), 1u);
  EXPECT_EQ(CountNotifications(), 2u);
}

TEST_F(Confirmation, ThatCanNotBeSavedStillEndsThePackage) {
  AddRoutedStrokes(2);
  Deliver();
  fs::remove(root.storage() / "PEN/RoutingInfo.txt");
  fs::create_directories(root.storage() / "PEN/RoutingInfo.txt");
  log.Clear();
  Confirm();
  EXPECT_EQ(LinesOfDelivery(), (Lines{{1,
                                       "Failed to save Routing Info for Pen 'PEN': can't create "
                                       "file 'ROOT/PEN/RoutingInfo.txt'."},
                                      Delivered(),
                                      Delivering("1/1")}));
  EXPECT_EQ(ReadFile(LastPath()), "ink s02");
}

TEST_F(Confirmation, LeavesTheStrokesOfOtherApplicationsToThem) {
  root.Subscribe("Beta", "1.2.3.4");
  AddRoutedStrokes(1);
  Deliver();
  log.Clear();
  Confirm();
  EXPECT_EQ(log.lines(), Lines{Delivered()});
  EXPECT_EQ(Undelivered("Beta").size(), 1u);
  EXPECT_TRUE(fs::exists(root.storage() / "PEN/1.2.3.4/s01.stf2"));
}

// Both tidy the pen's directories, beside each other. Which of them removes the stroke is open.
TEST_F(Confirmation, OfTheLastStrokeByTwoApplicationsTogetherLeavesNothing) {
  root.Subscribe("Beta", "1.2.3.4");
  const auto other = boost::make_shared<Client>();
  other->application_id = "Beta";
  other->connection = boost::make_shared<NotingConnection>();
  for (int round = 0; round < 100; ++round) {
    AddRoutedStrokes(1);
    boost::promise<void> done;
    other->delivery_queue.Post("offer", [&] { service->DeliverInk(other, "PEN"); });
    other->delivery_queue.Post("confirmation",
                               [&] { service->ConfirmInkDelivery(other, "PEN", true, {}); });
    other->delivery_queue.Post("end", [&done] { done.set_value(); });
    Deliver();
    Confirm();
    done.get_future().get();
    ASSERT_FALSE(fs::exists(root.storage() / "PEN")) << round;
    for (const auto& line : log.lines()) {
      EXPECT_TRUE(line.first > 1 || line.second.find("Ink Removing failed ") == 0) << line.second;
    }
    log.Clear();
  }
  other->StopDelivery();
  EXPECT_EQ(CountScratchFiles(), 0u);
}

}  // namespace
