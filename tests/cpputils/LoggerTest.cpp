#include <Talvo/Logger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/filesystem.hpp>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

using Talvo::Logger;
using Talvo::LogSink;
using testing::ElementsAre;
using testing::Pair;

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// Whether the text has the shape of `shape`, where "d" stands for a digit.
bool HasShape(const std::string& text, const std::string& shape) {
  return std::equal(text.begin(), text.end(), shape.begin(), shape.end(),
                    [](char c, char s) { return s == 'd' ? '0' <= c && c <= '9' : c == s; });
}

// The lines, with the word TIME where each has its time.
std::vector<std::string> WithoutTimes(const std::string& text) {
  const std::string shape = "dddd-dd-ddTdd:dd:dd.dddZ";
  std::vector<std::string> lines = Lines(text);
  for (std::string& line : lines) {
    if (HasShape(line.substr(0, shape.size()), shape)) line.replace(0, shape.size(), "TIME");
  }
  return lines;
}

void LogOneOfEachLevel(const char* tag) {
  Logger* logger = Logger::GetLogger(tag);
  ASSERT_NE(nullptr, logger);
  logger->Log(1, "Failed to open '%s'.", "a b");
  logger->Log(2, "Client '%s' crashed.", "Notes");
  logger->Log(3, "Quillpost started.");
  logger->Log(4, "%d of %d", 2, 3);
}

}  // namespace

TEST(Logger, IsNullUntilTheHostOpensIt) {
  EXPECT_EQ(nullptr, Logger::GetLogger("Never"));
  LogCapture log(3, "Other");
  EXPECT_EQ(nullptr, Logger::GetLogger("Never"));
  EXPECT_NE(nullptr, Logger::GetLogger("Other"));
}

TEST(Logger, IsNullAgainAfterClose) {
  { LogCapture log(3, "Quillpost"); }
  EXPECT_EQ(nullptr, Logger::GetLogger("Quillpost"));
}

TEST(Logger, APointerHeldOverCloseTakesNothing) {
  Logger* logger = nullptr;
  {
    LogCapture log(3, "Quillpost");
    logger = Logger::GetLogger("Quillpost");
  }
  EXPECT_EQ(0, logger->GetLevel());
  logger->Log(1, "into the void");

  LogCapture log(2, "Quillpost");
  EXPECT_EQ(logger, Logger::GetLogger("Quillpost"));
  logger->Log(1, "open again");
  EXPECT_THAT(log.lines(), ElementsAre(Pair(1, "open again")));
}

TEST(Logger, TakesMessagesOfItsLevelAndBelow) {
  LogCapture log(2, "Quillpost");
  EXPECT_EQ(2, Logger::GetLogger("Quillpost")->GetLevel());
  LogOneOfEachLevel("Quillpost");
  Logger::GetLogger("Quillpost")->Log(0, "no level");
  EXPECT_THAT(log.lines(),
              ElementsAre(Pair(1, "Failed to open 'a b'."), Pair(2, "Client 'Notes' crashed.")));
}

TEST(Logger, OpenAgainChangesLevelAndSink) {
  LogCapture first(4, "Quillpost");
  Logger::GetLogger("Quillpost")->Log(4, "to the first");
  LogCapture second(1, "Quillpost");
  LogOneOfEachLevel("Quillpost");
  EXPECT_THAT(first.lines(), ElementsAre(Pair(4, "to the first")));
  EXPECT_THAT(second.lines(), ElementsAre(Pair(1, "Failed to open 'a b'.")));
}

TEST(Logger, WritesAMessageOfAnyLengthWhole) {
  LogCapture log;
  for (std::size_t length : {510u, 511u, 512u, 513u, 200000u}) {
    const std::string name(length, 'x');
    log.Clear();
    Logger::GetLogger("Quillpost")->Log(3, "%s", name.c_str());
    EXPECT_THAT(log.lines(), ElementsAre(Pair(3, name)));
  }
}

TEST(Logger, WritesControlBytesAsHexadecimal) {
  LogCapture log;
  Logger::GetLogger("Quillpost")->Log(3, "'%s'", "a\nb\tc\x01\x1F\x7F d\xC3\xA9\\x");
  EXPECT_THAT(log.lines(), ElementsAre(Pair(3, "'a\\x0Ab\\x09c\\x01\\x1F\\x7F d\xC3\xA9\\x'")));
}

TEST(Logger, KeepsBracesAndPercentSignsOfItsArguments) {
  LogCapture log;
  Logger::GetLogger("Quillpost")->Log(3, "%s", "{} %s %n {0:d}");
  EXPECT_THAT(log.lines(), ElementsAre(Pair(3, "{} %s %n {0:d}")));
}

TEST(Logger, ALineOnStandardErrorHasTimeLetterTagAndMessage) {
  testing::internal::CaptureStderr();
  Logger::Open("Quillpost", 4, LogSink::Stderr());
  LogOneOfEachLevel("Quillpost");
  Logger::Close("Quillpost");
  EXPECT_THAT(WithoutTimes(testing::internal::GetCapturedStderr()),
              ElementsAre("TIME E Quillpost: Failed to open 'a b'.",
                          "TIME W Quillpost: Client 'Notes' crashed.",
                          "TIME I Quillpost: Quillpost started.", "TIME T Quillpost: 2 of 3"));
}

TEST(Logger, TheJournalGetsASyslogPriorityBeforeEachLine) {
  testing::internal::CaptureStderr();
  Logger::Open("Quillpost", 4, LogSink::Journal());
  LogOneOfEachLevel("Quillpost");
  Logger::Close("Quillpost");
  const std::vector<std::string> lines = Lines(testing::internal::GetCapturedStderr());
  ASSERT_EQ(4u, lines.size());
  EXPECT_THAT(lines[0], testing::ContainsRegex("^<3>[0-9T:.-]*Z E Quillpost: Failed"));
  EXPECT_THAT(lines[1], testing::ContainsRegex("^<4>[0-9T:.-]*Z W Quillpost: Client"));
  EXPECT_THAT(lines[2], testing::ContainsRegex("^<6>[0-9T:.-]*Z I Quillpost: Quillpost"));
  EXPECT_THAT(lines[3], testing::ContainsRegex("^<7>[0-9T:.-]*Z T Quillpost: 2 of 3"));
}

TEST(Logger, TheTimeOfALineIsUtcInEveryTimeZone) {
  ::setenv("TZ", "UTC-9", 1);  // nine hours ahead
  ::tzset();
  testing::internal::CaptureStderr();
  const time_t before = ::time(nullptr);
  Logger::Open("Quillpost", 3, LogSink::Stderr());
  Logger::GetLogger("Quillpost")->Log(3, "now");
  Logger::Close("Quillpost");
  const time_t after = ::time(nullptr);
  struct tm time = {};
  ASSERT_NE(nullptr,
            ::strptime(testing::internal::GetCapturedStderr().c_str(), "%Y-%m-%dT%H:%M:%S", &time));
  const time_t logged = ::timegm(&time);
  EXPECT_LE(before, logged);
  EXPECT_GE(after, logged);
}

TEST(Logger, AFileIsAppendedToAndEachLineIsThereImmediately) {
  TestRoot root;
  const auto file = root.path() / "service.log";
  WriteFile(file, "a line from before\n");
  Logger::Open("Quillpost", 3, LogSink::RotatingFile(file.string()));
  Logger::GetLogger("Quillpost")->Log(3, "one");
  EXPECT_THAT(WithoutTimes(ReadFile(file)),
              ElementsAre("a line from before", "TIME I Quillpost: one"));
  Logger::Close("Quillpost");
}

TEST(Logger, AFileThatGrowsTooLargeIsRenamedAndBegunAnew) {
  TestRoot root;
  const std::string file = (root.path() / "service.log").string();
  Logger::Open("Quillpost", 3, LogSink::RotatingFile(file, 100, 2));
  for (int i = 1; i <= 7; ++i) Logger::GetLogger("Quillpost")->Log(3, "message %d", i);
  Logger::Close("Quillpost");
  EXPECT_THAT(WithoutTimes(ReadFile(file)), ElementsAre("TIME I Quillpost: message 7"));
  EXPECT_THAT(WithoutTimes(ReadFile(file + ".1")),
              ElementsAre("TIME I Quillpost: message 5", "TIME I Quillpost: message 6"));
  EXPECT_THAT(WithoutTimes(ReadFile(file + ".2")),
              ElementsAre("TIME I Quillpost: message 3", "TIME I Quillpost: message 4"));
  EXPECT_FALSE(boost::filesystem::exists(file + ".3"));
}

TEST(Logger, AFileThatCannotBeOpenedIsRefusedWithTheReason) {
  try {
    LogSink::RotatingFile("/nonexistent/service.log");
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ("can't open the log file '/nonexistent/service.log': No such file or directory",
                 error.what());
  }
}

TEST(Logger, AFullDiskLosesTheLineAndNothingElse) {
  Logger::Open("Quillpost", 3, LogSink::RotatingFile("/dev/full", 10));
  EXPECT_NO_THROW(Logger::GetLogger("Quillpost")->Log(3, "nowhere to go"));
  EXPECT_NO_THROW(Logger::GetLogger("Quillpost")->Log(3, "nowhere to go"));
  Logger::Close("Quillpost");
  EXPECT_TRUE(boost::filesystem::exists("/dev/full"));  // what is not a file is not renamed
}

// The disk fills in the middle of a line; when there is room again the next line stands alone.
TEST(Logger, ALineAfterATornOneStandsAlone) {
  TestRoot root;
  const std::string file = (root.path() / "service.log").string();
  Logger::Open("Quillpost", 3, LogSink::RotatingFile(file));
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_FSIZE, &before));
  const rlimit small = {50, before.rlim_max};
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &small));
  Logger::GetLogger("Quillpost")->Log(3, "a message that is too long for it");
  Logger::GetLogger("Quillpost")->Log(3, "lost");
  ASSERT_EQ(0, ::setrlimit(RLIMIT_FSIZE, &before));
  Logger::GetLogger("Quillpost")->Log(3, "room again");
  Logger::Close("Quillpost");
  EXPECT_THAT(WithoutTimes(ReadFile(file)),
              ElementsAre("TIME I Quillpost: a message th", "TIME I Quillpost: room again"));
}

TEST(Logger, AnExceptionOfACallbackDoesNotLeaveLog) {
  Logger::Open("Quillpost", 3, LogSink::Callback([](int, const std::string&) {
                 throw std::runtime_error("broken");
               }));
  EXPECT_NO_THROW(Logger::GetLogger("Quillpost")->Log(3, "a message"));
  Logger::Open("Quillpost", 3, LogSink::Callback([](int, const std::string&) { throw 42; }));
  EXPECT_NO_THROW(Logger::GetLogger("Quillpost")->Log(3, "a message"));
  Logger::Close("Quillpost");
}

// Threads log without end while their log is closed and opened again. After each Close the object
// behind the callback is gone: a message that still reached it would count as late.
TEST(Logger, NoMessageReachesACallbackAfterClose) {
  std::atomic<bool> end{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&end] {
      while (!end) {
        if (Logger* logger = Logger::GetLogger("Quillpost")) logger->Log(3, "still here");
      }
    });
  }
  struct Receiver {
    int messages = 0;  // guarded by the promise of one message at a time
    bool closed = false;
    int late = 0;
  };
  int received = 0;
  std::vector<std::unique_ptr<Receiver>> receivers;
  for (int round = 0; round < 50; ++round) {
    receivers.push_back(std::make_unique<Receiver>());
    Receiver* receiver = receivers.back().get();
    std::atomic<bool> any{false};
    Logger::Open("Quillpost", 3, LogSink::Callback([receiver, &any](int, const std::string&) {
                   ++(receiver->closed ? receiver->late : receiver->messages);
                   any = true;
                 }));
    ASSERT_TRUE(Eventually([&any] { return any.load(); }));
    Logger::Close("Quillpost");
    receiver->closed = true;
    received += receiver->messages;
  }
  end = true;
  for (std::thread& thread : threads) thread.join();
  for (const auto& receiver : receivers) EXPECT_EQ(0, receiver->late);
  EXPECT_GE(received, 50);
}

// Each thread opens a logger of its own and one that all open, while the others look for both.
TEST(Logger, ManyThreadsMayOpenLoggersTogether) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 50;
  std::atomic<int> received{0};
  std::atomic<int> ready{0};
  std::vector<Logger*> shared(kThreads * kRounds, nullptr);
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      ++ready;
      while (ready < kThreads) std::this_thread::yield();
      for (int round = 0; round < kRounds; ++round) {
        const std::string common = "Shared " + std::to_string(round);
        const std::string own = std::to_string(i) + " of " + common;
        const auto sink = LogSink::Callback([&](int, const std::string&) { ++received; });
        Logger::Open(common.c_str(), 3, sink);
        Logger::Open(own.c_str(), 3, sink);
        shared[i * kRounds + round] = Logger::GetLogger(common.c_str());
        Logger::GetLogger(common.c_str())->Log(3, "shared");
        Logger::GetLogger(own.c_str())->Log(3, "own");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(2 * kThreads * kRounds, received);
  for (int round = 0; round < kRounds; ++round) {
    const std::string common = "Shared " + std::to_string(round);
    Logger* const logger = Logger::GetLogger(common.c_str());
    for (int i = 0; i < kThreads; ++i) EXPECT_EQ(logger, shared[i * kRounds + round]) << common;
    Logger::Close(common.c_str());
    for (int i = 0; i < kThreads; ++i) Logger::Close((std::to_string(i) + " of " + common).c_str());
  }
}

TEST(Logger, LinesOfManyThreadsStayWhole) {
  TestRoot root;
  const std::string file = (root.path() / "service.log").string();
  Logger::Open("Quillpost", 3, LogSink::RotatingFile(file));
  const std::string name(700, 'n');
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&name] {
      for (int j = 0; j < 100; ++j) Logger::GetLogger("Quillpost")->Log(3, "[%s]", name.c_str());
    });
  }
  for (std::thread& thread : threads) thread.join();
  Logger::Close("Quillpost");
  EXPECT_EQ(std::vector<std::string>(400, "TIME I Quillpost: [" + name + "]"),
            WithoutTimes(ReadFile(file)));
}
