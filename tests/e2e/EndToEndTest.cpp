// The road of a pen's ink through the real programs: from a file to the applications that want it.

#include <TalvoEncryption/Encryption.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include "RealService.h"
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

class EndToEnd : public testing::Test {
 protected:
  // A program that the service can launch as the application: it keeps `count` packages.
  std::string MakeApplication(const std::string& id, int count) {
    const std::string program = service_.path("run-" + id);
    WriteFile(program, std::string("#!/bin/sh\nexec '") + QUILLPOST + "' listen " + id +
                           " --count " + std::to_string(count) + " --save '" + service_.path(id) +
                           "'\n");
    ::chmod(program.c_str(), 0755);
    return program;
  }

  RealService service_;
};

}  // namespace

TEST_F(EndToEnd, PlainInkOnThreePagesReachesBothApplicationsThatWantIt) {
  service_.root().Subscribe("Notes", "1.2.3.*");
  service_.root().Subscribe("Archive", "1.2.*.*");
  ASSERT_EQ(0, service_.Import(ThreePages()));

  service_.Receive("Notes", 2);
  EXPECT_THAT(service_.ReceivedStrokes("Notes"),
              ElementsAre(StrokeInInk{"1.2.3.4", 1000}, StrokeInInk{"1.2.3.4", 4000},
                          StrokeInInk{"1.2.3.5", 2000}));
  EXPECT_FALSE(service_.IsStoreEmpty()) << "the other application has not had it";

  service_.Receive("Archive", 3);
  EXPECT_THAT(service_.ReceivedStrokes("Archive"),
              ElementsAre(StrokeInInk{"1.2.3.4", 1000}, StrokeInInk{"1.2.3.4", 4000},
                          StrokeInInk{"1.2.3.5", 2000}, StrokeInInk{"1.2.9.9", 3000}));
  EXPECT_TRUE(service_.IsStoreEmpty());
  EXPECT_TRUE(service_.IsScratchEmpty());
}

TEST_F(EndToEnd, InkReachesAnApplicationThatIsThereAlready) {
  service_.root().Subscribe("Notes", "1.2.3.*");
  Process listen({QUILLPOST, "listen", "Notes", "--count", "2", "--save", service_.path("Notes")});
  ASSERT_TRUE(service_.daemon().WaitForLog("I Quillpost: Client 'Notes' connected."));
  ASSERT_EQ(0, service_.Import(ThreePages()));
  EXPECT_EQ(0, listen.Wait()) << listen.error();
  EXPECT_EQ(3u, service_.ReceivedStrokes("Notes").size());
}

TEST_F(EndToEnd, SealedInkArrivesUnreadAndOpensWithItsKey) {
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

  service_.root().Subscribe("Vault", "encrypted-stf2");
  service_.root().Subscribe("Curious", "*.*.*.*.*");
  ASSERT_EQ(0, service_.Import(sealed));
  EXPECT_THAT(service_.Receive("Vault", 1), ElementsAre(sealed));
  EXPECT_TRUE(service_.IsStoreEmpty()) << "nobody else is waited for";

  ASSERT_EQ(0, OpenInkData(sealed.data(), size, public_key, secret_key, &buffer, &size));
  EXPECT_EQ(ink, std::string(reinterpret_cast<const char*>(buffer), size));
  FreeBuffer(&buffer);
}

TEST_F(EndToEnd, AnApplicationIsLaunchedForItsInk) {
  const std::string program = MakeApplication("Notes", 2);
  service_.root().Subscribe("Notes", "1.2.3.*", program);
  ASSERT_EQ(0, service_.Import(InkFile().AddStroke("1.2.3.4", 1).AddStroke("1.2.3.5", 2).bytes()));
  EXPECT_TRUE(service_.daemon().WaitForLog(
      "I Quillpost: We have some Ink to Deliver to application 'Notes'; we'll launch it ('" +
      program + "')."));
  EXPECT_TRUE(service_.daemon().WaitForLog("I Quillpost: Client 'Notes' disconnected."));
  EXPECT_EQ(2u, service_.Received("Notes").size());
  EXPECT_TRUE(Eventually([this] { return service_.IsStoreEmpty(); }));
}

// A listener is frozen, so that a package stays unanswered, and then killed. The service takes the
// package back; the listener that comes after it gets the same ink.
TEST_F(EndToEnd, AnApplicationThatDiesWithAPackageGetsItsInkWhenItComesBack) {
  service_.root().Subscribe("Notes", "1.2.3.*");
  {
    Process listen({QUILLPOST, "listen", "Notes", "--save", service_.path("Notes")});
    ASSERT_TRUE(service_.daemon().WaitForLog("I Quillpost: Client 'Notes' connected."));
    listen.Signal(SIGSTOP);
    ASSERT_EQ(0, service_.Import(InkFile().AddStroke("1.2.3.4", 1000).bytes()));
    ASSERT_TRUE(service_.daemon().WaitForLog(
        "I Quillpost: Delivering 1/1 Ink items to application 'Notes'..."));
    ASSERT_TRUE(Eventually([this] { return !service_.IsScratchEmpty(); }));
    listen.Signal(SIGKILL);
    EXPECT_EQ(128 + SIGKILL, listen.Wait());
  }
  EXPECT_TRUE(service_.daemon().WaitForLog("W Quillpost: Client 'Notes' crashed."));
  EXPECT_TRUE(Eventually([this] { return service_.IsScratchEmpty(); }));
  EXPECT_THAT(service_.Received("Notes"), testing::IsEmpty());

  service_.Receive("Notes", 1);
  EXPECT_THAT(service_.ReceivedStrokes("Notes"), ElementsAre(StrokeInInk{"1.2.3.4", 1000}));
  EXPECT_TRUE(service_.IsStoreEmpty());
}

// One application has had a part of its ink, another one holds a package, when the service ends
// and starts again: everybody gets exactly the rest.
TEST_F(EndToEnd, ARestartOfTheServiceLosesAndRepeatsNothing) {
  service_.root().Subscribe("Notes", "1.2.3.*");
  service_.root().Subscribe("Archive", "1.2.*.*");
  ASSERT_EQ(0, service_.Import(ThreePages()));
  service_.Receive("Notes", 1);
  {
    WireClient archive(RealService::Endpoint());
    Enable(archive, "Archive");
    archive.WaitForNotification();
    EXPECT_EQ(0, service_.daemon().Stop());
    archive.WaitForEnd();
  }
  EXPECT_TRUE(service_.IsScratchEmpty());

  service_.StartService();
  service_.Receive("Notes", 1);
  EXPECT_EQ(3u, service_.ReceivedStrokes("Notes").size());
  service_.Receive("Archive", 3);
  EXPECT_EQ(4u, service_.ReceivedStrokes("Archive").size());
  EXPECT_TRUE(service_.IsStoreEmpty());
}

TEST_F(EndToEnd, AServiceThatWasKilledLosesNothingAndTidiesUpAtItsNextStart) {
  service_.root().Subscribe("Notes", "1.2.3.*");
  ASSERT_EQ(0, service_.Import(ThreePages()));
  WireClient notes(RealService::Endpoint());
  Enable(notes, "Notes");
  const std::string package = notes.WaitForNotification()["InkPackagePath"].asString();
  service_.daemon().Signal(SIGKILL);
  EXPECT_EQ(128 + SIGKILL, service_.daemon().Wait());
  ASSERT_TRUE(fs::exists(package));
  ASSERT_TRUE(fs::exists(RealService::Endpoint())) << "what a killed service leaves behind";

  service_.StartService();
  EXPECT_FALSE(fs::exists(package));
  service_.Receive("Notes", 2);
  EXPECT_EQ(3u, service_.ReceivedStrokes("Notes").size());
}

TEST_F(EndToEnd, HandwritingArrivesAsItWasDrawn) {
  const std::string ink = service_.path("handwriting.stf2");
  const Finished convert =
      RunToEnd({STF2_TOOL, "convert", SAMPLES "/handwriting.inkml", "-o", ink});
  ASSERT_EQ(0, convert.status) << convert.error;
  service_.root().Subscribe("Notes", "1.2.3.*");
  ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", ink}).status);
  service_.Receive("Notes", 2);
  EXPECT_EQ(StrokesOf(ReadFile(ink)), service_.ReceivedStrokes("Notes"));
  EXPECT_TRUE(service_.IsStoreEmpty());
}
