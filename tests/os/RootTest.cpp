#include <TalvoOS/Root.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>

using TalvoOS::GetHomeDirectory;
using TalvoOS::UnderRoot;

TEST(UnderRoot, LeavesAPathAsItIsWithoutARoot) {
  ::unsetenv("QUILLPOST_ROOT");
  EXPECT_EQ("/var/tmp/x", UnderRoot("/var/tmp/x"));
  ::setenv("QUILLPOST_ROOT", "", 1);
  EXPECT_EQ("/var/tmp/x", UnderRoot("/var/tmp/x"));
}

TEST(UnderRoot, PutsAPathBelowTheRoot) {
  ::setenv("QUILLPOST_ROOT", "/tmp/world", 1);
  EXPECT_EQ("/tmp/world/var/tmp/x", UnderRoot("/var/tmp/x"));
  ::setenv("QUILLPOST_ROOT", "/tmp/world/", 1);
  EXPECT_EQ("/tmp/world/var/tmp/x", UnderRoot("/var/tmp/x"));
}

TEST(UnderRoot, ReadsTheEnvironmentAtEachCall) {
  ::setenv("QUILLPOST_ROOT", "/one", 1);
  EXPECT_EQ("/one/x", UnderRoot("/x"));
  ::setenv("QUILLPOST_ROOT", "/two", 1);
  EXPECT_EQ("/two/x", UnderRoot("/x"));
}

TEST(UnderRoot, ARelativeRootStartsAtTheWorkingDirectory) {
  ::setenv("QUILLPOST_ROOT", "world", 1);
  EXPECT_EQ(boost::filesystem::current_path() / "world/var/tmp/x", UnderRoot("/var/tmp/x"));
}

TEST(GetHomeDirectory, IsThePasswordDatabasesAndBelowTheRoot) {
  const passwd* user = ::getpwuid(::getuid());
  ASSERT_NE(nullptr, user);
  ::setenv("HOME", "/of/the/environment", 1);
  boost::filesystem::path home;
  ::unsetenv("QUILLPOST_ROOT");
  ASSERT_TRUE(GetHomeDirectory(home));
  EXPECT_EQ(user->pw_dir, home);
  ::setenv("QUILLPOST_ROOT", "/tmp/world", 1);
  ASSERT_TRUE(GetHomeDirectory(home));
  EXPECT_EQ(std::string("/tmp/world") + user->pw_dir, home);
}

// The database needs a descriptor to be read. Files must not go astray for want of one.
TEST(GetHomeDirectory, StaysKnownWhenTheDatabaseCanNotBeRead) {
  boost::filesystem::path home;
  ASSERT_TRUE(GetHomeDirectory(home));
  rlimit before;
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none = {0, before.rlim_max};
  ::setrlimit(RLIMIT_NOFILE, &none);
  boost::filesystem::path again;
  const bool found = GetHomeDirectory(again);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_TRUE(found);
  EXPECT_EQ(home, again);
}

TEST(GetHomeDirectory, IsFalseForAUserWithoutAnEntry) {
  const uid_t stranger = 3999999999u;
  if (::getuid() != 0) GTEST_SKIP() << "only root can take on the user ID of nobody's";
  ASSERT_EQ(nullptr, ::getpwuid(stranger));
  ASSERT_EQ(0, ::setresuid(stranger, 0, 0));  // the real ID alone, so that the test can end well
  boost::filesystem::path home("/untouched");
  EXPECT_FALSE(GetHomeDirectory(home));
  EXPECT_TRUE(home.empty());
}
