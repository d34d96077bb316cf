// The life of the service as its user sees it, with clients and work under way.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "World.h"
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
  World world;
  world.root().Subscribe("Notes", "1.2.3.*");
  world.root().Subscribe("Archive", "1.2.*.*");
  ASSERT_EQ(0, world.Import(InkFile().AddStroke("1.2.3.4", 1000).bytes()));
  WireClient notes(World::Endpoint());
  WireClient archive(World::Endpoint());
  WireClient idle(World::Endpoint());
  notes.Request("EnableNotifications", Params({{"ApplicationID", "Notes"}}));
  archive.Request("EnableNotifications", Params({{"ApplicationID", "Archive"}}));
  notes.WaitForNotification();
  archive.WaitForNotification();
  EXPECT_FALSE(world.IsScratchEmpty());

  EXPECT_EQ(0, world.daemon().Stop());
  EXPECT_FALSE(fs::exists(World::Endpoint()));
  EXPECT_TRUE(world.IsScratchEmpty());
  EXPECT_FALSE(world.IsStoreEmpty()) << "ink that nobody confirmed stays";
  EXPECT_TRUE(world.daemon().HasLogged("W Quillpost: Client 'Notes' crashed."));
  EXPECT_TRUE(world.daemon().HasLogged("W Quillpost: Client 'Archive' crashed."));
}

TEST(Life, ASecondServiceIsRefusedAndTheFirstServesOn) {
  World world;
  WireClient client(World::Endpoint());
  const Finished second = RunToEnd({QUILLPOSTD});
  EXPECT_EQ(1, second.status);
  EXPECT_THAT(second.error, testing::HasSubstr("another server is listening there"));
  EXPECT_EQ("Success", client.Request("Hello"));
  EXPECT_EQ(0, RunToEnd({QUILLPOST, "hello"}).status);
  EXPECT_EQ(0, world.daemon().Stop());
}

TEST(Life, SigtermDuringImportsEndsItInOrder) {
  World world;
  WriteFile(world.path("many.stf2"), InkOfPages(200));
  WireClient client(World::Endpoint());
  for (int i = 0; i < 5; ++i) {
    client.Send("ImportSTF2File", Params({{"InkPackagePath", world.path("many.stf2")}}));
  }
  ASSERT_TRUE(world.daemon().WaitForLog("I Quillpost: Started importing STF2 file '" +
                                        world.path("many.stf2") + "'."));
  EXPECT_EQ(0, world.daemon().Stop());
  EXPECT_FALSE(fs::exists(World::Endpoint()));
  EXPECT_TRUE(world.daemon().HasLogged("I Quillpost: Quillpost stopped."));
}

// A file of very many pages takes longer to import than a service may take to end.
TEST(Life, SigtermDoesNotWaitForALongImport) {
  World world;
  WriteFile(world.path("many.stf2"), InkOfPages(60000));
  WireClient client(World::Endpoint());
  client.Send("ImportSTF2File", Params({{"InkPackagePath", world.path("many.stf2")}}));
  const fs::path pages = world.root().storage() / kTestPenSerial;
  ASSERT_TRUE(Eventually([&] { return fs::exists(pages / "1.2.3.5"); }));
  EXPECT_EQ(0, world.daemon().Stop());
  EXPECT_TRUE(world.daemon().HasLogged("W Quillpost: The import of '" + world.path("many.stf2") +
                                       "' ends before its last page, because the service stops."));
  EXPECT_FALSE(fs::exists(pages / "1.2.3.59999"));
  EXPECT_FALSE(fs::exists(World::Endpoint()));
}

TEST(Life, TheNextServiceStartsWhereTheLastOneEnded) {
  World world;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(0, RunToEnd({QUILLPOST, "hello"}).status);
    EXPECT_EQ(0, world.daemon().Stop());
    EXPECT_EQ(3, RunToEnd({QUILLPOST, "hello"}).status);
    world.StartService();
  }
}
