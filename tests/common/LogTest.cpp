#include "common/Log.h"

#include <gtest/gtest.h>

#include <string>

#include "support/LogCapture.h"

namespace {

int g_arguments = 0;

int Argument() {
  return ++g_arguments;
}

void LogOneMessageOfEachLevel() {
  g_arguments = 0;
  QUILLPOST_LOG_ERROR("error %d", Argument());
  QUILLPOST_LOG_WARNING("warning %d", Argument());
  QUILLPOST_LOG_INFORMATION("information %d", Argument());
  QUILLPOST_LOG_TRACE("trace %d", Argument());
}

}  // namespace

TEST(Log, AMessageAppearsAtItsLevelAndAbove) {
  const std::vector<LogCapture::Line> all = {
      {1, "error 1"}, {2, "warning 2"}, {3, "information 3"}, {4, "trace 4"}};
  for (int level = 1; level <= 4; ++level) {
    SCOPED_TRACE(level);
    LogCapture log(level);
    LogOneMessageOfEachLevel();
    EXPECT_EQ(std::vector<LogCapture::Line>(all.begin(), all.begin() + level), log.lines());
    EXPECT_EQ(level, g_arguments) << "arguments of messages that nobody reads were made";
  }
}

TEST(Log, NothingIsWrittenWithoutALogger) {
  LogOneMessageOfEachLevel();
  EXPECT_EQ(0, g_arguments);
}

TEST(Log, TheLoggerOfAnotherTagIsNotTheServices) {
  LogCapture other(4, "Other");
  LogOneMessageOfEachLevel();
  EXPECT_TRUE(other.lines().empty());
  EXPECT_EQ(0, g_arguments);
}

TEST(Log, AMessageIsOneStatement) {
  LogCapture log;
  const bool broken = false;
  if (broken)
    QUILLPOST_LOG_ERROR("broken");
  else
    QUILLPOST_LOG_ERROR("whole");
  EXPECT_EQ(std::vector<LogCapture::Line>({{1, "whole"}}), log.lines());
}
