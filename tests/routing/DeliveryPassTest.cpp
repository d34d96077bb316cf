// The delivery pass while no application is connected. What it does for those that are is seen in
// the tests of the running service.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "routing/StoreFixture.h"

namespace fs = boost::filesystem;

namespace {

const LogCapture::Line kStart(3, "Delivering Ink to applications...");
const LogCapture::Line kEnd(3, "Ink Delivery finished.");

class DeliveryPass : public StoreFixture {
 protected:
  // A program that notes each of its launches.
  std::string MakeProgram(const std::string& name) {
    const fs::path program = root.path() / name;
    WriteFile(program, "#!/bin/sh\necho launched >> " + program.string() + ".log\n");
    fs::permissions(program, fs::owner_all);
    return program.string();
  }

  bool WasLaunched(const std::string& program, int times) {
    std::string expected;
    for (int i = 0; i < times; ++i) expected += "launched\n";
    return Eventually([&] { return ReadFile(program + ".log") == expected; });
  }

  static LogCapture::Line Launch(const std::string& app, const std::string& program) {
    return {3, "We have some Ink to Deliver to application '" + app + "'; we'll launch it ('" +
                   program + "')."};
  }
};

TEST_F(DeliveryPass, FailsIfTheSubscriptionsCanNotBeListed) {
  AddStroke("1.2.3.4", "s1");
  WriteFile(root.subscriptions(), "no directory");
  service->DeliverInk();
  EXPECT_EQ(log.lines(),
            (Lines{kStart, {1, "Ink delivery failed: can't get list of applications."}}));
}

TEST_F(DeliveryPass, EndsIfNoApplicationHasSubscribed) {
  AddStroke("1.2.3.4", "s1");
  service->DeliverInk();
  EXPECT_EQ(log.lines(),
            (Lines{kStart, {4, "Ink delivery can't be performed: no apps registered."}}));
}

TEST_F(DeliveryPass, FailsWithoutAStore) {
  root.Subscribe("Alpha", "1.2.3.4");
  service->DeliverInk();
  EXPECT_EQ(log.lines(), (Lines{kStart,
                                {1,
                                 "Ink delivery can't be performed: can't get list of pen "
                                 "serials from storage."}}));
}

TEST_F(DeliveryPass, EndsIfTheStoreIsEmpty) {
  root.Subscribe("Alpha", "1.2.3.4");
  fs::create_directories(root.storage());
  service->DeliverInk();
  EXPECT_EQ(log.lines(),
            (Lines{kStart, {4, "Ink delivery can't be performed: no data in storage."}}));
}

TEST_F(DeliveryPass, LaunchesAnApplicationOnceForThePensThatHaveInkForIt) {
  AddStroke("1.2.3.4", "s1", "ink", "A");
  AddStroke("1.2.3.4", "s1", "ink", "B");
  const std::string program = MakeProgram("sketcher");
  root.Subscribe("Sketcher", "1.2.3.4", program);
  Route();
  service->DeliverInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, Launch("Sketcher", program), kEnd}));
  EXPECT_TRUE(WasLaunched(program, 1));
  // One more for the first pass that finds it ended, and so not two for the one before.
  EXPECT_TRUE(Eventually([&] {
    log.Clear();
    service->DeliverInk();
    return log.lines().size() == 3;
  }));
  EXPECT_TRUE(WasLaunched(program, 2));
}

TEST_F(DeliveryPass, PassesOverPensWithoutInkForTheApplication) {
  AddStroke("9.9.9.9", "s1", "ink", "A");
  AddStroke("1.2.3.4", "s1", "ink", "B");
  root.Subscribe("Sketcher", "1.2.3.4", "/missing");
  Route();
  service->DeliverInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, Launch("Sketcher", "/missing"), kEnd}));
}

TEST_F(DeliveryPass, LaunchesEveryApplicationThatHasInkInTheirOrder) {
  AddStroke("1.2.3.4", "s1");
  const std::string program = MakeProgram("program");
  root.Subscribe("b", "1.2.3.4", program);
  root.Subscribe("a", "1.2.3.4", "/missing");
  root.Subscribe("c", "9.9.9.9", program);
  Route();
  service->DeliverInk();
  // Whether the launch succeeds makes no difference.
  EXPECT_EQ(log.lines(), (Lines{kStart, Launch("a", "/missing"), Launch("b", program), kEnd}));
  EXPECT_TRUE(WasLaunched(program, 1));
}

TEST_F(DeliveryPass, LaunchesNobodyWhoHasReceivedEverything) {
  AddStroke("1.2.3.4", "s1");
  root.Subscribe("Alpha", "1.2.3.4");
  Route();
  Mark("Alpha", {Stroke("1.2.3.4", "s1")}, {});
  service->DeliverInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, kEnd}));
}

// A pass that goes on beside the end of the service finds its clients gone: they have just been
// disconnected, and are not to be launched for it.
TEST_F(DeliveryPass, LaunchesNobodyOnceTheServiceIsStopped) {
  root.Subscribe("Alpha", "1.2.3.4", MakeProgram("alpha"));
  ASSERT_TRUE(service->Start());
  service->Stop();
  AddStroke("1.2.3.4", "s1");
  Route();
  service->DeliverInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, kEnd}));
}

TEST(DeliveryPassLog, ShowsAtEachLevelTheMessagesOfItAndOfThoseBelow) {
  const TestRoot root;
  const auto service = boost::make_shared<TalvoQuillpost::Service>();
  for (int level = 0; level <= 4; ++level) {
    const LogCapture log(level);
    service->DeliverInk();  // a line of level 3 and one of level 4
    EXPECT_EQ(log.lines().size(), level == 4 ? 2u : level == 3 ? 1u : 0u) << level;
  }
}

// An application that takes its time to connect, and a pass for each import.
TEST_F(DeliveryPass, AProgramThatIsStillStartingIsNotLaunchedAgain) {
  AddStroke("1.2.3.4", "s1");
  const std::string program = (root.path() / "slow").string();
  const std::string gate = program + ".gate";
  ASSERT_EQ(0, ::mkfifo(gate.c_str(), 0600));
  WriteFile(program, "#!/bin/sh\necho launched >> " + program + ".log\nread line < " + gate +
                         "\necho ended >> " + program + ".log\n");
  fs::permissions(program, fs::owner_all);
  root.Subscribe("Slow", "1.2.3.4", program);
  service->RouteInk();
  service->DeliverInk();
  ASSERT_TRUE(Eventually([&] { return ReadFile(program + ".log") == "launched\n"; }));
  log.Clear();
  service->DeliverInk();
  EXPECT_EQ(log.lines(), (Lines{kStart, kEnd}));
  // Once it has ended without its ink, it is launched again.
  const int writer = ::open(gate.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(1, ::write(writer, "\n", 1));
  ::close(writer);
  ASSERT_TRUE(Eventually([&] { return ReadFile(program + ".log") == "launched\nended\n"; }));
  EXPECT_TRUE(Eventually([&] {
    log.Clear();
    service->DeliverInk();
    return log.lines().size() == 3;
  }));
  EXPECT_TRUE(log.Has(3, Launch("Slow", program).second));
  const int last = ::open(gate.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(1, ::write(last, "\n", 1));
  ::close(last);
}

}  // namespace
