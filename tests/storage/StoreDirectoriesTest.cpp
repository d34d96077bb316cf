#include "storage/StoreDirectories.h"

#include <boost/filesystem.hpp>

#include "storage/StoreTest.h"

using namespace TalvoQuillpost::Storage;

namespace fs = boost::filesystem;

namespace {

class StoreDirectoriesTest : public StoreTest {};

TEST_F(StoreDirectoriesTest, ADirectoryIsMadeWithItsParents) {
  EXPECT_TRUE(MakeStoreDirectory(PenPath(kPage)));
  EXPECT_TRUE(fs::is_directory(PenPath(kPage)));
  EXPECT_TRUE(MakeStoreDirectory(PenPath(kPage)));
}

TEST_F(StoreDirectoriesTest, WhatIsNoDirectoryIsNamed) {
  WriteFile(PenPath(kPage), "in its place");
  const LogCapture log(1);
  EXPECT_FALSE(MakeStoreDirectory(PenPath(kPage)));
  EXPECT_EQ(
      Lines({{1, "'" + PenPath(kPage).string() + "' not a directory (as it should): Success (0)"}}),
      log.lines());
}

TEST_F(StoreDirectoriesTest, ADirectoryIsThereAfterTheWaitForItsRemoval) {
  fs::create_directories(PenPath());
  WaitForRemoval(PenPath(kPage));
  EXPECT_TRUE(fs::is_directory(PenPath(kPage)));
  WaitForRemoval(PenPath(kPage));
  EXPECT_TRUE(fs::is_directory(PenPath(kPage)));
}

TEST_F(StoreDirectoriesTest, NamesAreSyncedUpToTheHomeDirectory) {
  ASSERT_TRUE(MakeStoreDirectory(PenPath(kPage)));
  EXPECT_FALSE(SyncNames(PenPath(kPage)));
}

TEST_F(StoreDirectoriesTest, ADirectoryThatIsNotThereCanNotBeSynced) {
  EXPECT_EQ(boost::system::errc::no_such_file_or_directory, SyncNames(PenPath(kPage)));
  // Once it was synced, too.
  ASSERT_TRUE(MakeStoreDirectory(PenPath(kPage)));
  ASSERT_FALSE(SyncNames(PenPath(kPage)));
  fs::remove(PenPath(kPage));
  EXPECT_EQ(boost::system::errc::no_such_file_or_directory, SyncNames(PenPath(kPage)));
}

TEST_F(StoreDirectoriesTest, NewInkIsToldOnceAndOfItsOwnPage) {
  EXPECT_FALSE(TakeNewInk(PenPath(kPage)));
  NoteNewInk(PenPath(kPage));
  NoteNewInk(PenPath(kPage));
  EXPECT_FALSE(TakeNewInk(PenPath("5.6.7.8")));
  EXPECT_TRUE(TakeNewInk(PenPath(kPage)));
  EXPECT_FALSE(TakeNewInk(PenPath(kPage)));
}

}  // namespace
