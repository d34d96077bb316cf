// Stop while the service is at work. After each of these the service is destroyed, and with it all
// that it held: the fixture and the leak checker see to that.

#include <unistd.h>

#include <atomic>
#include <thread>

#include "service/ServiceFixture.h"
#include "support/FailingInk.h"

namespace fs = boost::filesystem;

namespace {

class Stop : public ServiceFixture {
 protected:
  void SetUp() override {
    root.Subscribe("Alpha", "1.2.3.4");
    root.Subscribe("Beta", "1.2.3.4");
  }

  // Applications that claim every page, and whose subscriptions take so long to read that a pass
  // over many pages does not come to its end in any time that a test waits.
  void SubscribeAtLength() {
    std::string ranges = "\"1.2.3.*\",\"5.5.5.*\"";  // looked at after the others
    for (int i = 0; i < 20000; ++i) ranges += ",\"0.9.9." + std::to_string(i) + "\"";
    for (const char* app : {"Long1", "Long2", "Long3", "Long4"}) {
      WriteFile(root.subscriptions() / app,
                "{\"Path\":\"/nonexistent\",\"Title\":\"\",\"PageAddresses\":[" + ranges + "]}");
    }
  }

  // The last line, whatever came before.
  void ExpectStopped() const {
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back(), LogCapture::Line(3, "Quillpost stopped."));
  }

  // How many lines of work were written after `line`.
  std::size_t CountWorkAfter(const std::string& line) const {
    const Lines lines = log.lines();
    std::size_t count = 0;
    bool after = false;
    for (const auto& [level, message] : lines) {
      if (after && message.find("Stop") != 0 && message.find("Storage deinit") != 0 &&
          message.find("Quillpost stopped") != 0) {
        ++count;
      }
      after = after || message == line;
    }
    return count;
  }
};

TEST_F(Stop, EndsClientsAsIfTheyHadCrashed) {
  AddStroke("s1");
  Start();
  WireClient first(Endpoint());
  WireClient second(Endpoint());
  WireClient idle(Endpoint());
  first.Request("EnableNotifications", App("Alpha"));
  first.WaitForNotification();
  second.Request("EnableNotifications", App("Beta"));
  second.WaitForNotification();
  log.Clear();
  service->Stop();
  const Lines lines = log.lines();
  ASSERT_EQ(lines.size(), 11u);
  EXPECT_EQ(lines[0].second, "Stopping Quillpost...");
  EXPECT_EQ(Beginning({"Client 'Alpha'",
                       "Delivering 1 Ink items from Pen 'PEN' to application "
                       "'Alpha' canceled."}),
            (Lines{{2, "Client 'Alpha' crashed."},
                   {3, "Delivering 1 Ink items from Pen 'PEN' to application 'Alpha' canceled."}}));
  EXPECT_TRUE(log.Has(2, "Client 'Beta' crashed."));
  EXPECT_EQ(lines[5].second, "Stopped Quillpost IPC Server.");
  EXPECT_EQ(CountScratchFiles(), 0u);
  for (WireClient* client : {&first, &second, &idle}) client->WaitForEnd();
}

TEST_F(Stop, EndsAllApplicationsOfOneConnection) {
  AddStroke("s1");
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Beta"));
  client.Request("EnableNotifications", App("Alpha"));
  client.WaitForNotification();
  client.WaitForNotification();
  service->Stop();
  EXPECT_EQ(Beginning({"Client '"}), (Lines{{3, "Client 'Beta' connected."},
                                            {3, "Client 'Alpha' connected."},
                                            {2, "Client 'Alpha' crashed."},
                                            {2, "Client 'Beta' crashed."}}));
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(Stop, WithAPackageThatCanNotBeDeletedEndsTheClientAllTheSame) {
  AddStroke("s1");
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Alpha"));
  MakeUndeletable(client.WaitForNotification()["InkPackagePath"].asString());
  service->Stop();
  ExpectStopped();
  EXPECT_EQ(Beginning({"The rollback of a client's packages failed: "}).size(), 1u);
}

// The import ends when the worker has ended already; the passes that it queues are never run.
TEST_F(Stop, WaitsForTheImportThatRunsAndDropsItsPasses) {
  Start();
  WireClient client(Endpoint());
  InkCallPause pause("Stf2InkDataSplit");
  const std::string file = Capture("good");
  client.Send("ImportSTF2File", Params({{"InkPackagePath", file}}));
  ASSERT_TRUE(pause.WaitUntilReached());
  std::thread host([this] { service->Stop(); });
  EXPECT_TRUE(log.WaitFor(4, "Stopped Quillpost Worker thread."));
  pause.LetGo();
  host.join();
  ExpectStopped();
  EXPECT_TRUE(log.Has(3, "Complete importing STF2 file '" + file + "'."));
  EXPECT_TRUE(fs::exists(root.storage() / kTestPenSerial / "1.2.3.4/100_100.stf2"));
  EXPECT_EQ(log.Count(3, "Delivering Ink to applications..."), 1u);  // that of the start
  client.WaitForEnd();
}

// The import that runs is let go when Stop is asleep behind its last line so far: waiting for the
// importer thread, whose queue it has stopped by then.
TEST_F(Stop, DropsTheImportsThatAreQueued) {
  Start();
  WireClient client(Endpoint());
  InkCallPause pause("Stf2InkDataSplit");
  const std::string file = Capture("good");
  for (int i = 0; i < 10; ++i) {
    client.Send("ImportSTF2File", Params({{"InkPackagePath", file}}));
  }
  EXPECT_EQ(client.Request("Hello"), "Success");  // all of them are queued
  ASSERT_TRUE(pause.WaitUntilReached());
  std::atomic<pid_t> host_thread{0};
  std::thread host([&] {
    host_thread = ::gettid();
    service->Stop();
  });
  EXPECT_TRUE(log.WaitFor(4, "Stopped Quillpost Worker thread."));
  EXPECT_TRUE(Eventually([&] { return IsThreadAsleep(host_thread); }));
  pause.LetGo();
  host.join();
  ExpectStopped();
  EXPECT_EQ(log.Count(3, "Started importing STF2 file '" + file + "'."), 1u);
  EXPECT_EQ(log.Count(3, "Complete importing STF2 file '" + file + "'."), 1u);
}

// The pass has few pages: a long one would be cut short.
TEST_F(Stop, DuringARoutingPassWaitsForItsEnd) {
  for (int page = 0; page < 10; ++page) {
    AddStroke("s1", "PEN", "1.2.3." + std::to_string(page));
  }
  ASSERT_TRUE(service->Start());
  ASSERT_TRUE(log.WaitFor(3, "Synchronizing with Storage about Ink from Pen 'PEN'..."));
  service->Stop();
  ExpectStopped();
  EXPECT_EQ(log.Count(3, "Synchronizing with Storage about Ink from Pen 'PEN'..."), 1u);
  EXPECT_EQ(log.Count(3, "Finished synchronizing with Storage about Ink from Pen 'PEN'."), 1u);
  EXPECT_EQ(CountWorkAfter("Stopped Quillpost Worker thread."), 0u);
}

// However the ink is spread over pens: the pass has one patience, not one for each.
TEST_F(Stop, DuringALongRoutingPassOverManyPensCutsItShort) {
  SubscribeAtLength();
  for (int pen = 100; pen < 400; ++pen) AddStroke("s1", "PEN-" + std::to_string(pen));
  ASSERT_TRUE(service->Start());
  ASSERT_TRUE(log.WaitFor(3, "Synchronizing with Storage about Ink from Pen 'PEN-100'..."));
  service->Stop();
  ExpectStopped();
  EXPECT_EQ(log.Count(3, "Synchronizing with Storage about Ink from Pen 'PEN-399'..."), 0u);
  EXPECT_EQ(Beginning({"Storage's Storage's"}).size(), 0u);
}

TEST_F(Stop, DuringALongRoutingPassOverManyPagesSavesTheClaimsSoFar) {
  for (int page = 100; page < 400; ++page) {
    AddStroke("s1", kTestPenSerial, "5.5.5." + std::to_string(page));
  }
  root.Subscribe("Light", "*.*.*.*");
  Start();
  SubscribeAtLength();  // which is a reason for a pass
  const std::string page = "Updating Storage's Routing Info: Ink from Pen '" +
                           std::string(kTestPenSerial) + "' with Page Address ";
  const std::string claim = " is claimed by applications 'Light, Long1, Long2, Long3, Long4'.";
  ASSERT_TRUE(log.WaitFor(3, page + "'5.5.5.101'" + claim));
  // A pass that had begun when the last of the subscriptions came has got there already.
  const std::size_t before = log.Count(3, page + "'5.5.5.399'" + claim);
  service->Stop();
  ExpectStopped();
  EXPECT_EQ(log.Count(3, page + "'5.5.5.399'" + claim), before);
  const std::string saved = ReadFile(root.storage() / kTestPenSerial / "RoutingInfo.txt");
  EXPECT_NE(saved.find("Long4"), std::string::npos);
}

TEST_F(Stop, RightAfterTheStartIsInOrder) {
  AddStroke("s1");
  for (int round = 0; round < 10; ++round) {
    service = TalvoQuillpost::CreateQuillpostService();
    ASSERT_TRUE(service->Start());
    service->Stop();
    ExpectStopped();
    EXPECT_EQ(CountWorkAfter("Stopped Quillpost Worker thread."), 0u);
    log.Clear();
  }
}

TEST_F(Stop, WhileClientsTalkAnswersOrEndsThem) {
  for (int i = 0; i < 20; ++i) AddStroke("s" + std::to_string(i));
  Start();
  std::vector<std::thread> clients;
  for (const char* app : {"Alpha", "Beta", "Stranger"}) {
    clients.emplace_back([app] {
      try {
        WireClient client(Endpoint());
        for (;;) {
          client.Request("EnableNotifications", App(app));
          client.Request("ConfirmInkPackageDelivery", Confirmation("PEN", false));
          client.Request("ImportSTF2File", Params({{"InkPackagePath", "/missing"}}));
        }
      } catch (const std::runtime_error&) {  // the connection has ended
      }
    });
  }
  ASSERT_TRUE(log.WaitFor(3, "Delivered 1 Ink items to application 'Alpha'.", 5));
  service->Stop();
  for (std::thread& client : clients) client.join();
  ExpectStopped();
  EXPECT_EQ(CountScratchFiles(), 0u);
}

TEST_F(Stop, LeavesTheInkInTheStore) {
  const fs::path stroke = AddStroke("s1");
  Start();
  service->Stop();
  EXPECT_TRUE(fs::exists(stroke));
  EXPECT_NE(ReadFile(root.storage() / "PEN/RoutingInfo.txt").find("Alpha"), std::string::npos);
}

}  // namespace
