#include <TalvoQuillpost/Protocol.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <boost/filesystem.hpp>
#include <cstddef>
#include <cstring>
#include <stdexcept>

#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Machine.h"
#include "support/Patience.h"
#include "support/Process.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;
using testing::ContainsRegex;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr char kStarted[] = "I Quillpost: Quillpost started.\n";

std::string Endpoint() {
  return IPC::Protocol::Quillpost::GetEndpoint();
}

// The socket of a service manager that waits for news.
class Manager {
 public:
  // `name` is a path, or begins with "@" for a name that is not a file.
  explicit Manager(const std::string& name) : fd_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (::bind(fd_, reinterpret_cast<sockaddr*>(&address), length) != 0) {
      throw std::runtime_error("can't bind " + name);
    }
  }
  ~Manager() { ::close(fd_); }

  // The next message; empty if none comes in time.
  std::string Receive() {
    pollfd readable = {fd_, POLLIN, 0};
    constexpr int kPatienceMs = std::chrono::milliseconds(kPatience).count();
    if (::poll(&readable, 1, kPatienceMs) != 1) return std::string();
    char text[100];
    const ssize_t n = ::recv(fd_, text, sizeof text, 0);
    return std::string(text, n > 0 ? static_cast<std::size_t>(n) : 0);
  }

 private:
  int fd_;
};

void ExpectReadyAndStopping(const std::string& name) {
  TestRoot root;
  Manager manager(name);
  Process daemon({QUILLPOSTD}, {{"NOTIFY_SOCKET", name}});
  ASSERT_EQ("READY=1", manager.Receive());
  EXPECT_TRUE(fs::exists(Endpoint())) << "ready means that clients can connect";
  daemon.Signal(SIGTERM);
  EXPECT_EQ("STOPPING=1", manager.Receive());
  EXPECT_EQ(0, daemon.Wait());
}

}  // namespace

TEST(Quillpostd, ServesUntilSigtermAndExitsWith0) {
  TestRoot root;
  Process daemon({QUILLPOSTD});
  ASSERT_TRUE(daemon.WaitForError(kStarted)) << daemon.error();
  EXPECT_TRUE(fs::exists(Endpoint()));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_THAT(daemon.error(), EndsWith("I Quillpost: Quillpost stopped.\n"));
  EXPECT_FALSE(fs::exists(Endpoint()));
  EXPECT_EQ("", daemon.output());
}

TEST(Quillpostd, SigintEndsItTheSameWay) {
  TestRoot root;
  Process daemon({QUILLPOSTD});
  ASSERT_TRUE(daemon.WaitForError(kStarted));
  daemon.Signal(SIGINT);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_FALSE(fs::exists(Endpoint()));
}

TEST(Quillpostd, ASignalWhileItStartsEndsItAfterTheStart) {
  TestRoot root;
  Process daemon({QUILLPOSTD, "--log-level", "4"});
  ASSERT_TRUE(daemon.WaitForError("T Quillpost: Starting Quillpost...\n"));
  daemon.Signal(SIGTERM);
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_FALSE(fs::exists(Endpoint()));
}

TEST(Quillpostd, LogsTheTimeInUtcTheLevelAndTheTag) {
  TestRoot root;
  Process daemon({QUILLPOSTD}, {{"TZ", "Asia/Tokyo"}});
  ASSERT_TRUE(daemon.WaitForError(kStarted));
  daemon.Signal(SIGTERM);
  daemon.Wait();
  EXPECT_THAT(daemon.error(), ContainsRegex("^[0-9-]{10}T[0-9:]{8}[.][0-9]{3}Z I Quillpost: "));
}

TEST(Quillpostd, TheLogLevelSaysHowMuchIsLogged) {
  TestRoot root;
  Manager manager((root.path() / "manager").string());
  Process daemon({QUILLPOSTD, "--log-level", "2"},
                 {{"NOTIFY_SOCKET", (root.path() / "manager").string()}});
  ASSERT_EQ("READY=1", manager.Receive());
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_EQ("", daemon.error());
}

TEST(Quillpostd, ALogLevelHasANameToo) {
  TestRoot root;
  Process daemon({QUILLPOSTD, "--log-level", "trace"});
  EXPECT_TRUE(daemon.WaitForError("T Quillpost: Starting Quillpost...\n"));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
}

// As the programs that rotate logs do it.
TEST(Quillpostd, SighupOpensTheLogFileAnew) {
  TestRoot root;
  const fs::path file = root.path() / "quillpostd.log";
  const fs::path moved = root.path() / "quillpostd.log.old";
  Process daemon({QUILLPOSTD, "--log-file", file.string()});
  ASSERT_TRUE(Eventually([&] { return ReadFile(file).find(kStarted) != std::string::npos; }));
  fs::rename(file, moved);
  daemon.Signal(SIGHUP);
  ASSERT_TRUE(Eventually([&] { return fs::exists(file); }));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_THAT(ReadFile(file), EndsWith("I Quillpost: Quillpost stopped.\n"));
  EXPECT_THAT(ReadFile(moved), HasSubstr(kStarted));
}

TEST(Quillpostd, ALogFileThatCannotBeOpenedAnewGoesOn) {
  TestRoot root;
  const fs::path file = root.path() / "log/quillpostd.log";
  const fs::path moved = root.path() / "moved";
  fs::create_directory(root.path() / "log");
  Process daemon({QUILLPOSTD, "--log-file", file.string()});
  ASSERT_TRUE(Eventually([&] { return ReadFile(file).find(kStarted) != std::string::npos; }));
  fs::rename(root.path() / "log", moved);
  daemon.Signal(SIGHUP);
  EXPECT_TRUE(Eventually([&] {
    return ReadFile(moved / "quillpostd.log")
               .find("E Quillpost: The log goes on in the old file: ") != std::string::npos;
  }));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
}

TEST(Quillpostd, WithoutALogFileSighupEndsItInOrder) {
  TestRoot root;
  Process daemon({QUILLPOSTD});
  ASSERT_TRUE(daemon.WaitForError(kStarted));
  daemon.Signal(SIGHUP);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_FALSE(fs::exists(Endpoint()));
}

TEST(Quillpostd, ASighupThatItsCallerIgnoresStaysIgnored) {
  TestRoot root;
  Process daemon({"/bin/sh", "-c", std::string("trap '' HUP; exec '") + QUILLPOSTD + "'"});
  ASSERT_TRUE(daemon.WaitForError(kStarted));
  daemon.Signal(SIGHUP);
  WireClient client(Endpoint());
  EXPECT_EQ("Success", client.Request("Hello"));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
}

// A copy of each unit, with the program of this build.
TEST(Quillpostd, SystemdFindsNoFaultWithTheUnits) {
  TestRoot root;
  std::vector<std::string> verify = {"/usr/bin/systemd-analyze", "--user", "--man=no", "verify"};
  const std::string bindir = "@BINDIR@";
  for (const auto& entry : fs::directory_iterator(PACKAGING)) {
    const fs::path name = entry.path().filename().stem();  // without ".in"
    if (name.extension() != ".service" && name.extension() != ".path") continue;
    std::string unit = ReadFile(entry.path());
    for (std::size_t at; (at = unit.find(bindir)) != std::string::npos;) {
      unit.replace(at, bindir.size(), PROGRAMS);
    }
    const fs::path copy = root.path() / name;
    WriteFile(copy, unit);
    verify.push_back(copy.string());
  }
  ASSERT_EQ(8u, verify.size()) << "four units";
  const Finished systemd = RunToEnd(verify, {{"XDG_RUNTIME_DIR", root.path().string()}});
  EXPECT_EQ(0, systemd.status);
  EXPECT_EQ("", systemd.error + systemd.output);
}

TEST(Quillpostd, TheLogFileTakesThePlaceOfStandardError) {
  TestRoot root;
  const fs::path file = root.path() / "quillpostd.log";
  Process daemon({QUILLPOSTD, "--log-file", file.string()});
  ASSERT_TRUE(Eventually([&] { return ReadFile(file).find(kStarted) != std::string::npos; }));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_EQ("", daemon.error());
  EXPECT_THAT(ReadFile(file), EndsWith("I Quillpost: Quillpost stopped.\n"));
}

TEST(Quillpostd, ALogFileThatCannotBeOpenedIsExit1WithTheReason) {
  TestRoot root;
  const Finished daemon = RunToEnd({QUILLPOSTD, "--log-file", "/nonexistent/quillpostd.log"});
  EXPECT_EQ(1, daemon.status);
  EXPECT_EQ(
      "quillpostd: the service can't start: can't open the log file "
      "'/nonexistent/quillpostd.log': No such file or directory\n",
      daemon.error);
}

TEST(Quillpostd, ASecondOneOfAUserExitsWith1AndLeavesTheFirstAlone) {
  TestRoot root;
  Process first({QUILLPOSTD});
  ASSERT_TRUE(first.WaitForError(kStarted));
  const Finished second = RunToEnd({QUILLPOSTD});
  EXPECT_EQ(1, second.status);
  EXPECT_THAT(second.error, HasSubstr("E Quillpost: Failed to start IPC Server.\n"));
  EXPECT_THAT(second.error,
              EndsWith("quillpostd: the service did not start; the log above says why\n"));
  EXPECT_TRUE(fs::exists(Endpoint()));
  first.Signal(SIGTERM);
  EXPECT_EQ(0, first.Wait());
}

TEST(Quillpostd, AFailedStartIsOnStandardErrorAlsoWithALogFile) {
  TestRoot root;
  fs::remove(root.path() / "var/tmp");  // where the endpoint would be
  const fs::path file = root.path() / "quillpostd.log";
  const Finished daemon = RunToEnd({QUILLPOSTD, "--log-file", file.string()});
  EXPECT_EQ(1, daemon.status);
  EXPECT_EQ("quillpostd: the service did not start; the log " + file.string() + " says why\n",
            daemon.error);
  EXPECT_THAT(ReadFile(file), HasSubstr("E Quillpost: Failed to start IPC Server.\n"));
}

TEST(Quillpostd, AStoreThatCannotBeReadIsExit1WithTheReason) {
  TestRoot root;
  const fs::path pen = root.storage() / "0123-4567-89AB-CDEF";
  fs::create_directories(pen);
  const std::string info = (pen / "RoutingInfo.txt").string();
  ASSERT_EQ(0, ::symlink(info.c_str(), info.c_str()));  // even root can't follow it
  const Finished daemon = RunToEnd({QUILLPOSTD});
  EXPECT_EQ(1, daemon.status);
  EXPECT_THAT(daemon.error, HasSubstr("quillpostd: the service can't start: "));
  EXPECT_THAT(daemon.error, HasSubstr("Too many levels of symbolic links"));
  EXPECT_FALSE(fs::exists(Endpoint()));
}

TEST(Quillpostd, TellsAServiceManagerThatItIsReadyAndThatItStops) {
  TestRoot names;
  ExpectReadyAndStopping((names.path() / "manager").string());
}

TEST(Quillpostd, TellsAServiceManagerOnAnAbstractSocket) {
  ExpectReadyAndStopping("@quillpostd.test." + std::to_string(::getpid()));
}

TEST(Quillpostd, AServiceManagerThatHasGoneIsAWarning) {
  TestRoot root;
  Process daemon({QUILLPOSTD}, {{"NOTIFY_SOCKET", "/nonexistent/manager"}});
  EXPECT_TRUE(daemon.WaitForError(
      "W Quillpost: Failed to tell the service manager 'ready': No such file or directory.\n"));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
}

// The journal says by JOURNAL_STREAM which stream is its own; here a file plays the journal.
TEST(Quillpostd, LinesForTheJournalBeginWithTheirPriority) {
  TestRoot root;
  const std::string journal = (root.path() / "journal").string();
  const std::string script = "exec 2>'" + journal +
                             "'; export JOURNAL_STREAM=$(stat -Lc %d:%i /proc/self/fd/2); exec '" +
                             QUILLPOSTD + "'";
  Process daemon({"/bin/sh", "-c", script});
  ASSERT_TRUE(Eventually([&] { return ReadFile(journal).find(kStarted) != std::string::npos; }));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
  EXPECT_THAT(ReadFile(journal), StartsWith("<6>"));
  EXPECT_THAT(ReadFile(journal), ContainsRegex("\n<6>[^\n]* I Quillpost: Quillpost stopped."));
}

TEST(Quillpostd, AnotherStreamThanTheJournalGetsPlainLines) {
  TestRoot root;
  Process daemon({QUILLPOSTD}, {{"JOURNAL_STREAM", "1:2"}});
  ASSERT_TRUE(daemon.WaitForError(kStarted));
  EXPECT_THAT(daemon.error(), Not(HasSubstr("<6>")));
}

TEST(Quillpostd, WrongUsageIsExit2WithALineThatSaysWhatIsWrong) {
  const Finished level = RunToEnd({QUILLPOSTD, "--log-level", "5"});
  EXPECT_EQ(2, level.status);
  EXPECT_THAT(level.error, StartsWith("quillpostd: --log-level: \"5\" is not a level: "));
  const Finished unknown = RunToEnd({QUILLPOSTD, "--colour"});
  EXPECT_EQ(2, unknown.status);
  EXPECT_THAT(unknown.error, HasSubstr("--colour"));
  EXPECT_EQ(2, RunToEnd({QUILLPOSTD, "serve"}).status);
  EXPECT_EQ(2, RunToEnd({QUILLPOSTD, "--log-file"}).status);
  EXPECT_EQ(2, RunToEnd({QUILLPOSTD, "--log-file", ""}).status);
}

TEST(Quillpostd, HelpBeginsWithWhatItIsAndExamples) {
  const Finished help = RunToEnd({QUILLPOSTD, "--help"});
  EXPECT_EQ(0, help.status);
  EXPECT_THAT(help.output, StartsWith("Hosts the ink service"));
  const std::size_t examples = help.output.find("Examples:");
  const std::size_t usage = help.output.find("Usage:");
  ASSERT_NE(std::string::npos, examples);
  ASSERT_NE(std::string::npos, usage);
  EXPECT_LT(examples, usage);
  EXPECT_EQ("", help.error);
}

TEST(Quillpostd, VersionIsTheProjects) {
  const Finished version = RunToEnd({QUILLPOSTD, "--version"});
  EXPECT_EQ(0, version.status);
  EXPECT_EQ("quillpostd " QUILLPOST_VERSION "\n", version.output);
}

// Files of the store and of the log are the user's alone, whatever umask the host inherited.
TEST(Quillpostd, WhatItMakesIsTheUsersAlone) {
  TestRoot root;
  const fs::path file = root.path() / "quillpostd.log";
  const mode_t before = ::umask(0);
  Process daemon({QUILLPOSTD, "--log-file", file.string()});
  ::umask(before);
  ASSERT_TRUE(Eventually([&] { return ReadFile(file).find(kStarted) != std::string::npos; }));
  struct stat status;
  ASSERT_EQ(0, ::stat(file.c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 0777u);
  ASSERT_EQ(0, ::stat(Endpoint().c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 0777u);
  const std::string own = ReadFile("/proc/" + std::to_string(daemon.pid()) + "/status");
  EXPECT_THAT(own, HasSubstr("Umask:\t0077\n"));
}

// A disk quota of the shell must not end the service in the middle of its work.
TEST(Quillpostd, AFileSizeLimitDoesNotEndIt) {
  if (kIsThreadSanitized) GTEST_SKIP() << "the sanitizer's runtime needs a file of its own";
  TestRoot root;
  Process daemon({"/bin/sh", "-c", std::string("ulimit -f 0; exec '") + QUILLPOSTD + "'"});
  ASSERT_TRUE(daemon.WaitForError(kStarted)) << daemon.error();
  WriteFile(root.path() / "page.stf2", InkFile().AddStroke("1.2.3.4", 1000).bytes());
  WireClient client(Endpoint());
  client.Request("ImportSTF2File",
                 Params({{"InkPackagePath", (root.path() / "page.stf2").string()}}));
  EXPECT_EQ("Success", client.Request("Hello"));
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
}

TEST(Quillpostd, AClosedStandardErrorIsNotReusedForAFile) {
  TestRoot root;
  Manager manager((root.path() / "manager").string());
  Process daemon({"/bin/sh", "-c", std::string("exec '") + QUILLPOSTD + "' 2>&- >&- <&-"},
                 {{"NOTIFY_SOCKET", (root.path() / "manager").string()}});
  ASSERT_EQ("READY=1", manager.Receive());
  for (const char* fd : {"0", "1", "2"}) {
    EXPECT_EQ("/dev/null", fs::read_symlink("/proc/" + std::to_string(daemon.pid()) + "/fd/" + fd));
  }
  daemon.Signal(SIGTERM);
  EXPECT_EQ(0, daemon.Wait());
}
