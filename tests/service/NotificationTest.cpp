// Delivery to connected applications, as they see it: packages, confirmations, and who is served
// beside whom.

#include <thread>

#include "service/ServiceFixture.h"

namespace fs = boost::filesystem;

namespace {

class Notification : public ServiceFixture {
 protected:
  void SetUp() override { root.Subscribe("Sketcher", "1.2.3.4"); }

  void AddStrokes(int count, const std::string& pen = "PEN") {
    for (int i = 0; i < count; ++i) AddStroke("s" + std::to_string(i), pen);
  }

  bool IsStored(const std::string& name, const std::string& pen = "PEN") const {
    return fs::exists(root.storage() / pen / "1.2.3.4" / (name + ".stf2"));
  }

  bool WaitForTheStoreToBeEmpty() const {
    return Eventually([this] { return fs::is_empty(root.storage()); });
  }
};

TEST_F(Notification, EnablingOffersWhatIsPendingOfEveryPen) {
  AddStrokes(1, "B");
  AddStrokes(1, "A");
  Start();
  WireClient client(Endpoint());
  EXPECT_EQ(client.Request("EnableNotifications", App("Sketcher")), "Success");
  const Json::Value first = client.WaitForNotification();
  const Json::Value second = client.WaitForNotification();
  EXPECT_EQ(first["InkPackagePen"], "A");
  EXPECT_EQ(second["InkPackagePen"], "B");
  EXPECT_EQ(InkOf(first), "ink s0");
}

TEST_F(Notification, IsOneLineOfJsonWithFourMembers) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Send("EnableNotifications", App("Sketcher"));
  std::string line = client.WaitForLine();
  // The reply and the package come from two threads, in either order.
  if (line.find("\"method\"") == std::string::npos) line = client.WaitForLine();
  const std::string path = (*fs::directory_iterator(root.scratch())).path().string();
  EXPECT_EQ(line,
            "{\"jsonrpc\":\"2.0\",\"method\":\"NewInkPackage\",\"params\":{\"InkPackagePages\":["
            "\"1.2.3.4\"],\"InkPackagePath\":\"" +
                path + "\",\"InkPackagePen\":\"PEN\",\"InkPackageType\":\"STF2\"}}");
}

TEST_F(Notification, TenStrokesComeAsTenPackagesEachAfterTheConfirmationOfTheOneBefore) {
  AddStrokes(10);
  Start();
  log.Clear();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  Lines expected;
  for (int i = 0; i < 10; ++i) {
    const Json::Value package = client.WaitForNotification();
    EXPECT_EQ(InkOf(package), "ink s" + std::to_string(i));
    EXPECT_EQ(client.CountNotifications(), 0u);
    EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", Confirmation("PEN")), "Success");
    expected.emplace_back(
        3, "Delivering 1/" + std::to_string(10 - i) + " Ink items to application 'Sketcher'...");
    expected.emplace_back(3, "Delivered 1 Ink items to application 'Sketcher'.");
  }
  EXPECT_TRUE(WaitForTheStoreToBeEmpty());
  EXPECT_EQ(CountScratchFiles(), 0u);
  EXPECT_EQ(Beginning({"Delivering 1/", "Delivered"}), expected);
}

TEST_F(Notification, AnImportReachesTheConnectedApplicationAndLaunchesNobody) {
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  log.Clear();
  EXPECT_EQ(client.Request("ImportSTF2File", Params({{"InkPackagePath", Capture("good")}})),
            "Success");
  const Json::Value package = client.WaitForNotification();
  EXPECT_EQ(package["InkPackagePen"], kTestPenSerial);
  EXPECT_EQ(StrokesOf(InkOf(package)), (std::vector<StrokeInInk>{{"1.2.3.4", 100}}));
  ASSERT_TRUE(WaitForPasses(1));
  EXPECT_TRUE(Beginning({"We have some Ink to Deliver"}).empty());
}

TEST_F(Notification, SealedInkIsAnnouncedAsSuch) {
  root.Subscribe("Sketcher", "encrypted-stf2");
  Start();
  const std::string sealed = Seal(InkFile().AddStroke("1.2.3.4", 100).bytes());
  WriteFile(root.path() / "sealed", sealed);
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  client.Request("ImportSTF2File", Params({{"InkPackagePath", (root.path() / "sealed").string()}}));
  const Json::Value package = client.WaitForNotification();
  EXPECT_EQ(package["InkPackageType"], "STF2Encrypted");
  EXPECT_EQ(package["InkPackagePages"][0], "encrypted-stf2");
  EXPECT_EQ(InkOf(package), sealed);
}

TEST_F(Notification, TheDeliveryPassLaunchesTheApplicationThatIsNotConnected) {
  root.Subscribe("Other", "1.2.3.4", "/missing");
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  log.Clear();
  client.Request("ImportSTF2File", Params({{"InkPackagePath", Capture("good")}}));
  ASSERT_TRUE(WaitForPasses(1));
  EXPECT_EQ(Beginning({"We have some Ink to Deliver"}),
            (Lines{{3,
                    "We have some Ink to Deliver to application 'Other'; we'll launch it "
                    "('/missing')."}}));
}

// The ink of two pens has come into the store while the application was connected.
TEST_F(Notification, OneDeliveryPassOffersTheInkOfEveryPen) {
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  AddStrokes(1, "B");
  AddStrokes(1, "A");
  EXPECT_EQ(client.Request("ImportSTF2File",
                           Params({{"InkPackagePath", Capture("elsewhere", 100, "9.9.9.9")}})),
            "Success");
  EXPECT_EQ(client.WaitForNotification()["InkPackagePen"], "A");
  EXPECT_EQ(client.WaitForNotification()["InkPackagePen"], "B");
}

TEST_F(Notification, ARefusedStrokeIsOfferedAgainImmediately) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  const Json::Value first = client.WaitForNotification();
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN", false));
  const Json::Value second = client.WaitForNotification();
  EXPECT_FALSE(fs::exists(first["InkPackagePath"].asString()));
  EXPECT_EQ(InkOf(second), "ink s0");
  EXPECT_EQ(log.Count(3, "Delivered 1 Ink items to application 'Sketcher'."), 1u);
}

// What is no bool is a refusal, and with a refusal no page is ignored.
TEST_F(Notification, AConfirmationThatIsNotTrueIsARefusal) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  for (const Json::Value& delivered : {Json::Value("true"), Json::Value(1), Json::Value(),
                                       Json::Value(false), Json::Value(Json::objectValue)}) {
    client.WaitForNotification();
    Json::Value params = Confirmation("PEN", true, {"1.2.3.4"});
    params["InkPackageDelivered"] = delivered;
    EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", params), "Success");
  }
  client.WaitForNotification();
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", Params({{"InkPackagePen", "PEN"}})),
            "Success");
  EXPECT_EQ(InkOf(client.WaitForNotification()), "ink s0");
  EXPECT_EQ(log.Count(3, "Delivered 1 Ink items to application 'Sketcher'."), 6u);
}

TEST_F(Notification, AnIgnoredPageIsDeliveredAndNotProcessed) {
  AddStrokes(2);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  client.WaitForNotification();
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN", true, {"1.2.3.4"}));
  EXPECT_EQ(InkOf(client.WaitForNotification()), "ink s1");
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN"));
  ASSERT_TRUE(log.WaitFor(3, "Removed 1 Inks from Pen 'PEN' storage."));
  EXPECT_TRUE(IsStored("s0"));
  EXPECT_FALSE(IsStored("s1"));
}

TEST_F(Notification, OfTheIgnoredPagesOnlyStringsCount) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  client.WaitForNotification();
  Json::Value params = Confirmation("PEN");
  for (const Json::Value& page : {Json::Value(7), Json::Value(), Json::Value("1.2.3.4"),
                                  Json::Value("1.2.3.4"), Json::Value(Json::arrayValue)}) {
    params["IgnoredPageAddresses"].append(page);
  }
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", params), "Success");
  ASSERT_TRUE(log.WaitFor(3, "Delivered 1 Ink items to application 'Sketcher'."));
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "Success");
  EXPECT_TRUE(IsStored("s0"));
  EXPECT_FALSE(log.Has(3, "Removing 1 Inks from Pen 'PEN' storage..."));
}

TEST_F(Notification, IgnoredPagesThatAreNoArrayAreNone) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  client.WaitForNotification();
  Json::Value params = Confirmation("PEN");
  params["IgnoredPageAddresses"] = "1.2.3.4";
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", params), "Success");
  EXPECT_TRUE(WaitForTheStoreToBeEmpty());
}

TEST_F(Notification, AConfirmationOfAnotherPenChangesNothing) {
  AddStrokes(2);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  const Json::Value package = client.WaitForNotification();
  log.Clear();
  client.Request("ConfirmInkPackageDelivery", Confirmation("OTHER"));
  client.Request("ConfirmInkPackageDelivery", Confirmation("pen"));
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN"));  // carried out after the others
  EXPECT_EQ(InkOf(client.WaitForNotification()), "ink s1");
  EXPECT_EQ(log.lines()[0].second, "Delivered 1 Ink items to application 'Sketcher'.");
}

TEST_F(Notification, ASubscriptionThatComesLaterGetsItsInk) {
  AddStrokes(2);
  Start();
  WireClient client(Endpoint());
  root.Subscribe("Later", "1.2.3.4");
  EXPECT_TRUE(Eventually(
      [&] { return client.Request("EnableNotifications", App("Later")) != "NotRegistered"; }));
  EXPECT_EQ(InkOf(client.WaitForNotification()), "ink s0");
}

TEST_F(Notification, AConfirmationOfAStrangerChangesNothing) {
  AddStrokes(2);
  Start();
  WireClient client(Endpoint());
  WireClient stranger(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  const Json::Value package = client.WaitForNotification();
  EXPECT_EQ(stranger.Request("ConfirmInkPackageDelivery", Confirmation("PEN")), "Success");
  EXPECT_TRUE(fs::exists(package["InkPackagePath"].asString()));
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "Success");
  EXPECT_FALSE(log.Has(3, "Delivered 1 Ink items to application 'Sketcher'."));
}

TEST_F(Notification, OneClientIsServedWhileAnotherConfirmsNothing) {
  root.Subscribe("Slow", "1.2.3.4");
  AddStrokes(10);
  Start();
  WireClient slow(Endpoint());
  WireClient quick(Endpoint());
  slow.Request("EnableNotifications", App("Slow"));
  quick.Request("EnableNotifications", App("Sketcher"));
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(InkOf(quick.WaitForNotification()), "ink s" + std::to_string(i));
    quick.Request("ConfirmInkPackageDelivery", Confirmation("PEN"));
  }
  ASSERT_TRUE(Eventually(
      [this] { return log.Count(3, "Delivered 1 Ink items to application 'Sketcher'.") == 10; }));
  EXPECT_EQ(InkOf(slow.WaitForNotification()), "ink s0");
  EXPECT_EQ(slow.CountNotifications(), 0u);
  EXPECT_TRUE(IsStored("s0"));  // until the slow one has had it, too
}

TEST_F(Notification, AConfirmationGoesToTheFirstApplicationOfItsConnection) {
  root.Subscribe("Alpha", "1.2.3.4");
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  client.WaitForNotification();
  client.Request("EnableNotifications", App("Alpha"));
  client.WaitForNotification();
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN"));
  EXPECT_TRUE(log.WaitFor(3, "Delivered 1 Ink items to application 'Alpha'."));
  EXPECT_FALSE(log.Has(3, "Delivered 1 Ink items to application 'Sketcher'."));
}

TEST_F(Notification, AVanishedPackageFileCanBeConfirmed) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  fs::remove(client.WaitForNotification()["InkPackagePath"].asString());
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN"));
  EXPECT_TRUE(WaitForTheStoreToBeEmpty());
}

TEST_F(Notification, APackageFileThatCanNotBeDeletedStaysInFlight) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  const fs::path package = client.WaitForNotification()["InkPackagePath"].asString();
  MakeUndeletable(package);
  const std::string before = ReadFile(root.storage() / "PEN/RoutingInfo.txt");
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", Confirmation("PEN")), "Success");
  ASSERT_TRUE(Eventually(
      [this] { return !Beginning({"The confirmation of a package failed: "}).empty(); }));
  const LogCapture::Line error = Beginning({"The confirmation of a package failed: "})[0];
  EXPECT_EQ(error.first, 1);
  EXPECT_NE(error.second.find("Directory not empty"), std::string::npos) << error.second;
  EXPECT_NE(error.second.find(package.string()), std::string::npos) << error.second;
  EXPECT_EQ(ReadFile(root.storage() / "PEN/RoutingInfo.txt"), before);
  EXPECT_FALSE(log.Has(3, "Delivered 1 Ink items to application 'Sketcher'."));

  fs::remove(package / "file");
  EXPECT_EQ(client.Request("ConfirmInkPackageDelivery", Confirmation("PEN")), "Success");
  EXPECT_TRUE(WaitForTheStoreToBeEmpty());
}

TEST_F(Notification, DisablingDropsWhatWasNotConfirmedWithoutARollback) {
  AddStrokes(2);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  const std::string package = client.WaitForNotification()["InkPackagePath"].asString();
  log.Clear();
  EXPECT_EQ(client.Request("DisableNotifications", App("Sketcher")), "Success");
  EXPECT_EQ(log.lines(), (Lines{{3, "Client 'Sketcher' disconnected."}}));
  EXPECT_FALSE(fs::exists(package));
  client.Request("EnableNotifications", App("Sketcher"));
  EXPECT_EQ(InkOf(client.WaitForNotification()), "ink s0");
}

TEST_F(Notification, ALaterSubscriberIsOfferedWhatOthersHaveHad) {
  AddStrokes(1);
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  client.WaitForNotification();
  client.Request("ConfirmInkPackageDelivery", Confirmation("PEN", true, {"1.2.3.4"}));
  ASSERT_TRUE(log.WaitFor(3, "Delivered 1 Ink items to application 'Sketcher'."));
  root.Subscribe("Later", "1.2.3.4");
  WireClient later(Endpoint());
  later.Request("EnableNotifications", App("Later"));
  later.Request("ImportSTF2File",
                Params({{"InkPackagePath", Capture("elsewhere", 100, "9.9.9.9")}}));
  EXPECT_EQ(InkOf(later.WaitForNotification()), "ink s0");
}

// Applications that come, take ink, refuse some, and go or die, all at once. What one has accepted
// before it died may come again; it goes on until it has had every stroke of both pens.
TEST_F(Notification, ManyApplicationsTogetherAllReceiveAllInk) {
  constexpr int kApplications = 6;
  constexpr int kStrokes = 5;
  for (int i = 0; i < kApplications; ++i) root.Subscribe("app" + std::to_string(i), "1.2.3.4");
  fs::remove(root.subscriptions() / "Sketcher");
  AddStrokes(kStrokes, "A");
  AddStrokes(kStrokes, "B");
  Start();
  const auto run = [](int number) {
    const std::string app = "app" + std::to_string(number);
    std::set<std::pair<std::string, std::string>> accepted;  // pens and inks
    const auto has_all = [&accepted] { return accepted.size() == 2 * kStrokes; };
    for (int lives = 0; !has_all(); ++lives) {
      WireClient client(Endpoint());
      while (client.Request("EnableNotifications", App(app)) != "Success") {
      }
      for (int turn = 0; !has_all() && (turn < 4 || lives > 3); ++turn) {
        const Json::Value package = client.WaitForNotification();
        const std::string pen = package["InkPackagePen"].asString();
        const bool accepts = turn % 3 != 2;
        if (accepts) accepted.emplace(pen, InkOf(package));
        client.Request("ConfirmInkPackageDelivery", Confirmation(pen, accepts));
      }
      if (has_all() || lives % 2 == 0) {
        client.Request("DisableNotifications", App(app));
      }
    }
  };
  std::vector<std::thread> applications;
  for (int i = 0; i < kApplications; ++i) applications.emplace_back(run, i);
  for (std::thread& application : applications) application.join();
  service->Stop();
  EXPECT_TRUE(Beginning({"The "}).empty());
}

}  // namespace
