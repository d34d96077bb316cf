// Directories that are made and listed. Failures are real ones: files in a directory's place,
// directories without rights, loops of links, full and read-only disks.

#include "common/Directories.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <set>
#include <thread>
#include <vector>

#include "common/FolderFixture.h"
#include "support/LogCapture.h"
#include "support/Machine.h"
#include "support/TestRoot.h"

using namespace TalvoQuillpost::Common;
using testing::ElementsAre;

namespace fs = boost::filesystem;

namespace {

typedef std::vector<LogCapture::Line> Lines;

std::string NotCreated(const fs::path& path, const std::string& reason) {
  return "Failed to create directory '" + path.string() + "': " + reason;
}

class PrepareDirectoryTest : public FolderFixture {};
class ListingTest : public FolderFixture {};

}  // namespace

// ---- PrepareDirectory ------------------------------------------------------------------------

TEST_F(PrepareDirectoryTest, LeavesOneThatIsThereAndLogsNothing) {
  WriteFile(Path("here/file"), "ink");
  const LogCapture log;
  EXPECT_TRUE(PrepareDirectory(Path("here")));
  EXPECT_EQ("ink", ReadFile(Path("here/file")));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PrepareDirectoryTest, MakesTheWholeChain) {
  const LogCapture log;
  EXPECT_TRUE(PrepareDirectory(Path("a/b/c/d")));
  EXPECT_TRUE(fs::is_directory(Path("a/b/c/d")));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(PrepareDirectoryTest, TakesALinkToADirectory) {
  fs::create_directory(Path("real"));
  fs::create_directory_symlink(Path("real"), Path("link"));
  EXPECT_TRUE(PrepareDirectory(Path("link")));
  EXPECT_TRUE(PrepareDirectory(Path("link/below")));
  EXPECT_TRUE(fs::is_directory(Path("real/below")));
}

TEST_F(PrepareDirectoryTest, NamesWhatIsNoDirectory) {
  WriteFile(Path("file"), "ink");
  fs::create_symlink(Path("file"), Path("link"));
  ASSERT_EQ(0, ::mkfifo(Path("fifo").c_str(), 0600));
  for (const char* name : {"file", "link", "fifo"}) {
    const LogCapture log;
    EXPECT_FALSE(PrepareDirectory(Path(name)));
    EXPECT_EQ(Lines({{1, NotADirectory(Path(name))}}), log.lines());
  }
  EXPECT_EQ("ink", ReadFile(Path("file")));
}

TEST_F(PrepareDirectoryTest, NamesTheReasonWhyOneCantBeMade) {
  WriteFile(Path("file"), "ink");
  fs::create_symlink(Path("nowhere"), Path("dangling"));
  fs::create_symlink(Path("loop"), Path("loop"));
  const std::string long_name(256, 'n');
  const std::vector<std::pair<fs::path, std::string>> rows = {
      {Path("file/below"), "Not a directory (20)"},
      {Path("dangling"), "File exists (17)"},
      {Path("loop/below"), "Too many levels of symbolic links (40)"},
      {Path(long_name), "File name too long (36)"}};
  for (const auto& [path, reason] : rows) {
    const LogCapture log;
    EXPECT_FALSE(PrepareDirectory(path));
    EXPECT_EQ(Lines({{1, NotCreated(path, reason)}}), log.lines());
  }
}

TEST_F(PrepareDirectoryTest, NamesTheLackOfRights) {
  fs::create_directory(Path("locked"));
  fs::permissions(Path("locked"), fs::perms(0));
  const LogCapture log;
  {
    const PlainUser user;
    EXPECT_FALSE(PrepareDirectory(Path("locked/a/b")));
  }
  EXPECT_EQ(Lines({{1, NotCreated(Path("locked/a/b"), "Permission denied (13)")}}), log.lines());
  fs::permissions(Path("locked"), fs::perms(0755));
}

TEST_F(PrepareDirectoryTest, NamesAReadOnlyDisk) {
  Disk disk(Path("disk"));
  if (!disk.is_mounted()) GTEST_SKIP() << "this user can't mount";
  ASSERT_TRUE(disk.MakeReadOnly());
  const LogCapture log;
  EXPECT_FALSE(PrepareDirectory(Path("disk/new")));
  EXPECT_EQ(Lines({{1, NotCreated(Path("disk/new"), "Read-only file system (30)")}}), log.lines());
  EXPECT_TRUE(PrepareDirectory(Path("disk")));
}

TEST_F(PrepareDirectoryTest, LogsAtLevelOneAndWithoutALoggerNothing) {
  WriteFile(Path("file"), "ink");
  for (int level = 0; level <= 1; ++level) {
    const LogCapture log(level);
    PrepareDirectory(Path("file"));
    PrepareDirectory(Path("file/below"));
    EXPECT_EQ(level == 1 ? 2u : 0u, log.lines().size());
  }
  const LogCapture other(4, "Other");
  EXPECT_FALSE(PrepareDirectory(Path("file")));
  EXPECT_FALSE(PrepareDirectory(Path("file/below")));
  EXPECT_TRUE(other.lines().empty());
}

TEST_F(PrepareDirectoryTest, ManyMayMakeTheSameChainAtOnce) {
  for (int round = 0; round < 20; ++round) {
    const fs::path chain = Path("chain" + std::to_string(round)) / "a/b/c/d/e";
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] { EXPECT_TRUE(PrepareDirectory(chain)); });
    }
    for (std::thread& thread : threads) thread.join();
  }
}

// ---- ListFiles, ListDirectories --------------------------------------------------------------

// A folder with one of everything.
TEST_F(ListingTest, HiddenDirectoriesAreListedAndHiddenFilesAreNot) {
  WriteFile(Path("a.stf"), "ink");
  WriteFile(Path("b"), "");
  WriteFile(Path(".hidden"), "ink");
  WriteFile(Path("sub/file"), "ink");
  fs::create_directory(Path(".cache"));
  fs::create_symlink(Path("a.stf"), Path("link to file"));
  fs::create_symlink(Path(".hidden"), Path("link to hidden"));
  fs::create_symlink(Path("a.stf"), Path(".hidden link"));
  fs::create_directory_symlink(Path("sub"), Path("link to sub"));
  fs::create_symlink(Path("nowhere"), Path("dangling"));
  fs::create_symlink(Path("loop"), Path("loop"));
  ASSERT_EQ(0, ::mkfifo(Path("fifo").c_str(), 0600));
  std::set<fs::path> found = {"/stale"};
  EXPECT_TRUE(ListFiles(root_.path() / "d", found));
  EXPECT_THAT(found,
              ElementsAre(Path("a.stf"), Path("b"), Path("link to file"), Path("link to hidden")));
  EXPECT_TRUE(ListDirectories(root_.path() / "d", found));
  EXPECT_THAT(found, ElementsAre(Path(".cache"), Path("link to sub"), Path("sub")));
}

TEST_F(ListingTest, AnEmptyDirectoryIsListedAsEmpty) {
  std::set<fs::path> found = {"/stale"};
  EXPECT_TRUE(ListFiles(root_.path() / "d", found));
  EXPECT_TRUE(found.empty());
  found = {"/stale"};
  EXPECT_TRUE(ListDirectories(root_.path() / "d", found));
  EXPECT_TRUE(found.empty());
}

TEST_F(ListingTest, ALinkToADirectoryIsListedByItsOwnName) {
  WriteFile(Path("real/file"), "ink");
  fs::create_directory_symlink(Path("real"), Path("link"));
  std::set<fs::path> found;
  EXPECT_TRUE(ListFiles(Path("link"), found));
  EXPECT_THAT(found, ElementsAre(Path("link/file")));
}

TEST_F(ListingTest, WhatIsNoDirectoryIsFalseAndLeavesNothing) {
  WriteFile(Path("file"), "ink");
  fs::create_symlink(Path("nowhere"), Path("dangling"));
  fs::create_symlink(Path("loop"), Path("loop"));
  ASSERT_EQ(0, ::mkfifo(Path("fifo").c_str(), 0600));
  const LogCapture log;
  for (const char* name :
       {"missing", "missing/below", "file", "file/below", "dangling", "loop", "fifo"}) {
    for (const auto& list : {ListFiles, ListDirectories}) {
      std::set<fs::path> found = {"/stale"};
      EXPECT_FALSE(list(Path(name), found)) << name;
      EXPECT_TRUE(found.empty()) << name;
    }
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ListingTest, ADirectoryThatCantBeReadRaises) {
  WriteFile(Path("locked/file"), "ink");
  fs::permissions(Path("locked"), fs::perms(0));
  {
    const PlainUser user;
    std::set<fs::path> found = {"/stale"};
    EXPECT_THROW(ListFiles(Path("locked"), found), fs::filesystem_error);
    EXPECT_TRUE(found.empty());
    EXPECT_THROW(ListDirectories(Path("locked"), found), fs::filesystem_error);
    EXPECT_FALSE(ListFiles(Path("locked/below"), found)) << "an error of the query is an absence";
  }
  fs::permissions(Path("locked"), fs::perms(0755));
}

// Readable, but nothing in it can be looked at: every entry counts as absent.
TEST_F(ListingTest, EntriesThatCantBeLookedAtAreLeftOut) {
  WriteFile(Path("names/file"), "ink");
  fs::create_directory(Path("names/sub"));
  fs::permissions(Path("names"), fs::perms(0444));
  {
    const PlainUser user;
    std::set<fs::path> found;
    EXPECT_TRUE(ListFiles(Path("names"), found));
    EXPECT_TRUE(found.empty());
    EXPECT_TRUE(ListDirectories(Path("names"), found));
    EXPECT_TRUE(found.empty());
  }
  fs::permissions(Path("names"), fs::perms(0755));
}
