#include "SavedPackage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <future>

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

// Lets a filter decide about all further system calls of this process.
bool Install(const sock_fprog& filter) {
  return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0;
}

// From now on the kernel makes no hard links for this process, and refuses the flags of renameat2.
bool RefuseLinks() {
  constexpr auto kNumber = static_cast<std::uint32_t>(offsetof(seccomp_data, nr));
  constexpr auto kFlags = static_cast<std::uint32_t>(offsetof(seccomp_data, args) + 4 * 8);
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kNumber),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_linkat, 5, 0),
#ifdef SYS_link
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_link, 4, 0),
#else
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_linkat, 4, 0),
#endif
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 2),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFlags),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 0, 2),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EINVAL),
  };
  return Install({sizeof code / sizeof *code, code});
}

// From now on there is no watcher left for this process.
bool RefuseWatchers() {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offsetof(seccomp_data, nr))),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_inotify_init1, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  return Install({sizeof code / sizeof *code, code});
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
  ASSERT_TRUE(RefuseLinks());
  fs::path saved;
  std::string reason;
  EXPECT_TRUE(SavePackage(root.path() / "package", directory, "x", saved, reason)) << reason;
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
  ASSERT_TRUE(RefuseWatchers());
  auto waiting = std::async(std::launch::async, [&] {
    WaitUntilGone({file}, std::chrono::hours(1));
    return fs::exists(file);
  });
  EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)))
      << "the file is still there";
  fs::remove(file);
  EXPECT_FALSE(waiting.get());
}
