// The road of a pen's ink through the real programs: from a file to the applications that want it.

#include <TalvoEncryption/Encryption.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "World.h"
#include "support/LogCapture.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;
using testing::ElementsAre;

namespace {

std::string ThreePages() {
  return InkFile()
      .AddStroke("1.2.3.4", 1000)
      .AddStroke("1.2.3.5", 2000)
      .AddStroke("1.2.9.9", 3000)
      .AddStroke("1.2.3.4", 4000)
      .bytes();
}

// A client that takes packages and confirms none.
void Enable(WireClient& client, const std::string& application) {
  ASSERT_EQ("Success",
            client.Request("EnableNotifications", Params({{"ApplicationID", application}})));
}

class Road : public testing::Test {
 protected:
  // A program that the service can launch as the application: it keeps `count` packages.
  std::string MakeApplication(const std::string& id, int count) {
    const std::string program = world_.path("run-" + id);
    WriteFile(program, std::string("#!/bin/sh\nexec '") + QUILLPOST + "' listen " + id +
                           " --count " + std::to_string(count) + " --save '" + world_.path(id) +
                           "'\n");
    ::chmod(program.c_str(), 0755);
    return program;
  }

  World world_;
};

}  // namespace

TEST_F(Road, PlainInkOnThreePagesReachesBothApplicationsThatWantIt) {
  world_.root().Subscribe("Notes", "1.2.3.*");
  world_.root().Subscribe("Archive", "1.2.*.*");
  ASSERT_EQ(0, world_.Import(ThreePages()));

  world_.Receive("Notes", 2);
  EXPECT_THAT(world_.ReceivedStrokes("Notes"),
              ElementsAre(StrokeInInk{"1.2.3.4", 1000}, StrokeInInk{"1.2.3.4", 4000},
                          StrokeInInk{"1.2.3.5", 2000}));
  EXPECT_FALSE(world_.IsStoreEmpty()) << "the other application has not had it";

  world_.Receive("Archive", 3);
  EXPECT_THAT(world_.ReceivedStrokes("Archive"),
              ElementsAre(StrokeInInk{"1.2.3.4", 1000}, StrokeInInk{"1.2.3.4", 4000},
                          StrokeInInk{"1.2.3.5", 2000}, StrokeInInk{"1.2.9.9", 3000}));
  EXPECT_TRUE(world_.IsStoreEmpty());
  EXPECT_TRUE(world_.IsScratchEmpty());
}

TEST_F(Road, InkReachesAnApplicationThatIsThereAlready) {
  world_.root().Subscribe("Notes", "1.2.3.*");
  Process listen({QUILLPOST, "listen", "Notes", "--count", "2", "--save", world_.path("Notes")});
  ASSERT_TRUE(world_.daemon().WaitForLog("I Quillpost: Client 'Notes' connected."));
  ASSERT_EQ(0, world_.Import(ThreePages()));
  EXPECT_EQ(0, listen.Wait()) << listen.error();
  EXPECT_EQ(3u, world_.ReceivedStrokes("Notes").size());
}

TEST_F(Road, SealedInkArrivesUnreadAndOpensWithItsKey) {
  uint8_t public_key[TALVO_KEY_BYTES];
  uint8_t secret_key[TALVO_KEY_BYTES];
  ASSERT_EQ(0, CreateKeyPair(public_key, secret_key));
  const std::string ink = ThreePages();
  uint8_t* buffer = nullptr;
  uint32_t size = 0;
  ASSERT_EQ(0,
            SealInkData(ink.data(), static_cast<uint32_t>(ink.size()), public_key, &buffer, &size));
  const std::string sealed(reinterpret_cast<const char*>(buffer), size);
  FreeBuffer(&buffer);

  world_.root().Subscribe("Vault", "encrypted-stf2");
  world_.root().Subscribe("Curious", "*.*.*.*.*");
  ASSERT_EQ(0, world_.Import(sealed));
  EXPECT_THAT(world_.Receive("Vault", 1), ElementsAre(sealed));
  EXPECT_TRUE(world_.IsStoreEmpty()) << "nobody else is waited for";

  ASSERT_EQ(0, OpenInkData(sealed.data(), size, public_key, secret_key, &buffer, &size));
  EXPECT_EQ(ink, std::string(reinterpret_cast<const char*>(buffer), size));
  FreeBuffer(&buffer);
}

TEST_F(Road, AnApplicationIsLaunchedForItsInk) {
  const std::string program = MakeApplication("Notes", 2);
  world_.root().Subscribe("Notes", "1.2.3.*", program);
  ASSERT_EQ(0, world_.Import(InkFile().AddStroke("1.2.3.4", 1).AddStroke("1.2.3.5", 2).bytes()));
  EXPECT_TRUE(world_.daemon().WaitForLog(
      "I Quillpost: We have some Ink to Deliver to application 'Notes'; we'll launch it ('" +
      program + "')."));
  EXPECT_TRUE(world_.daemon().WaitForLog("I Quillpost: Client 'Notes' disconnected."));
  EXPECT_EQ(2u, world_.Received("Notes").size());
  EXPECT_TRUE(Eventually([this] { return world_.IsStoreEmpty(); }));
}

// A listener is frozen, so that a package stays unanswered, and then killed. The service takes the
// package back; the listener that comes after it gets the same ink.
TEST_F(Road, AnApplicationThatDiesWithAPackageGetsItsInkWhenItComesBack) {
  world_.root().Subscribe("Notes", "1.2.3.*");
  {
    Process listen({QUILLPOST, "listen", "Notes", "--save", world_.path("Notes")});
    ASSERT_TRUE(world_.daemon().WaitForLog("I Quillpost: Client 'Notes' connected."));
    listen.Signal(SIGSTOP);
    ASSERT_EQ(0, world_.Import(InkFile().AddStroke("1.2.3.4", 1000).bytes()));
    ASSERT_TRUE(world_.daemon().WaitForLog(
        "I Quillpost: Delivering 1/1 Ink items to application 'Notes'..."));
    ASSERT_TRUE(Eventually([this] { return !world_.IsScratchEmpty(); }));
    listen.Signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, listen.Wait());
  }
  EXPECT_TRUE(world_.daemon().WaitForLog("W Quillpost: Client 'Notes' crashed."));
  EXPECT_TRUE(Eventually([this] { return world_.IsScratchEmpty(); }));
  EXPECT_THAT(world_.Received("Notes"), testing::IsEmpty());

  world_.Receive("Notes", 1);
  EXPECT_THAT(world_.ReceivedStrokes("Notes"), ElementsAre(StrokeInInk{"1.2.3.4", 1000}));
  EXPECT_TRUE(world_.IsStoreEmpty());
}

// One application has had a part of its ink, another one holds a package, when the service ends
// and starts again: everybody gets exactly the rest.
TEST_F(Road, ARestartOfTheServiceLosesAndRepeatsNothing) {
  world_.root().Subscribe("Notes", "1.2.3.*");
  world_.root().Subscribe("Archive", "1.2.*.*");
  ASSERT_EQ(0, world_.Import(ThreePages()));
  world_.Receive("Notes", 1);
  {
    WireClient archive(World::Endpoint());
    Enable(archive, "Archive");
    archive.WaitForNotification();
    EXPECT_EQ(0, world_.daemon().Stop());
    archive.WaitForEnd();
  }
  EXPECT_TRUE(world_.IsScratchEmpty());

  world_.StartService();
  world_.Receive("Notes", 1);
  EXPECT_EQ(3u, world_.ReceivedStrokes("Notes").size());
  world_.Receive("Archive", 3);
  EXPECT_EQ(4u, world_.ReceivedStrokes("Archive").size());
  EXPECT_TRUE(world_.IsStoreEmpty());
}

TEST_F(Road, AServiceThatWasKilledLosesNothingAndTidiesUpAtItsNextStart) {
  world_.root().Subscribe("Notes", "1.2.3.*");
  ASSERT_EQ(0, world_.Import(ThreePages()));
  WireClient notes(World::Endpoint());
  Enable(notes, "Notes");
  const std::string package = notes.WaitForNotification()["InkPackagePath"].asString();
  world_.daemon().Signal(SIGKILL);
  EXPECT_EQ(128 + SIGKILL, world_.daemon().Wait());
  ASSERT_TRUE(fs::exists(package));
  ASSERT_TRUE(fs::exists(World::Endpoint())) << "what a killed service leaves behind";

  world_.StartService();
  EXPECT_FALSE(fs::exists(package));
  world_.Receive("Notes", 2);
  EXPECT_EQ(3u, world_.ReceivedStrokes("Notes").size());
}

TEST_F(Road, HandwritingArrivesAsItWasDrawn) {
  const std::string ink = world_.path("handwriting.stf2");
  const Finished convert =
      RunToEnd({STF2_TOOL, "convert", SAMPLES "/handwriting.inkml", "-o", ink});
  ASSERT_EQ(0, convert.status) << convert.error;
  world_.root().Subscribe("Notes", "1.2.3.*");
  ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", ink}).status);
  world_.Receive("Notes", 2);
  EXPECT_EQ(StrokesOf(ReadFile(ink)), world_.ReceivedStrokes("Notes"));
  EXPECT_TRUE(world_.IsStoreEmpty());
}
