// The life of the service as its user sees it, with clients and work under way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "RealService.h"
#include "support/LogCapture.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;

namespace {

// A stroke on each of the pages 1.2.3.0, 1.2.3.1, ...
std::string InkOfPages(int count) {
  InkFile ink;
  for (int page = 0; page < count; ++page) {
    ink.AddStroke(("1.2.3." + std::to_string(page)).c_str(), 1000);
  }
  return ink.bytes();
}

}  // namespace

TEST(Life, SigtermEndsItWithoutATraceOfClientsAndPackages) {
  RealService service;
  service.root().Subscribe("Notes", "1.2.3.*");
  service.root().Subscribe("Archive", "1.2.*.*");
  ASSERT_EQ(0, service.Import(InkFile().AddStroke("1.2.3.4", 1000).bytes()));
  WireClient notes(RealService::Endpoint());
  WireClient archive(RealService::Endpoint());
  WireClient idle(RealService::Endpoint());
  notes.Request("EnableNotifications", Params({{"ApplicationID", "Notes"}}));
  archive.Request("EnableNotifications", Params({{"ApplicationID", "Archive"}}));
  notes.WaitForNotification();
  archive.WaitForNotification();
  EXPECT_FALSE(service.IsScratchEmpty());

  EXPECT_EQ(0, service.daemon().Stop());
  EXPECT_FALSE(fs::exists(RealService::Endpoint()));
  EXPECT_TRUE(service.IsScratchEmpty());
  EXPECT_FALSE(service.IsStoreEmpty()) << "ink that nobody confirmed stays";
  EXPECT_TRUE(service.daemon().HasLogged("W Quillpost: Client 'Notes' crashed."));
  EXPECT_TRUE(service.daemon().HasLogged("W Quillpost: Client 'Archive' crashed."));
}

TEST(Life, ASecondServiceIsRefusedAndTheFirstServesOn) {
  RealService service;
  WireClient client(RealService::Endpoint());
  const Finished second = RunToEnd({QUILLPOSTD});
  EXPECT_EQ(1, second.status);
  EXPECT_THAT(second.error, testing::HasSubstr("another server is listening there"));
  EXPECT_EQ("Success", client.Request("Hello"));
  EXPECT_EQ(0, RunToEnd({QUILLPOST, "hello"}).status);
  EXPECT_EQ(0, service.daemon().Stop());
}

TEST(Life, SigtermDuringImportsEndsItInOrder) {
  RealService service;
  WriteFile(service.path("many.stf2"), InkOfPages(200));
  WireClient client(RealService::Endpoint());
  for (int i = 0; i < 5; ++i) {
    client.Send("ImportSTF2File", Params({{"InkPackagePath", service.path("many.stf2")}}));
  }
  ASSERT_TRUE(service.daemon().WaitForLog("I Quillpost: Started importing STF2 file '" +
                                          service.path("many.stf2") + "'."));
  EXPECT_EQ(0, service.daemon().Stop());
  EXPECT_FALSE(fs::exists(RealService::Endpoint()));
  EXPECT_TRUE(service.daemon().HasLogged("I Quillpost: Quillpost stopped."));
}

// A file of very many pages takes longer to import than a service may take to end.
TEST(Life, SigtermDoesNotWaitForALongImport) {
  RealService service;
  WriteFile(service.path("many.stf2"), InkOfPages(60000));
  WireClient client(RealService::Endpoint());
  client.Send("ImportSTF2File", Params({{"InkPackagePath", service.path("many.stf2")}}));
  const fs::path pages = service.root().storage() / kTestPenSerial;
  ASSERT_TRUE(Eventually([&] { return fs::exists(pages / "1.2.3.5"); }));
  EXPECT_EQ(0, service.daemon().Stop());
  EXPECT_TRUE(
      service.daemon().HasLogged("W Quillpost: The import of '" + service.path("many.stf2") +
                                 "' ends before its last page, because the service stops."));
  EXPECT_FALSE(fs::exists(pages / "1.2.3.59999"));
  EXPECT_FALSE(fs::exists(RealService::Endpoint()));
}

TEST(Life, TheNextServiceStartsFromWhatTheLastOneLeft) {
  RealService service;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0, RunToEnd({QUILLPOST, "hello"}).status);
    EXPECT_EQ(0, service.daemon().Stop());
    EXPECT_EQ(3, RunToEnd({QUILLPOST, "hello"}).status);
    service.StartService();
  }
}
