#include <thread>

#include "routing/ClientFixture.h"

namespace fs = boost::filesystem;

namespace {

class Rollback : public ClientFixture {
 protected:
  static LogCapture::Line Canceled(const std::string& pen) {
    return {3, "Delivering 1 Ink items from Pen '" + pen + "' to application 'Alpha' canceled."};
  }
};

TEST_F(Rollback, DropsEveryPackageInTheOrderOfThePensAndMarksNothing) {
  AddRoutedStrokes(1, "B");
  AddRoutedStrokes(1, "A");
  OnDeliveryThread([&] { service->DeliverInk(client); });
  log.Clear();
  const std::string before = ReadFile(root.storage() / "A/RoutingInfo.txt");
  service->RollbackInkDelivery(client);
  EXPECT_EQ(log.lines(), (Lines{Canceled("A"), Canceled("B")}));
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_TRUE(Packages().empty());
  EXPECT_EQ(Undelivered("Alpha", "A").size(), 1u);
  EXPECT_EQ(Undelivered("Alpha", "B").size(), 1u);
  EXPECT_EQ(ReadFile(root.storage() / "A/RoutingInfo.txt"), before);
}

TEST_F(Rollback, CountsTheStrokesOfThePackage) {
  const fs::path file = root.scratch() / "stf2.package";
  WriteFile(file, "ink");
  OnDeliveryThread([&] {
    service->DeliverInk(client, "PEN", InkType::kSTF2,
                        {Stroke("1.1.1.1", "a"), Stroke("2.2.2.2", "b")}, file);
  });
  service->RollbackInkDelivery(client);
  EXPECT_EQ(log.lines(),
            (Lines{{3, "Delivering 2 Ink items from Pen 'PEN' to application 'Alpha' canceled."}}));
}

TEST_F(Rollback, OfAClientWithoutPackagesSaysNothing) {
  service->RollbackInkDelivery(client);
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Rollback, OfAPackageWhoseFileIsGoneIsAsGood) {
  AddRoutedStrokes(1);
  Deliver();
  fs::remove(LastPath());
  log.Clear();
  service->RollbackInkDelivery(client);
  EXPECT_EQ(log.lines(), Lines{Canceled("PEN")});
}

TEST_F(Rollback, OfAPackageWhoseFileCanNotBeDeletedRaises) {
  AddRoutedStrokes(1);
  Deliver();
  const fs::path package = LastPath();
  fs::remove(package);
  WriteFile(package / "file", "in the way");
  EXPECT_THROW(service->RollbackInkDelivery(client), fs::filesystem_error);
  EXPECT_EQ(Undelivered("Alpha").size(), 1u);
}

TEST_F(Rollback, GoesOnAfterAPackageWhoseFileCanNotBeDeleted) {
  AddStroke("1.2.3.4", "s1", "ink", "PEN-A");
  AddStroke("1.2.3.4", "s1", "ink", "PEN-B");
  Route();
  OnDeliveryThread([this] { service->DeliverInk(client); });
  const fs::path first = client->packages.at("PEN-A").path;
  fs::remove(first);
  WriteFile(first / "file", "in the way");
  log.Clear();
  EXPECT_THROW(service->RollbackInkDelivery(client), fs::filesystem_error);
  EXPECT_EQ(log.lines(), Lines{Canceled("PEN-B")});
  EXPECT_EQ(CountScratchFiles(), 1u);
  EXPECT_TRUE(client->packages.empty());
}

TEST_F(Rollback, LeavesNoFileOfAPackageThatWasUnderWay) {
  AddRoutedStrokes(2);
  connection->on_send = [] { FAIL() << "nothing is to be announced"; };
  service->RollbackInkDelivery(client);
  const fs::path file = root.scratch() / "stf2.package";
  WriteFile(file, "ink");
  OnDeliveryThread([&] {
    service->DeliverInk(client, "PEN", InkType::kSTF2, {Stroke("1.2.3.4", "s01")}, file);
  });
  Deliver();
  EXPECT_TRUE(Packages().empty());
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_TRUE(log.lines().empty());
}

// The server's thread, and with it every other client, waits for the end of a delivery that it has
// stopped: an export that has only begun by then is not carried through.
TEST_F(Rollback, AnExportIsGivenUpOnceItsDeliveryHasBeenStopped) {
  AddRoutedStrokes(1);
  boost::promise<void> done;
  client->delivery_queue.Post("offer", [&] {
    client->delivery_queue.Stop();
    service->DeliverInk(client, "PEN");
    done.set_value();
  });
  done.get_future().get();
  client->StopDelivery();
  EXPECT_EQ(CountNotifications(), 0u);
  EXPECT_TRUE(Packages().empty());
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_EQ(Undelivered("Alpha").size(), 1u);
}

// The rollback runs on the server's thread while the client's own thread goes on offering and
// confirming. Whatever the two do to each other, no file and no package stays.
TEST_F(Rollback, BesideADeliveryUnderWayLeavesNothingBehind) {
  AddRoutedStrokes(3);
  for (int round = 0; round < 100; ++round) {
    const auto racer = boost::make_shared<Client>();
    racer->application_id = "Alpha";
    racer->connection = connection;
    for (int i = 0; i < 4; ++i) {
      racer->delivery_queue.Post("offer", [&] { service->DeliverInk(racer, "PEN"); });
      racer->delivery_queue.Post("refusal",
                                 [&] { service->ConfirmInkDelivery(racer, "PEN", false, {}); });
    }
    std::thread server([&] {
      service->RollbackInkDelivery(racer);
      racer->StopDelivery();
    });
    server.join();
    ASSERT_TRUE(racer->packages.empty()) << round;
    ASSERT_EQ(CountScratchFiles(), 0u) << round;
  }
  EXPECT_EQ(Undelivered("Alpha").size(), 3u);
}

}  // namespace
