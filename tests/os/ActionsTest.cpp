#include <TalvoOS/Actions.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cerrno>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/OpenDescriptors.h"
#include "support/TestRoot.h"

using TalvoOS::Actions::LaunchApplication;
using TalvoOS::Actions::Program;
using TalvoOS::Actions::StartApplication;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// Starts the program that writes a report of itself, in a directory of the test's own.
class Launch : public testing::Test {
 protected:
  Launch() { ::setenv("LAUNCH_REPORT", report().c_str(), 1); }

  std::string report() const { return (root_.path() / "report").string(); }
  std::string path(const std::string& name) const { return (root_.path() / name).string(); }

  // The values of one name in the report, in order; waits for the report.
  std::vector<std::string> Reported(const std::string& name) {
    EXPECT_TRUE(Eventually([this] { return boost::filesystem::exists(report()); }));
    std::vector<std::string> values;
    std::istringstream lines(ReadFile(report()));
    for (std::string line; std::getline(lines, line);) {
      if (line.compare(0, name.size() + 1, name + "=") == 0) {
        values.push_back(line.substr(name.size() + 1));
      }
    }
    return values;
  }

  void WriteDesktopEntry(const std::string& name, const std::string& exec,
                         const std::string& more = "") {
    WriteFile(path(name),
              "[Desktop Entry]\nType=Application\nName=Notes\nExec=" + exec + "\n" + more);
  }

  // A script that waits until `Release` lets it end.
  std::string WriteWaitingProgram() {
    EXPECT_EQ(0, ::mkfifo(path("gate").c_str(), 0600));
    WriteFile(path("waits"), "#!/bin/sh\nread line <'" + path("gate") + "'\n");
    ::chmod(path("waits").c_str(), 0755);
    return path("waits");
  }
  void Release() { ::close(::open(path("gate").c_str(), O_WRONLY | O_CLOEXEC)); }

  TestRoot root_;
};

void IgnoreSignal(int) {}

}  // namespace

TEST_F(Launch, TheProgramLeadsItsOwnSessionAndIsNotTheCallersChild) {
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_THAT(Reported("leads_session"), ElementsAre("yes"));
  EXPECT_THAT(Reported("parent"), testing::Not(ElementsAre(std::to_string(::getpid()))));
  EXPECT_THAT(Reported("argument"), ElementsAre(LAUNCHED_PROGRAM));
}

TEST_F(Launch, TheProgramHasNoDescriptorsButTheNullDevice) {
  const int inherited = ::open("/", O_RDONLY);  // would be inherited by exec
  const int high = ::fcntl(inherited, F_DUPFD, 500);
  ASSERT_GE(high, 500);
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_THAT(Reported("descriptor"), ElementsAre("0 /dev/null", "1 /dev/null", "2 /dev/null"));
  ::close(inherited);
  ::close(high);
}

TEST_F(Launch, AHostThatClosedItsStandardDescriptorsLaunchesAllTheSame) {
  const int saved = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 100);
  ::close(STDIN_FILENO);
  const bool launched = LaunchApplication(LAUNCHED_PROGRAM);
  EXPECT_FALSE(LaunchApplication("/nonexistent/program"));
  ::dup2(saved, STDIN_FILENO);
  ASSERT_TRUE(launched);
  EXPECT_THAT(Reported("descriptor"), ElementsAre("0 /dev/null", "1 /dev/null", "2 /dev/null"));
}

TEST_F(Launch, TheProgramHasDefaultDispositionsAndAnEmptyMask) {
  ::signal(SIGPIPE, SIG_IGN);
  ::signal(SIGXFSZ, SIG_IGN);
  ::signal(SIGHUP, SIG_IGN);
  ::signal(SIGUSR1, IgnoreSignal);
  ::signal(SIGRTMAX, SIG_IGN);
  sigset_t set;
  ::sigemptyset(&set);
  ::sigaddset(&set, SIGTERM);
  ::sigaddset(&set, SIGRTMIN);
  ASSERT_EQ(0, ::pthread_sigmask(SIG_BLOCK, &set, nullptr));

  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_THAT(Reported("blocked"), IsEmpty());
  EXPECT_THAT(Reported("ignored"), IsEmpty());

  sigset_t now;
  ASSERT_EQ(0, ::pthread_sigmask(SIG_SETMASK, nullptr, &now));
  EXPECT_EQ(1, ::sigismember(&now, SIGTERM)) << "the caller's mask is the caller's";
  EXPECT_EQ(0, ::sigismember(&now, SIGINT));
}

// The host's umask is for the files of the service; what an application makes is its own business.
TEST_F(Launch, TheProgramHasTheUmaskThatTheHostHadAtItsStart) {
  const mode_t at_start = ::umask(0127);
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  ::umask(at_start);
  char text[8];
  ::snprintf(text, sizeof text, "%03o", static_cast<unsigned>(at_start));
  EXPECT_THAT(Reported("umask"), ElementsAre(text));
}

TEST_F(Launch, TheProgramStartsInTheUsersHome) {
  boost::filesystem::create_directories(root_.home());
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_THAT(Reported("directory"), ElementsAre(root_.home().string()));
}

TEST_F(Launch, TheProgramOfAUserWithoutAHomeDirectoryStartsAtTheTop) {
  ASSERT_FALSE(boost::filesystem::exists(root_.home()));
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_THAT(Reported("directory"), ElementsAre("/"));
}

TEST_F(Launch, AProgramIsSeenToRunAndToEnd) {
  const Program program = StartApplication(WriteWaitingProgram());
  ASSERT_TRUE(program);
  const Program copy = program;
  EXPECT_TRUE(program.IsRunning());
  EXPECT_LE(program.start_time(), std::chrono::steady_clock::now());
  Release();
  EXPECT_TRUE(Eventually([&] { return !program.IsRunning(); }));
  EXPECT_FALSE(copy.IsRunning());
  EXPECT_TRUE(copy) << "it was started all the same";
}

TEST_F(Launch, WhatWasNotStartedDoesNotRun) {
  const Program none;
  EXPECT_FALSE(none);
  EXPECT_FALSE(none.IsRunning());
  const Program missing = StartApplication("/nonexistent/program");
  EXPECT_FALSE(missing);
  EXPECT_FALSE(missing.IsRunning());
}

TEST_F(Launch, DroppingAProgramEndsNothing) {
  Program program = StartApplication(WriteWaitingProgram());
  ASSERT_TRUE(program);
  program = Program();
  // Opening the gate waits for its reader: the script is still there.
  Release();
}

TEST_F(Launch, NothingOfAProgramIsLeftOpen) {
  const std::size_t before = OpenDescriptors();
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(StartApplication(LAUNCHED_PROGRAM));
    EXPECT_FALSE(StartApplication("/nonexistent/program"));
  }
  EXPECT_EQ(before, OpenDescriptors());
}

TEST_F(Launch, NoChildOfTheCallerIsLeft) {
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_FALSE(LaunchApplication("/nonexistent/program"));
  EXPECT_EQ(-1, ::waitpid(-1, nullptr, WNOHANG));
  EXPECT_EQ(ECHILD, errno);
}

TEST_F(Launch, WorksInAHostThatIgnoresSigchld) {
  ::signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  EXPECT_FALSE(LaunchApplication("/nonexistent/program"));
  EXPECT_EQ(SIG_IGN, ::signal(SIGCHLD, SIG_DFL));
  EXPECT_THAT(Reported("leads_session"), ElementsAre("yes"));
}

TEST_F(Launch, AScriptIsAProgram) {
  WriteFile(path("application"),
            std::string("#!/bin/sh\nexec '") + LAUNCHED_PROGRAM + "' \"$0\"\n");
  ::chmod(path("application").c_str(), 0755);
  ASSERT_TRUE(LaunchApplication(path("application")));
  EXPECT_THAT(Reported("argument"), ElementsAre(LAUNCHED_PROGRAM, path("application")));
}

TEST_F(Launch, ARelativePathStartsAtTheCallersDirectory) {
  boost::filesystem::create_directories(root_.home());
  const boost::filesystem::path program(LAUNCHED_PROGRAM);
  const auto before = boost::filesystem::current_path();
  boost::filesystem::current_path(program.parent_path());
  EXPECT_TRUE(LaunchApplication("./" + program.filename().string()));
  boost::filesystem::current_path(before);
  EXPECT_THAT(Reported("directory"), ElementsAre(root_.home().string()));
}

TEST_F(Launch, RefusesAFileThatIsNotAProgram) {
  WriteFile(path("text"), "not a program");
  EXPECT_FALSE(LaunchApplication(path("text"))) << "not executable";
  ::chmod(path("text").c_str(), 0755);
  EXPECT_FALSE(LaunchApplication(path("text"))) << "executable, but no program";
  ASSERT_EQ(0, ::mkfifo(path("fifo").c_str(), 0755));
  EXPECT_FALSE(LaunchApplication(path("fifo")));
  EXPECT_FALSE(LaunchApplication(path("missing")));
  EXPECT_FALSE(LaunchApplication(path("")));
  EXPECT_FALSE(LaunchApplication(""));
  EXPECT_FALSE(LaunchApplication(std::string(LAUNCHED_PROGRAM) + std::string("\0x", 2)));
}

TEST_F(Launch, RefusesWithoutDescriptors) {
  const int next = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  rlimit before;
  ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
  const rlimit none = {static_cast<rlim_t>(next), before.rlim_max};
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &none));
  const bool launched = LaunchApplication(LAUNCHED_PROGRAM);
  ASSERT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &before));
  ::close(next);
  EXPECT_FALSE(launched);
}

TEST_F(Launch, ManyThreadsLaunchTogether) {
  std::vector<std::thread> threads;
  std::vector<int> launched(4, 0);
  for (int& count : launched) {
    threads.emplace_back([&count] {
      for (int i = 0; i < 5; ++i) {
        count += LaunchApplication(LAUNCHED_PROGRAM) ? 1 : 0;
        count += LaunchApplication("/nonexistent/program") ? 100 : 0;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(launched, ElementsAre(5, 5, 5, 5));
}

TEST_F(Launch, ADesktopEntryStartsItsExecLine) {
  WriteDesktopEntry("notes.desktop",
                    std::string("\"") + LAUNCHED_PROGRAM + "\" --open %U \"a b\" 100%%");
  ASSERT_TRUE(LaunchApplication(path("notes.desktop")));
  EXPECT_THAT(Reported("argument"), ElementsAre(LAUNCHED_PROGRAM, "--open", "a b", "100%"));
}

TEST_F(Launch, ADesktopEntrysPathIsTheWorkingDirectory) {
  boost::filesystem::create_directories(path("my notes"));
  WriteDesktopEntry("notes.desktop", LAUNCHED_PROGRAM, "Path=" + path("my\\snotes") + "\n");
  ASSERT_TRUE(LaunchApplication(path("notes.desktop")));
  EXPECT_THAT(Reported("directory"), ElementsAre(path("my notes")));
}

TEST_F(Launch, RefusesADesktopEntryIfItsPathIsNotADirectory) {
  WriteDesktopEntry("notes.desktop", LAUNCHED_PROGRAM, "Path=" + path("missing") + "\n");
  EXPECT_FALSE(LaunchApplication(path("notes.desktop")));
}

TEST_F(Launch, ADesktopEntrysProgramIsSearchedForInPath) {
  const boost::filesystem::path program(LAUNCHED_PROGRAM);
  WriteFile(path("first/" + program.filename().string()), "of that name, but not executable");
  WriteDesktopEntry("notes.desktop", program.filename().string() + " %f");
  ::setenv("PATH", (path("first") + ":" + program.parent_path().string()).c_str(), 1);
  ASSERT_TRUE(LaunchApplication(path("notes.desktop")));
  EXPECT_THAT(Reported("argument"), ElementsAre(program.filename().string()));
}

TEST_F(Launch, RefusesADesktopEntryThatStartsNothing) {
  EXPECT_FALSE(LaunchApplication(path("missing.desktop")));
  WriteFile(path("empty.desktop"), "");
  EXPECT_FALSE(LaunchApplication(path("empty.desktop")));
  WriteFile(path("other.desktop"), std::string("[Other]\nExec=") + LAUNCHED_PROGRAM + "\n");
  EXPECT_FALSE(LaunchApplication(path("other.desktop")));
  WriteDesktopEntry("nowhere.desktop", "no-program-of-this-name");
  EXPECT_FALSE(LaunchApplication(path("nowhere.desktop")));
  WriteDesktopEntry("open.desktop", std::string("\"") + LAUNCHED_PROGRAM);
  EXPECT_FALSE(LaunchApplication(path("open.desktop")));
  ASSERT_EQ(0, ::mkfifo(path("fifo.desktop").c_str(), 0600));
  EXPECT_FALSE(LaunchApplication(path("fifo.desktop")));
  boost::filesystem::create_directory(path("directory.desktop"));
  EXPECT_FALSE(LaunchApplication(path("directory.desktop")));
}

TEST_F(Launch, AnObstacleIsSeenWithoutStartingAnything) {
  using TalvoOS::Actions::FindObstacle;
  EXPECT_EQ("", FindObstacle(LAUNCHED_PROGRAM));
  EXPECT_EQ("the path is empty", FindObstacle(""));
  EXPECT_EQ(path("missing") + ": No such file or directory", FindObstacle(path("missing")));
  EXPECT_EQ(path("") + ": not a regular file", FindObstacle(path("")));
  WriteFile(path("text"), "not executable");
  EXPECT_EQ(path("text") + ": Permission denied", FindObstacle(path("text")));
  WriteDesktopEntry("good.desktop", LAUNCHED_PROGRAM);
  EXPECT_EQ("", FindObstacle(path("good.desktop")));
  WriteDesktopEntry("nowhere.desktop", "no-program-of-this-name");
  EXPECT_EQ(path("nowhere.desktop") + ": its Exec line names no program",
            FindObstacle(path("nowhere.desktop")));
  WriteDesktopEntry("gone.desktop", path("missing"));
  EXPECT_EQ(path("missing") + ": No such file or directory", FindObstacle(path("gone.desktop")));
  WriteDesktopEntry("lost.desktop", LAUNCHED_PROGRAM, "Path=" + path("missing") + "\n");
  EXPECT_EQ(path("lost.desktop") + ": its Path line: No such file or directory",
            FindObstacle(path("lost.desktop")));
  EXPECT_FALSE(boost::filesystem::exists(report()));
}
