#include "common/Job.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/LogCapture.h"

using TalvoQuillpost::Common::RunJob;

TEST(RunJob, IsTrueAndSilentForAJobThatReturns) {
  LogCapture log;
  bool ran = false;
  EXPECT_TRUE(RunJob("routing pass", [&] { ran = true; }));
  EXPECT_TRUE(ran);
  EXPECT_TRUE(log.lines().empty());
}

TEST(RunJob, NamesTheJobAndTheReasonOfAnException) {
  LogCapture log(1);
  EXPECT_FALSE(RunJob("routing pass", [] { throw std::runtime_error("no such store"); }));
  EXPECT_EQ(std::vector<LogCapture::Line>({{1, "The routing pass failed: no such store"}}),
            log.lines());
}

TEST(RunJob, BearsAnExceptionThatIsNoException) {
  LogCapture log(1);
  EXPECT_FALSE(RunJob("import", [] { throw 42; }));
  EXPECT_EQ(std::vector<LogCapture::Line>({{1, "The import failed: unknown exception"}}),
            log.lines());
}

TEST(RunJob, BearsAnExceptionWithoutALogger) {
  EXPECT_FALSE(RunJob("import", [] { throw std::runtime_error("no such store"); }));
}
