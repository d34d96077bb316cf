// The start of a service, and what is left of a start that fails.

#include <unistd.h>

#include <thread>

#include "service/ServiceFixture.h"
#include "support/Machine.h"

namespace fs = boost::filesystem;

namespace {

// The lines of Start and Stop themselves, without those of the work in between.
const std::vector<std::string> kLines = {
    "Starting Quillpost...",
    "Failed to initialize Storage.",
    "Storage initialized.",
    "Starting IPC Server...",
    "Failed to start IPC Server.",
    "Starting Worker & Importer threads...",
    "Quillpost started.",
    "Stopping Quillpost...",
    "Stopped Quillpost IPC Server.",
    "Stopped Quillpost server thread.",
    "Stopped Quillpost Worker thread.",
    "Stopped Quillpost Importer thread.",
    "Storage deinitialized.",
    "Quillpost stopped.",
};

class Life : public ServiceFixture {
 protected:
  static const Lines& StopLines() {
    static const Lines lines = {{4, "Stopping Quillpost..."},
                                {4, "Stopped Quillpost IPC Server."},
                                {4, "Stopped Quillpost server thread."},
                                {4, "Stopped Quillpost Worker thread."},
                                {4, "Stopped Quillpost Importer thread."},
                                {3, "Storage deinitialized."},
                                {3, "Quillpost stopped."}};
    return lines;
  }

  static Lines Join(Lines first, const Lines& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
  }

  bool HasThreads(std::size_t count) const {
    return Eventually([=] { return CountThreads() == count; });
  }

  // A thread is made and gone first: with it comes the one that a sanitizer has of its own.
  static std::size_t CountThreadsOfTheHost() {
    std::string thread;
    std::thread([&thread] { thread = "/proc/self/task/" + std::to_string(::gettid()); }).join();
    EXPECT_TRUE(Eventually([&thread] { return !fs::exists(thread); }));
    return CountThreads();
  }

  const std::size_t threads_before = CountThreadsOfTheHost();
};

TEST_F(Life, TheFactoryMakesAServiceAndNothingElse) {
  const auto another = TalvoQuillpost::CreateQuillpostService();
  EXPECT_EQ(CountThreads(), threads_before);
  EXPECT_FALSE(fs::exists(Endpoint()));
  EXPECT_FALSE(fs::exists(root.home()));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Life, StartSaysEachOfItsSteps) {
  EXPECT_TRUE(service->Start());
  Lines lines = Beginning({"Initializing Storage"});
  EXPECT_EQ(lines,
            (Lines{{3, "Initializing Storage (ROOT: '" + root.storage().string() + "')..."}}));
  EXPECT_EQ(Among(kLines), (Lines{{4, "Starting Quillpost..."},
                                  {3, "Storage initialized."},
                                  {4, "Starting IPC Server..."},
                                  {4, "Starting Worker & Importer threads..."},
                                  {3, "Quillpost started."}}));
  EXPECT_EQ(CountThreads(), threads_before + 3);
}

TEST_F(Life, TheFirstWorkIsCleanUpThenRoutingThenDelivery) {
  fs::create_directories(root.storage() / "PEN");
  Start();
  EXPECT_EQ(Beginning({"Removed empty Storage dir", "Synchronization canceled",
                       "Delivering Ink to applications..."}),
            (Lines{{3, "Removed empty Storage dir: 'ROOT/PEN'."},
                   {3, "Synchronization canceled: no pens in Storage."},
                   {3, "Delivering Ink to applications..."}}));
}

TEST_F(Life, StopSaysEachOfItsSteps) {
  Start();
  log.Clear();
  service->Stop();
  EXPECT_EQ(log.lines(), StopLines());
  EXPECT_TRUE(HasThreads(threads_before));
  EXPECT_FALSE(fs::exists(Endpoint()));
}

TEST_F(Life, StopAgainSaysTheSameAndDoesNothing) {
  Start();
  service->Stop();
  log.Clear();
  service->Stop();
  EXPECT_EQ(log.lines(), StopLines());
}

TEST_F(Life, StopWithoutAStartSaysTheSameAndDoesNothing) {
  service->Stop();
  EXPECT_EQ(log.lines(), StopLines());
  EXPECT_EQ(CountThreads(), threads_before);
}

TEST_F(Life, AServiceThatWasStoppedIsNotStartedAgain) {
  Start();
  service->Stop();
  log.Clear();
  EXPECT_FALSE(service->Start());
  EXPECT_EQ(log.lines(),
            (Lines{{4, "Starting Quillpost..."},
                   {1, "Failed to start: a service that was stopped is not started again."}}));
}

TEST_F(Life, AServiceThatWasNeverStartedNeedsNoStop) {
  service.reset();
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(Life, AtLevel3OnlyTheMainStepsAreSaid) {
  const LogCapture quiet(3);
  EXPECT_TRUE(service->Start());
  service->Stop();
  for (const auto& line : quiet.lines()) EXPECT_LE(line.first, 3) << line.second;
  EXPECT_TRUE(quiet.Has(3, "Quillpost started."));
  EXPECT_TRUE(quiet.Has(3, "Quillpost stopped."));
}

TEST_F(Life, ATakenEndpointFailsTheStartAndLeavesTheRunningServiceAlone) {
  root.Subscribe("Sketcher", "1.2.3.4");
  AddStroke("s1");
  Start();
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  const Json::Value package = client.WaitForNotification();
  const std::size_t threads = CountThreads();
  log.Clear();

  auto second = TalvoQuillpost::CreateQuillpostService();
  EXPECT_FALSE(second->Start());
  EXPECT_EQ(Among(kLines), Join({{4, "Starting Quillpost..."},
                                 {3, "Storage initialized."},
                                 {4, "Starting IPC Server..."},
                                 {1, "Failed to start IPC Server."}},
                                StopLines()));
  EXPECT_TRUE(HasThreads(threads));
  log.Clear();
  second->Stop();
  EXPECT_EQ(log.lines(), StopLines());
  second.reset();

  EXPECT_EQ(InkOf(package), "ink s1");
  EXPECT_EQ(client.Request("Hello"), "Success");
  WireClient other(Endpoint());
  EXPECT_EQ(other.Request("Hello"), "Success");
}

TEST_F(Life, AMissingDirectoryOfTheEndpointFailsTheStart) {
  fs::remove_all(root.path() / "var");
  EXPECT_FALSE(service->Start());
  EXPECT_TRUE(log.Has(1, "Failed to start IPC Server."));
  EXPECT_TRUE(HasThreads(threads_before));
  EXPECT_FALSE(fs::exists(root.path() / "var"));
}

TEST_F(Life, AnEndpointThatIsNoSocketIsLeftAlone) {
  WriteFile(Endpoint(), "precious");
  EXPECT_FALSE(service->Start());
  EXPECT_TRUE(log.Has(1, "Failed to start IPC Server."));
  service->Stop();
  EXPECT_EQ(ReadFile(Endpoint()), "precious");
}

TEST_F(Life, AUserWithoutAHomeFailsTheStartBeforeAnyThread) {
  const UnknownUser user;
  if (!user.is_set()) GTEST_SKIP() << "only root can become somebody else";
  EXPECT_FALSE(service->Start());
  EXPECT_EQ(
      Among(kLines),
      Join({{4, "Starting Quillpost..."}, {1, "Failed to initialize Storage."}}, StopLines()));
  EXPECT_EQ(CountThreads(), threads_before);
}

// A link to itself in the place of a RoutingInfo.txt: the store can't be read, which is not the
// same as its being empty.
TEST_F(Life, AStoreThatCanNotBeReadRaisesOutOfStartAndLeavesNothing) {
  const fs::path info = root.storage() / "PEN/RoutingInfo.txt";
  fs::create_directories(info.parent_path());
  fs::create_symlink(info, info);
  try {
    service->Start();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const fs::filesystem_error& error) {
    EXPECT_NE(std::string(error.what()).find("Too many levels of symbolic links"),
              std::string::npos);
  }
  EXPECT_EQ(CountThreads(), threads_before);
  EXPECT_FALSE(fs::exists(Endpoint()));
  EXPECT_EQ(Among(kLines), Join({{4, "Starting Quillpost..."}}, StopLines()));
}

TEST_F(Life, LeftoversOfAKilledServiceAreRemoved) {
  WriteFile(root.scratch() / "stf2.abcdef", "left over");
  WriteFile(root.scratch() / "stf2.ABCDEF", "left over");
  WriteFile(root.scratch() / "other", "not ours");
  Start();
  EXPECT_EQ(CountScratchFiles(), 1u);
  EXPECT_TRUE(fs::exists(root.scratch() / "other"));
}

TEST_F(Life, LeftoversAreNotRemovedByAServiceThatDoesNotGetTheEndpoint) {
  WriteFile(Endpoint(), "no socket");
  WriteFile(root.scratch() / "stf2.abcdef", "somebody's package");
  EXPECT_FALSE(service->Start());
  EXPECT_TRUE(fs::exists(root.scratch() / "stf2.abcdef"));
}

TEST_F(Life, TheNextServiceGoesOnWhereTheLastOneStopped) {
  root.Subscribe("Sketcher", "1.2.3.4");
  AddStroke("s1");
  AddStroke("s2");
  Start();
  {
    WireClient client(Endpoint());
    client.Request("EnableNotifications", App("Sketcher"));
    client.WaitForNotification();
    client.Request("ConfirmInkPackageDelivery", Confirmation("PEN", true, {"1.2.3.4"}));
    client.WaitForNotification();
  }
  service->Stop();
  service = TalvoQuillpost::CreateQuillpostService();
  log.Clear();
  Start();
  EXPECT_TRUE(log.Has(3, "Loaded Routing Info 'ROOT/PEN/RoutingInfo.txt' with 2 Ink items."));
  WireClient client(Endpoint());
  client.Request("EnableNotifications", App("Sketcher"));
  EXPECT_EQ(InkOf(client.WaitForNotification()), "ink s2");
}

}  // namespace
