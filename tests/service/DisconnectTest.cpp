// What is left of a client whose connection has ended. That something is not logged is asked after
// Stop, which returns when the end of every connection has been reported.

#include "service/ServiceFixture.h"

namespace fs = boost::filesystem;

namespace {

class Disconnect : public ServiceFixture {
 protected:
  void SetUp() override {
    root.Subscribe("Alpha", "1.2.3.4");
    root.Subscribe("Beta", "1.2.3.4");
    root.Subscribe("Gamma", "9.9.9.9");
    AddStroke("s1");
    Start();
  }

  Lines Crashes() const { return Beginning({"Client '"}); }

  static LogCapture::Line Crashed(const std::string& app) {
    return {2, "Client '" + app + "' crashed."};
  }
  static LogCapture::Line Canceled(const std::string& app, const std::string& pen = "PEN") {
    return {3,
            "Delivering 1 Ink items from Pen '" + pen + "' to application '" + app + "' canceled."};
  }

  // Enables the application, again and again while the service still knows an old client of it.
  static void Enable(WireClient& client, const std::string& app) {
    EXPECT_TRUE(
        Eventually([&] { return client.Request("EnableNotifications", App(app)) == "Success"; }));
  }
};

TEST_F(Disconnect, OfAClientWithAPackageInFlightRollsItBack) {
  WireClient client(Endpoint());
  Enable(client, "Alpha");
  const std::string package = client.WaitForNotification()["InkPackagePath"].asString();
  const std::string before = ReadFile(root.storage() / "PEN/RoutingInfo.txt");
  log.Clear();
  client.Die();
  ASSERT_TRUE(log.WaitFor(3, Canceled("Alpha").second));
  EXPECT_EQ(log.lines(), (Lines{Crashed("Alpha"), Canceled("Alpha")}));
  EXPECT_FALSE(fs::exists(package));
  EXPECT_EQ(ReadFile(root.storage() / "PEN/RoutingInfo.txt"), before);

  WireClient again(Endpoint());
  Enable(again, "Alpha");
  EXPECT_EQ(InkOf(again.WaitForNotification()), "ink s1");
}

TEST_F(Disconnect, OfAClientWithPackagesOfTwoPensRollsBothBack) {
  AddStroke("s1", "A");
  WireClient client(Endpoint());
  client.Request("ImportSTF2File",
                 Params({{"InkPackagePath", Capture("elsewhere", 100, "7.7.7.7")}}));
  ASSERT_TRUE(WaitForPasses(2));
  Enable(client, "Alpha");
  client.WaitForNotification();
  client.WaitForNotification();
  log.Clear();
  client.Die();
  ASSERT_TRUE(log.WaitFor(3, Canceled("Alpha").second));
  EXPECT_EQ(log.lines(), (Lines{Crashed("Alpha"), Canceled("Alpha", "A"), Canceled("Alpha")}));
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(Disconnect, AtLevel2OnlyTheCrashIsSaid) {
  const LogCapture quiet(2);
  {
    WireClient client(Endpoint());
    Enable(client, "Alpha");
    client.WaitForNotification();
  }
  EXPECT_TRUE(quiet.WaitFor(2, Crashed("Alpha").second));
  service->Stop();
  EXPECT_EQ(quiet.lines(), Lines{Crashed("Alpha")});
}

TEST_F(Disconnect, AtLevel1NothingIsSaid) {
  const LogCapture quiet(1);
  {
    WireClient client(Endpoint());
    Enable(client, "Alpha");
    client.WaitForNotification();
  }
  service->Stop();
  EXPECT_TRUE(quiet.lines().empty());
}

TEST_F(Disconnect, OfAClientWithoutPackagesIsOneLine) {
  WireClient client(Endpoint());
  Enable(client, "Gamma");
  log.Clear();
  client.Die();
  ASSERT_TRUE(log.WaitFor(2, Crashed("Gamma").second));
  service->Stop();
  EXPECT_EQ(Crashes(), Lines{Crashed("Gamma")});
}

TEST_F(Disconnect, AfterDisablingIsSilent) {
  {
    WireClient client(Endpoint());
    Enable(client, "Alpha");
    client.WaitForNotification();
    log.Clear();
    client.Request("DisableNotifications", App("Alpha"));
  }
  service->Stop();
  EXPECT_EQ(Crashes(), (Lines{{3, "Client 'Alpha' disconnected."}}));
  EXPECT_TRUE(Beginning({"Delivering 1"}).empty());
}

TEST_F(Disconnect, OfAConnectionThatEnabledNothingIsSilent) {
  log.Clear();
  {
    WireClient greeter(Endpoint());
    greeter.Request("Hello");
    WireClient importer(Endpoint());
    importer.Request("ImportSTF2File", Params({{"InkPackagePath", "/missing"}}));
    WireClient mute(Endpoint());
  }
  service->Stop();
  EXPECT_TRUE(Crashes().empty());
}

TEST_F(Disconnect, OfOneClientLeavesTheOthers) {
  WireClient alpha(Endpoint());
  WireClient beta(Endpoint());
  Enable(alpha, "Alpha");
  Enable(beta, "Beta");
  beta.WaitForNotification();
  alpha.Die();
  ASSERT_TRUE(log.WaitFor(2, Crashed("Alpha").second));
  EXPECT_EQ(beta.Request("EnableNotifications", App("Beta")), "AlreadyConnected");
  beta.Request("ConfirmInkPackageDelivery", Confirmation("PEN"));
  EXPECT_TRUE(log.WaitFor(3, "Delivered 1 Ink items to application 'Beta'."));
  EXPECT_FALSE(log.Has(2, Crashed("Beta").second));
}

// One connection may speak for several applications.
TEST_F(Disconnect, OfAConnectionEndsAllItsClientsInTheirOrder) {
  WireClient client(Endpoint());
  for (const char* app : {"Gamma", "Beta", "Alpha"}) Enable(client, app);
  client.WaitForNotification();
  client.WaitForNotification();
  log.Clear();
  client.Die();
  ASSERT_TRUE(log.WaitFor(2, Crashed("Gamma").second));
  EXPECT_EQ(log.lines(), (Lines{Crashed("Alpha"), Canceled("Alpha"), Crashed("Beta"),
                                Canceled("Beta"), Crashed("Gamma")}));
  EXPECT_EQ(CountScratchFiles(), 0u);
  WireClient again(Endpoint());
  for (const char* app : {"Gamma", "Beta", "Alpha"}) Enable(again, app);
}

TEST_F(Disconnect, AClientWhosePackageFileCanNotBeDeletedGoesAllTheSame) {
  WireClient client(Endpoint());
  Enable(client, "Alpha");
  const fs::path package = client.WaitForNotification()["InkPackagePath"].asString();
  MakeUndeletable(package);
  log.Clear();
  client.Die();
  WireClient again(Endpoint());
  Enable(again, "Alpha");
  const Lines lines = log.lines();
  EXPECT_EQ(lines[0], Crashed("Alpha"));
  EXPECT_EQ(lines[1].first, 1);
  EXPECT_EQ(lines[1].second.find("The rollback of a client's packages failed: "), 0u);
  EXPECT_NE(lines[1].second.find("Directory not empty"), std::string::npos);
  EXPECT_EQ(InkOf(again.WaitForNotification()), "ink s1");
}

TEST_F(Disconnect, AClientThatSendsNoMoreIsAnsweredAndThenGone) {
  WireClient client(Endpoint());
  const int enable = client.Send("EnableNotifications", App("Alpha"));
  const int hello = client.Send("Hello");
  client.HalfClose();
  EXPECT_EQ(client.WaitForReply(enable)["result"]["status"], "Success");
  EXPECT_EQ(client.WaitForReply(hello)["result"]["status"], "Success");
  client.WaitForEnd();
  EXPECT_TRUE(log.WaitFor(2, Crashed("Alpha").second));
}

// The end comes while the delivery thread is somewhere in the middle of offering.
TEST_F(Disconnect, ClientsThatDieWhileInkIsOfferedLeaveNothingBehind) {
  for (int i = 0; i < 20; ++i) AddStroke("more" + std::to_string(i));
  {
    WireClient importer(Endpoint());
    importer.Request("ImportSTF2File",
                     Params({{"InkPackagePath", Capture("elsewhere", 100, "7.7.7.7")}}));
    ASSERT_TRUE(WaitForPasses(2));
  }
  for (int round = 0; round < 20; ++round) {
    WireClient client(Endpoint());
    Enable(client, "Alpha");
    for (int i = 0; i < round; ++i) {
      client.Send("ConfirmInkPackageDelivery", Confirmation("PEN", false));
    }
  }
  service->Stop();
  EXPECT_EQ(log.Count(2, Crashed("Alpha").second), 20u);
  EXPECT_EQ(CountScratchFiles(), 0u);
}

}  // namespace
