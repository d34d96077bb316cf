// The pen's next package, which is made ready while the application has the one before.

#include "routing/ClientFixture.h"
#include "support/FileSizeLimit.h"
#include "support/OpenDescriptors.h"

namespace fs = boost::filesystem;

namespace {

const std::string kInk(20000, 'x');

class Preparation : public ClientFixture {
 protected:
  // Routed strokes s01, s02, ... that have been left alone for long enough.
  void AddRestedStrokes(int count, const std::string& pen = "PEN",
                        const std::string& page = "1.2.3.4") {
    for (int i = 1; i <= count; ++i) AddStroke(page, Name(i), kInk + Name(i), pen);
    Route();
    LetStrokesRest(pen, page);
  }

  // Confirms while no file can be written that has as many bytes as the ink: what is offered then
  // was ready.
  void ConfirmOnAFullDisk(bool delivered = true) {
    const FileSizeLimit limit(kInk.size() / 2);
    Confirm(delivered);
  }
};

TEST_F(Preparation, TheNextStrokeIsReadyBeforeTheFirstIsConfirmed) {
  AddRestedStrokes(3);
  Deliver();
  EXPECT_EQ(CountScratchFiles(), 1u);
  ConfirmOnAFullDisk();
  ASSERT_EQ(CountNotifications(), 2u);
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s02");
  EXPECT_TRUE(log.Has(3, "Exported Ink 'ROOT/PEN/1.2.3.4/s02.stf2' -> '" + LastPath() + "'"));
  Confirm();
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s03");
  Confirm();
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_TRUE(client->ready.empty());
}

TEST_F(Preparation, OfSealedInkIsNoOther) {
  root.Subscribe("Alpha", "encrypted-stf2");
  AddRestedStrokes(2, "PEN", "encrypted-stf2");
  Deliver();
  ConfirmOnAFullDisk();
  ASSERT_EQ(CountNotifications(), 2u);
  EXPECT_EQ(LastPackage()["InkPackageType"], "STF2Encrypted");
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s02");
}

TEST_F(Preparation, FollowsAllThatIsToBeDoneAlready) {
  for (const char* pen : {"A", "B"}) AddRestedStrokes(2, pen);
  std::vector<std::size_t> ready;
  connection->on_send = [&] { ready.push_back(client->ready.size()); };
  OnDeliveryThread([&] { service->DeliverInk(client); });
  EXPECT_EQ(ready, (std::vector<std::size_t>{0, 0})) << "all pens have their offer first";
  EXPECT_EQ(client->ready.size(), 2u);
}

TEST_F(Preparation, IsForThePackageThatIsInFlightByThen) {
  AddRestedStrokes(2);
  OnDeliveryThread([&] {
    service->DeliverInk(client, "PEN");
    service->ConfirmInkDelivery(client, "PEN", true, {});
  });
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s02");
  EXPECT_TRUE(client->ready.empty()) << "the next is that one itself";
}

TEST_F(Preparation, IsNotForAnOfferThatFails) {
  AddRestedStrokes(2);
  connection->is_gone = true;
  Deliver();
  EXPECT_TRUE(client->ready.empty());
}

TEST_F(Preparation, OfALargeStrokeIsLeftToItsOffer) {
  AddStroke("1.2.3.4", "s01");
  AddStroke("1.2.3.4", "s02", std::string((1 << 20) + 1, 'x'));
  Route();
  LetStrokesRest();
  Deliver();
  EXPECT_TRUE(client->ready.empty());
  Confirm();
  EXPECT_EQ(fs::file_size(LastPath()), (1u << 20) + 1);
}

TEST_F(Preparation, OfAStrokeThatChangesAfterwardsIsDoneAgain) {
  AddRestedStrokes(2);
  Deliver();
  AddStroke("1.2.3.4", "s02", "other ink");
  Confirm();
  EXPECT_EQ(ReadFile(LastPath()), "other ink");
}

TEST_F(Preparation, OfAStrokeThatVanishesAfterwardsIsOfNoUse) {
  AddRestedStrokes(2);
  Deliver();
  fs::remove(root.storage() / "PEN/1.2.3.4/s02.stf2");
  Confirm();
  EXPECT_EQ(CountNotifications(), 1u);
  EXPECT_TRUE(log.Has(1, "Ink Export failed: file 'ROOT/PEN/1.2.3.4/s02.stf2' does not exists."));
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(Preparation, OfAStrokeThatIsNotNextAfterAllIsDoneAgain) {
  AddRestedStrokes(2);
  Deliver();
  AddStroke("1.2.3.4", "s011", "ink between");
  Route();
  LetStrokesRest();
  Confirm();
  EXPECT_EQ(ReadFile(LastPath()), "ink between");
  ConfirmOnAFullDisk();
  ASSERT_EQ(CountNotifications(), 3u);
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s02");
}

TEST_F(Preparation, OutlivesNoRefusal) {
  AddRestedStrokes(2);
  Deliver();
  Confirm(false);
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s01");
  ConfirmOnAFullDisk();
  ASSERT_EQ(CountNotifications(), 3u);
  EXPECT_EQ(ReadFile(LastPath()), kInk + "s02");
}

TEST_F(Preparation, OfAStrokeThatIsNobodysByThenIsForgotten) {
  AddRestedStrokes(2);
  Deliver();
  ASSERT_EQ(client->ready.size(), 1u);
  OnDeliveryThread([&] {
    TalvoQuillpost::Storage::SetRoutingInfoMarkers("PEN", "Alpha", {Stroke("1.2.3.4", "s02")}, {});
  });
  Confirm();
  EXPECT_EQ(CountNotifications(), 1u);
  EXPECT_TRUE(client->ready.empty());
}

TEST_F(Preparation, EndsWithItsClient) {
  AddRestedStrokes(2);
  const std::size_t before = OpenDescriptors();
  Deliver();
  EXPECT_EQ(OpenDescriptors(), before + 1);
  OnDeliveryThread([&] { service->RollbackInkDelivery(client); });
  client->StopDelivery();
  client = boost::make_shared<Client>();  // for the fixture
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(CountScratchFiles(), 0u);
}

}  // namespace
