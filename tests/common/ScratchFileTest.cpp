// Scratch files: made, owned, and removed when a killed service has left them.

#include "common/ScratchFile.h"

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
#include "support/OpenDescriptors.h"
#include "support/TestRoot.h"

using namespace TalvoQuillpost::Common;
using testing::ElementsAre;

namespace fs = boost::filesystem;

namespace {

typedef std::vector<LogCapture::Line> Lines;

std::set<fs::path> Content(const fs::path& directory) {
  return std::set<fs::path>(fs::directory_iterator(directory), fs::directory_iterator());
}

class SetPermissionsTest : public FolderFixture {};
class CreateTempSTF2FileTest : public FolderFixture {};
class LeftoversTest : public FolderFixture {};

}  // namespace

// ---- SetPermissions --------------------------------------------------------------------------

TEST_F(SetPermissionsTest, SetPermissionsIsTrueAndChangesNothing) {
  WriteFile(Path("file"), "ink");
  fs::permissions(Path("file"), fs::perms(0640));
  EXPECT_TRUE(SetPermissions(Path("file")));
  EXPECT_EQ(fs::perms(0640), fs::status(Path("file")).permissions());
  EXPECT_TRUE(SetPermissions(Path("missing")));
  EXPECT_FALSE(fs::exists(Path("missing")));
}

// ---- CreateTempSTF2File ----------------------------------------------------------------------

TEST_F(CreateTempSTF2FileTest, MakesTwoDifferentEmptyFilesInTheScratchDirectory) {
  ::setenv("HOME", "/of/the/environment", 1);
  const LogCapture log;
  fs::path first = "/untouched";
  fs::path second = "/untouched";
  ASSERT_TRUE(CreateTempSTF2File(first));
  ASSERT_TRUE(CreateTempSTF2File(second));
  EXPECT_NE(first, second);
  for (const fs::path& path : {first, second}) {
    EXPECT_EQ(root_.home() / "Library/Application Support/Talvo/Quillpost/Temp",
              path.parent_path());
    EXPECT_THAT(path.filename().string(), testing::MatchesRegex("stf2\\.[A-Za-z0-9]{6}"));
    EXPECT_TRUE(fs::is_regular_file(path));
    EXPECT_EQ(0u, fs::file_size(path));
    EXPECT_EQ(fs::perms(0600), fs::status(path).permissions());
  }
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(CreateTempSTF2FileTest, FilesWithoutANameGetOneLikeTheOthers) {
  fs::create_directories(root_.scratch());
  std::set<fs::path> names;
  for (int i = 0; i < 3; ++i) {
    TalvoCppUtils::Descriptor file;
    fs::path out = "/untouched";
    ASSERT_TRUE(OpenUnnamedScratchFile(file));
    EXPECT_EQ(names, Content(root_.scratch()));
    ASSERT_TRUE(NameScratchFile(file.get(), out));
    names.insert(out);
    EXPECT_EQ(names, Content(root_.scratch()));
    EXPECT_THAT(out.filename().string(), testing::MatchesRegex("stf2\\.[A-Za-z0-9]{6}"));
    EXPECT_EQ(fs::perms(0600), fs::status(out).permissions());
  }
  EXPECT_EQ(3u, names.size());
}

TEST_F(CreateTempSTF2FileTest, WithoutTheDirectoryThereIsNoFileAndNoName) {
  TalvoCppUtils::Descriptor file;
  EXPECT_FALSE(OpenUnnamedScratchFile(file));
  fs::create_directories(root_.scratch());
  ASSERT_TRUE(OpenUnnamedScratchFile(file));
  fs::remove(root_.scratch());
  fs::path out = "/untouched";
  EXPECT_FALSE(NameScratchFile(file.get(), out));
  EXPECT_TRUE(out.empty());
}

TEST_F(CreateTempSTF2FileTest, LeavesNoDescriptorOpen) {
  fs::path out;
  ASSERT_TRUE(CreateTempSTF2File(out));
  const std::size_t before = OpenDescriptors();
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(CreateTempSTF2File(out));
  EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(CreateTempSTF2FileTest, FailsWhereTheScratchDirectoryCantBeMade) {
  WriteFile(root_.scratch(), "in its place");
  const LogCapture log;
  fs::path out = "/untouched";
  EXPECT_FALSE(CreateTempSTF2File(out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(Lines({{1, NotADirectory(root_.scratch())}}), log.lines());
}

TEST_F(CreateTempSTF2FileTest, FailsInSilenceWhereTheFileCantBeMade) {
  fs::create_directories(root_.scratch());
  fs::permissions(root_.home(), fs::perms(0755));
  fs::permissions(root_.scratch(), fs::perms(0555));
  const LogCapture log;
  fs::path out = "/untouched";
  {
    const PlainUser user;
    EXPECT_FALSE(CreateTempSTF2File(out));
  }
  EXPECT_TRUE(out.empty());
  EXPECT_TRUE(log.lines().empty());
  fs::permissions(root_.scratch(), fs::perms(0755));
}

TEST_F(CreateTempSTF2FileTest, FailsForAUserWithoutAHome) {
  const UnknownUser user;
  if (!user.is_set()) GTEST_SKIP() << "only root can take on the user ID of nobody's";
  fs::path out = "/untouched";
  EXPECT_FALSE(CreateTempSTF2File(out));
  EXPECT_TRUE(out.empty());
}

// Descriptor 0 is standard input's: who gets it here has closed his own.
TEST_F(CreateTempSTF2FileTest, TakesDescriptorZeroForAFailureAndLeavesNoFile) {
  const int standard_input = ::dup(0);
  ::close(0);
  fs::path out = "/untouched";
  EXPECT_FALSE(CreateTempSTF2File(out));
  EXPECT_TRUE(out.empty());
  EXPECT_EQ(-1, ::fcntl(0, F_GETFD)) << "descriptor 0 was left open";
  ::dup2(standard_input, 0);
  ::close(standard_input);
  EXPECT_TRUE(fs::is_empty(root_.scratch()));
}

TEST_F(CreateTempSTF2FileTest, ManyAtOnceMakeDifferentFiles) {
  std::vector<std::vector<fs::path>> made(4, std::vector<fs::path>(50));
  std::vector<std::thread> threads;
  for (auto& paths : made) {
    threads.emplace_back([&paths] {
      for (fs::path& path : paths) EXPECT_TRUE(CreateTempSTF2File(path));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::set<fs::path> all;
  for (const auto& paths : made) all.insert(paths.begin(), paths.end());
  EXPECT_EQ(200u, all.size());
  EXPECT_EQ(all, Content(root_.scratch()));
}

// ---- RemoveLeftoverTempSTF2Files -------------------------------------------------------------

TEST_F(LeftoversTest, ScratchFilesGoAndNothingElse) {
  fs::path first;
  fs::path second;
  ASSERT_TRUE(CreateTempSTF2File(first));
  ASSERT_TRUE(CreateTempSTF2File(second));
  WriteFile(Path("elsewhere"), "ink");
  fs::create_symlink(Path("elsewhere"), root_.scratch() / "stf2.linked");
  fs::create_directory(root_.scratch() / "stf2.folder");
  for (const char* name : {"stf2", "xstf2.abcdef", "ink.stf2", ".stf2.abcdef"}) {
    WriteFile(root_.scratch() / name, "somebody else's");
  }
  const LogCapture log;
  RemoveLeftoverTempSTF2Files();
  EXPECT_THAT(Content(root_.scratch()),
              ElementsAre(root_.scratch() / ".stf2.abcdef", root_.scratch() / "ink.stf2",
                          root_.scratch() / "stf2", root_.scratch() / "stf2.folder",
                          root_.scratch() / "xstf2.abcdef"));
  EXPECT_EQ("ink", ReadFile(Path("elsewhere")));
  EXPECT_EQ(Lines({{3, "Removed 3 leftover package files."}}), log.lines());
}

TEST_F(LeftoversTest, NothingIsSaidWhereThereIsNothing) {
  const LogCapture log;
  RemoveLeftoverTempSTF2Files();
  EXPECT_FALSE(fs::exists(root_.scratch()));
  fs::create_directories(root_.scratch());
  RemoveLeftoverTempSTF2Files();
  WriteFile(root_.scratch() / "stf2", "somebody else's");
  RemoveLeftoverTempSTF2Files();
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(LeftoversTest, WhatCantBeRemovedStaysAndIsNotCounted) {
  WriteFile(root_.scratch() / "stf2.abcdef", "ink");
  fs::permissions(root_.home(), fs::perms(0755));
  fs::permissions(root_.scratch(), fs::perms(0555));
  const LogCapture log;
  {
    const PlainUser user;
    EXPECT_NO_THROW(RemoveLeftoverTempSTF2Files());
  }
  fs::permissions(root_.scratch(), fs::perms(0755));
  EXPECT_TRUE(fs::exists(root_.scratch() / "stf2.abcdef"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(LeftoversTest, AScratchDirectoryThatCantBeReadIsIgnored) {
  WriteFile(root_.scratch(), "in its place");
  EXPECT_NO_THROW(RemoveLeftoverTempSTF2Files());
  const UnknownUser user;
  if (!user.is_set()) GTEST_SKIP() << "only root can take on the user ID of nobody's";
  EXPECT_NO_THROW(RemoveLeftoverTempSTF2Files());
}

// ---- ScratchFile --------------------------------------------------------------------------------

TEST(ScratchFile, IsRemovedAtTheEndOfItsScope) {
  TestRoot root;
  fs::path path;
  {
    ScratchFile file;
    ASSERT_TRUE(CreateTempSTF2File(file.out()));
    path = file.path();
    EXPECT_TRUE(fs::exists(path));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(ScratchFile, StaysWhenItWasHandedOver) {
  TestRoot root;
  fs::path path;
  {
    ScratchFile file;
    ASSERT_TRUE(CreateTempSTF2File(file.out()));
    path = file.path();
    file.HandOver();
  }
  EXPECT_TRUE(fs::exists(path));
}

TEST(ScratchFile, OwnsAFileThatIsThereAlready) {
  TestRoot root;
  const fs::path path = root.path() / "file";
  WriteFile(path, "ink");
  { const ScratchFile file(path); }
  EXPECT_FALSE(fs::exists(path));
}

TEST(ScratchFile, BearsAFileThatIsGone) {
  TestRoot root;
  const ScratchFile file(root.path() / "gone");
  fs::remove(file.path());
  EXPECT_FALSE(fs::exists(file.path()));
}
