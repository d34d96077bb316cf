// Offering packages to one client: which stroke, with what notification, and what remains of an
// offer that fails.

#include "routing/ClientFixture.h"

namespace fs = boost::filesystem;
namespace Storage = TalvoQuillpost::Storage;

namespace {

Json::Value Array(const std::vector<std::string>& strings) {
  Json::Value array(Json::arrayValue);
  for (const std::string& string : strings) array.append(string);
  return array;
}

class Delivery : public ClientFixture {};

TEST_F(Delivery, OffersTheFirstOfThePensStrokesAsAPackage) {
  AddRoutedStrokes(3);
  Deliver();
  ASSERT_EQ(CountNotifications(), 1u);
  EXPECT_EQ(connection->notifications()[0].first, "NewInkPackage");
  Json::Value expected;
  expected["InkPackagePath"] = LastPath();
  expected["InkPackagePen"] = "PEN";
  expected["InkPackagePages"] = Array({"1.2.3.4"});
  expected["InkPackageType"] = "STF2";
  EXPECT_EQ(LastPackage(), expected);
  EXPECT_EQ(fs::path(LastPath()).parent_path(), root.scratch());
  EXPECT_EQ(ReadFile(LastPath()), "ink s01");
  EXPECT_EQ(log.lines(),
            (Lines{Delivering("1/3"),
                   Exporting("1.2.3.4/s01.stf2"),
                   {3, "Exported Ink 'ROOT/PEN/1.2.3.4/s01.stf2' -> '" + LastPath() + "'"}}));
  EXPECT_EQ(CountScratchFiles(), 1u);
}

TEST_F(Delivery, RecordsThePackageBeforeItIsSent) {
  AddRoutedStrokes(1);
  std::map<std::string, Client::InkPackage> packages;
  connection->on_send = [&] { packages = Packages(); };
  Deliver();
  ASSERT_EQ(packages.size(), 1u);
  const Client::InkPackage& package = packages.at("PEN");
  EXPECT_EQ(package.pen, "PEN");
  EXPECT_EQ(package.strokes, Strokes{Stroke("1.2.3.4", "s01")});
  EXPECT_EQ(package.page_addresses, std::set<std::string>{"1.2.3.4"});
  EXPECT_EQ(package.path.string(), LastPath());
}

TEST_F(Delivery, AnOfferToAClientThatHasSentNothingIsConfirmedByItsFirstRequest) {
  AddRoutedStrokes(1);
  EXPECT_FALSE(client->IsForPackage("PEN", 0));
  Deliver();
  EXPECT_TRUE(client->IsForPackage("PEN", 0));
  EXPECT_FALSE(client->IsForPackage("OTHER", 0));
}

TEST_F(Delivery, TheFirstStrokeIsTheLowestByNameAndNotByPage) {
  AddStroke("1.1.1.1", "b");
  AddStroke("9.9.9.9", "a");
  Route();
  Deliver();
  EXPECT_EQ(LastPackage()["InkPackagePages"], Array({"9.9.9.9"}));
}

TEST_F(Delivery, SealedInkIsAnnouncedAsSuch) {
  root.Subscribe("Alpha", "encrypted-stf2");
  AddStroke("encrypted-stf2", "1700000000", "sealed");
  Route();
  Deliver();
  EXPECT_EQ(LastPackage()["InkPackageType"], "STF2Encrypted");
  EXPECT_EQ(LastPackage()["InkPackagePages"], Array({"encrypted-stf2"}));
  EXPECT_EQ(ReadFile(LastPath()), "sealed");
}

TEST_F(Delivery, APenWithAPackageInFlightIsPassedOver) {
  AddRoutedStrokes(2);
  Deliver();
  log.Clear();
  Deliver();
  EXPECT_EQ(CountNotifications(), 1u);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_EQ(CountScratchFiles(), 1u);
}

TEST_F(Delivery, APenWithoutInkForTheApplicationIsPassedOver) {
  AddRoutedStrokes(1);
  Mark("Alpha", {Stroke("1.2.3.4", "s01")}, {});
  Deliver();
  Deliver("OTHER");
  Deliver("no pen");
  EXPECT_EQ(CountNotifications(), 0u);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Delivery, EveryPenHasAPackageOfItsOwn) {
  AddRoutedStrokes(1, "B");
  AddRoutedStrokes(2, "A");
  OnDeliveryThread([&] { service->DeliverInk(client); });
  ASSERT_EQ(CountNotifications(), 2u);
  EXPECT_EQ(connection->notifications()[0].second["InkPackagePen"], "A");
  EXPECT_EQ(connection->notifications()[1].second["InkPackagePen"], "B");
  EXPECT_EQ(LinesOfDelivery(), (Lines{Delivering("1/2"), Delivering("1/1")}));
  EXPECT_EQ(CountScratchFiles(), 2u);
}

TEST_F(Delivery, WithoutAStoreOffersNothing) {
  OnDeliveryThread([&] { service->DeliverInk(client); });
  EXPECT_EQ(CountNotifications(), 0u);
  EXPECT_TRUE(log.lines().empty());
}

// A link to itself in the stroke's place: it is not missing, and can't be looked at.
TEST_F(Delivery, AStrokeThatCanNotBeLookedAtDoesNotKeepOtherPensFromTheirTurn) {
  AddRoutedStrokes(1, "A");
  AddRoutedStrokes(1, "B");
  MakeUnanswerable(root.storage() / "A/1.2.3.4/s01.stf2");
  OnDeliveryThread([&] { service->DeliverInk(client); });
  ASSERT_EQ(CountNotifications(), 1u);
  EXPECT_EQ(LastPackage()["InkPackagePen"], "B");
  const Lines lines = LinesOfDelivery();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[1].first, 1);
  EXPECT_EQ(lines[1].second.find("The delivery of a pen's ink failed: "), 0u) << lines[1].second;
}

TEST_F(Delivery, AVanishedStrokeIsNotOfferedAndStaysUndelivered) {
  AddRoutedStrokes(2);
  fs::remove(root.storage() / "PEN/1.2.3.4/s01.stf2");
  Deliver();
  EXPECT_EQ(CountNotifications(), 0u);
  EXPECT_EQ(log.lines(),
            (Lines{Delivering("1/2"),
                   Exporting("1.2.3.4/s01.stf2"),
                   {1, "Ink Export failed: file 'ROOT/PEN/1.2.3.4/s01.stf2' does not exists."}}));
  EXPECT_TRUE(Packages().empty());
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_EQ(Undelivered("Alpha").size(), 2u);
}

TEST_F(Delivery, AFailedSendLeavesNothingBehindAndSaysNothing) {
  AddRoutedStrokes(1);
  connection->is_gone = true;
  Deliver();
  EXPECT_EQ(LinesOfDelivery(), Lines{Delivering("1/1")});
  EXPECT_TRUE(Packages().empty());
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_EQ(Undelivered("Alpha").size(), 1u);
  connection->is_gone = false;
  Deliver();
  EXPECT_EQ(CountNotifications(), 1u);
}

TEST_F(Delivery, AClientWithoutAConnectionHasItsPackageRecorded) {
  AddRoutedStrokes(1);
  client->connection.reset();
  Deliver();
  ASSERT_EQ(Packages().size(), 1u);
  EXPECT_EQ(ReadFile(Packages().at("PEN").path), "ink s01");
}

TEST_F(Delivery, APackageWithoutStrokesIsNotOffered) {
  OnDeliveryThread([&] { service->DeliverInk(client, "PEN", InkType::kSTF2, Strokes()); });
  EXPECT_EQ(CountNotifications(), 0u);
  EXPECT_TRUE(log.lines().empty());
  EXPECT_FALSE(fs::exists(root.scratch())) << "there is nothing to put there";
}

TEST_F(Delivery, AFileForAPenWhosePackageIsNotConfirmedIsDeleted) {
  AddRoutedStrokes(1);
  Deliver();
  log.Clear();
  const fs::path file = root.scratch() / "stf2.second";
  WriteFile(file, "ink");
  OnDeliveryThread([&] {
    service->DeliverInk(client, "PEN", InkType::kSTF2, {Stroke("1.2.3.4", "s01")}, file);
  });
  EXPECT_EQ(log.lines(), (Lines{{2,
                                 "We won't any more Ink to application 'Alpha', because it has "
                                 "not confirmed previous package."}}));
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(CountNotifications(), 1u);
  EXPECT_EQ(Packages().at("PEN").path.string(), LastPath());
}

TEST_F(Delivery, ThePagesOfAPackageAreAnnouncedOnceEachAndInOrder) {
  const fs::path file = root.scratch() / "stf2.package";
  WriteFile(file, "ink");
  OnDeliveryThread([&] {
    service->DeliverInk(client, "PEN", InkType::kSTF2,
                        {Stroke("2.2.2.2", "a"), Stroke("1.1.1.1", "b"), Stroke("2.2.2.2", "c")},
                        file);
  });
  EXPECT_EQ(LastPackage()["InkPackagePages"], Array({"1.1.1.1", "2.2.2.2"}));
  EXPECT_EQ(LastPath(), file.string());
  EXPECT_EQ(Packages().at("PEN").page_addresses, (std::set<std::string>{"1.1.1.1", "2.2.2.2"}));
}

class DeliveryDeathTest : public ClientFixture {
 protected:
  DeliveryDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  const boost::shared_ptr<Client> nobody;
};

constexpr char kNullClient[] = "Assertion failed: \\(client != nullptr\\), .*file Delivery.cpp";
constexpr char kWrongThread[] =
    "Assertion failed: \\(client->delivery_thread.get_id\\(\\) == boost::this_thread::get_id\\(\\)"
    "\\), .*file Delivery.cpp";

TEST_F(DeliveryDeathTest, WorkForNoClientEndsTheProcess) {
  EXPECT_EXIT(service->DeliverInk(nobody), testing::KilledBySignal(SIGABRT), kNullClient);
  EXPECT_EXIT(service->DeliverInk(nobody, "PEN"), testing::KilledBySignal(SIGABRT), kNullClient);
}

TEST_F(DeliveryDeathTest, APackageForNoClientEndsTheProcess) {
  EXPECT_EXIT(service->DeliverInk(nobody, "PEN", InkType::kSTF2, Strokes()),
              testing::KilledBySignal(SIGABRT), kNullClient);
  EXPECT_EXIT(service->DeliverInk(nobody, "PEN", InkType::kSTF2, Strokes(), fs::path()),
              testing::KilledBySignal(SIGABRT), kNullClient);
}

TEST_F(DeliveryDeathTest, AConfirmationOfNoClientEndsTheProcess) {
  EXPECT_EXIT(service->ConfirmInkDelivery(nobody, "PEN", true, {}),
              testing::KilledBySignal(SIGABRT), kNullClient);
  EXPECT_EXIT(service->RollbackInkDelivery(nobody), testing::KilledBySignal(SIGABRT), kNullClient);
}

TEST_F(DeliveryDeathTest, DeliveryOnAnotherThreadEndsTheProcess) {
  EXPECT_EXIT(service->DeliverInk(client, "PEN"), testing::KilledBySignal(SIGABRT), kWrongThread);
}

TEST_F(DeliveryDeathTest, ConfirmationOnAnotherThreadEndsTheProcess) {
  EXPECT_EXIT(service->ConfirmInkDelivery(client, "PEN", true, {}),
              testing::KilledBySignal(SIGABRT), kWrongThread);
}

}  // namespace
