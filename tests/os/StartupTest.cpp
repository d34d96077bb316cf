#include <TalvoOS/Startup.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>

#include "support/TestRoot.h"

TEST(OpenStandardDescriptors, NothingThatIsOpenedLaterTakesAClosedOnesNumber) {
  const int out = ::dup(STDOUT_FILENO);
  const int in = ::dup(STDIN_FILENO);
  ::close(STDIN_FILENO);
  ::close(STDOUT_FILENO);
  TalvoOS::OpenStandardDescriptors();
  const int next = ::dup(STDERR_FILENO);
  char byte = 'x';
  const ssize_t written = ::write(STDOUT_FILENO, &byte, 1);
  const int error_of_write = errno;
  const ssize_t read = ::read(STDIN_FILENO, &byte, 1);
  const int error_of_read = errno;
  ::dup2(out, STDOUT_FILENO);
  ::dup2(in, STDIN_FILENO);
  EXPECT_GT(next, STDERR_FILENO);
  EXPECT_EQ(-1, written);
  EXPECT_EQ(EBADF, error_of_write);
  EXPECT_EQ(-1, read);
  EXPECT_EQ(EBADF, error_of_read);
}

TEST(OpenStandardDescriptors, LeavesOpenOnesAlone) {
  TalvoOS::OpenStandardDescriptors();
  EXPECT_EQ(0, ::write(STDOUT_FILENO, "", 0));
}

TEST(IgnoreWriteSignals, AFileSizeLimitIsAnErrorOfTheWrite) {
  TestRoot root;
  const std::string file = (root.path() / "file").string();
  FILE* out = ::fopen(file.c_str(), "w");
  ASSERT_NE(nullptr, out);
  rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
  const rlimit none = {0, before.rlim_max};
  TalvoOS::IgnoreWriteSignals();
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &none));
  const ssize_t written = ::write(::fileno(out), "x", 1);
  const int error = errno;
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
  EXPECT_EQ(-1, written);
  EXPECT_EQ(EFBIG, error);
  ::fclose(out);
}
