#include "SavedPackage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <future>

#include "support/RefusedCalls.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::UnorderedElementsAre;

namespace {

std::vector<std::string> NamesIn(const fs::path& directory) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

}  // namespace

TEST(SavePackage, MakesTheDirectoryAndNumbersNamesThatAreTaken) {
  TestRoot root;
  const fs::path directory = root.path() / "deep/ink";
  fs::path saved;
  std::string reason;
  for (const char* content : {"one", "two", "three"}) {
    WriteFile(root.path() / "package", content);
    ASSERT_TRUE(SavePackage(root.path() / "package", directory, "pen_1.2.3.4", saved, reason));
    EXPECT_EQ(content, ReadFile(saved));
  }
  EXPECT_EQ(directory / "pen_1.2.3.4-2.stf2", saved);
  EXPECT_THAT(NamesIn(directory),
              UnorderedElementsAre("pen_1.2.3.4.stf2", "pen_1.2.3.4-1.stf2", "pen_1.2.3.4-2.stf2"));
}

// As some memory cards and network shares: no hard links, and no renaming without replacing.
TEST(SavePackage, NeedsNeitherHardLinksNorTheirReplacement) {
  TestRoot root;
  const fs::path directory = root.path() / "ink";
  WriteFile(root.path() / "package", "one");
  WriteFile(directory / "x.stf2", "somebody's");
  std::vector<RefusedCall> calls = {{SYS_linkat, EPERM}, {SYS_renameat2, EINVAL, 4, UINT32_MAX}};
#ifdef SYS_link
  calls.push_back({SYS_link, EPERM});
#endif
  const bool has_run = RunWithRefused(calls, [&] {
    fs::path saved;
    std::string reason;
    EXPECT_TRUE(SavePackage(root.path() / "package", directory, "x", saved, reason)) << reason;
  });
  ASSERT_TRUE(has_run);
  EXPECT_EQ("one", ReadFile(directory / "x-1.stf2"));
  EXPECT_EQ("somebody's", ReadFile(directory / "x.stf2"));
  EXPECT_THAT(NamesIn(directory), UnorderedElementsAre("x.stf2", "x-1.stf2"));
}

TEST(SavePackage, SaysWhyThePackageCannotBeRead) {
  TestRoot root;
  fs::path saved;
  std::string reason;
  EXPECT_FALSE(SavePackage("/nonexistent/package", root.path() / "ink", "x", saved, reason));
  EXPECT_EQ("can't read the package '/nonexistent/package': No such file or directory", reason);
}

TEST(SavePackage, SaysWhyTheCopyCannotBeMade) {
  TestRoot root;
  WriteFile(root.path() / "package", "ink");
  WriteFile(root.path() / "file", "not a directory");
  fs::path saved;
  std::string reason;
  const fs::path directory = root.path() / "file/ink";
  EXPECT_FALSE(SavePackage(root.path() / "package", directory, "x", saved, reason));
  EXPECT_EQ("can't save into '" + directory.string() + "': Not a directory", reason);
}

TEST(WaitUntilGone, EndsWhenTheLastFileIsRemoved) {
  TestRoot root;
  const fs::path one = root.path() / "one";
  const fs::path two = root.path() / "two";
  WriteFile(one, "1");
  WriteFile(two, "2");
  auto waiting = std::async(std::launch::async, [&] {
    WaitUntilGone({one, two}, std::chrono::hours(1));
    return fs::exists(one) || fs::exists(two);
  });
  fs::remove(two);
  fs::remove(one);
  EXPECT_FALSE(waiting.get());
}

TEST(WaitUntilGone, DoesNotWaitForWhatIsGoneAndNoLongerThanItIsTold) {
  TestRoot root;
  WaitUntilGone({root.path() / "missing"}, std::chrono::hours(1));
  const fs::path stays = root.path() / "stays";
  WriteFile(stays, "x");
  WaitUntilGone({stays}, std::chrono::milliseconds(1));
  EXPECT_TRUE(fs::exists(stays));
}

// A user may have only so many watchers at a time, and other programs may have them all.
TEST(WaitUntilGone, WaitsWithoutAWatcherToo) {
  TestRoot root;
  const fs::path file = root.path() / "file";
  WriteFile(file, "1");
  const bool has_run = RunWithRefused({{SYS_inotify_init1, EMFILE}}, [&] {
    auto waiting = std::async(std::launch::async, [&] {
      WaitUntilGone({file}, std::chrono::hours(1));
      return fs::exists(file);
    });
    EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)))
        << "the file is still there";
    fs::remove(file);
    EXPECT_FALSE(waiting.get());
  });
  ASSERT_TRUE(has_run);
}
