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
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

using TalvoOS::Actions::LaunchApplication;
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

  void WriteDesktopEntry(const std::string& name, const std::string& exec) {
    WriteFile(path(name), "[Desktop Entry]\nType=Application\nName=Notes\nExec=" + exec + "\n");
  }

 private:
  TestRoot root_;
};

void IgnoreSignal(int) {}

}  // namespace

TEST_F(Launch, TheProgramLeadsASessionOfItsOwnAndIsNoChildOfTheCaller) {
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

TEST_F(Launch, TheProgramHasTheCallersDirectoryAndUmask) {
  const mode_t before = ::umask(027);
  ASSERT_TRUE(LaunchApplication(LAUNCHED_PROGRAM));
  ::umask(before);
  EXPECT_THAT(Reported("umask"), ElementsAre("027"));
  EXPECT_THAT(Reported("directory"), ElementsAre(boost::filesystem::current_path().string()));
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

TEST_F(Launch, RefusesWhatIsNoProgram) {
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

TEST_F(Launch, ManyThreadsLaunchAtOnce) {
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
