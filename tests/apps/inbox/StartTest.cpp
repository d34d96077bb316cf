// How the inbox starts, is found and ends.

#include <gmock/gmock.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <boost/filesystem/operations.hpp>

#include "InboxProgram.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

namespace fs = boost::filesystem;

namespace {

fs::path Folder(const TestRoot& root) {
  return root.home() / ".local/share/quillpost";
}

Finished RunInbox(const std::vector<std::string>& arguments, Process::Environment changes = {}) {
  std::vector<std::string> command = {QUILLPOST_INBOX};
  command.insert(command.end(), arguments.begin(), arguments.end());
  changes.emplace("XDG_DATA_HOME", "");
  return RunToEnd(command, changes);
}

// Something in the place of xdg-open that writes down what it is to show.
class FakeDesktop {
 public:
  explicit FakeDesktop(const TestRoot& root) : shown_(root.path() / "shown") {
    const fs::path program = root.path() / "bin/xdg-open";
    WriteFile(program, "#!/bin/sh\necho \"$1\" >\"" + shown_.string() + ".part\"\nmv \"" +
                           shown_.string() + ".part\" \"" + shown_.string() + "\"\n");
    ::chmod(program.c_str(), 0755);
    path_ = program.parent_path().string() + ":/usr/bin:/bin";
  }

  Process::Environment environment() const { return {{"PATH", path_}, {"XDG_DATA_HOME", ""}}; }
  std::string WaitForShown() const {
    Eventually([this] { return fs::exists(shown_); });
    return ReadFile(shown_);
  }

 private:
  const fs::path shown_;
  std::string path_;
};

}  // namespace

TEST(InboxStart, PrintsTheAddressThatOpensItAlone) {
  TestRoot root;
  InboxProgram inbox;
  EXPECT_THAT(inbox.process().output(),
              MatchesRegex("http://127\\.0\\.0\\.1:[0-9]+/open\\?token=[0-9a-f]{64}\n"));
  EXPECT_EQ(inbox.Stop(), 0);
  EXPECT_FALSE(fs::exists(Folder(root) / "inbox.address"));
}

TEST(InboxStart, AnswersOnBothLoopbackAddresses) {
  TestRoot root;
  InboxProgram inbox;
  HttpHeaders headers = inbox.Ours();
  EXPECT_EQ(HttpPeer(inbox.port()).Ask("GET", "/api/status", headers).status, 200);
  headers["Host"] = "[::1]:" + std::to_string(inbox.port());
  EXPECT_EQ(HttpPeer(inbox.port(), true).Ask("GET", "/api/status", headers).status, 200);
}

TEST(InboxStart, AllItWritesIsItsOwnersAlone) {
  TestRoot root;
  InboxProgram inbox;
  inbox.Ours();
  struct stat status;
  ASSERT_EQ(::stat(Folder(root).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  for (const auto& entry : fs::directory_iterator(Folder(root))) {
    ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 077, 0u) << entry.path();
  }
}

TEST(InboxStart, ASecondOneShowsTheFirst) {
  TestRoot root;
  InboxProgram inbox;
  const Finished second = RunInbox({});
  EXPECT_EQ(second.status, 0);
  EXPECT_EQ(second.output, inbox.address() + "\n");
  EXPECT_EQ(inbox.Get("/api/status").status, 200);
}

TEST(InboxStart, OpenShowsTheAddressInTheBrowser) {
  TestRoot root;
  FakeDesktop desktop(root);
  InboxProgram inbox({"--open"}, desktop.environment());
  EXPECT_EQ(desktop.WaitForShown(), inbox.address() + "\n");
}

TEST(InboxStart, OpenOfARunningOneShowsItsNewestAddress) {
  TestRoot root;
  FakeDesktop desktop(root);
  InboxProgram inbox;
  inbox.Ours();  // its first address has been used
  const Finished open = RunInbox({"--open"}, desktop.environment());
  EXPECT_EQ(open.status, 0);
  EXPECT_EQ(desktop.WaitForShown(), open.output);
  EXPECT_NE(open.output, inbox.address() + "\n");
}

TEST(InboxStart, ShowPutsFilesInAndOpensIt) {
  TestRoot root;
  FakeDesktop desktop(root);
  InboxProgram inbox;
  WriteFile(root.path() / "letter.stf2", InkFile().AddStroke("1.2.3.4", 5000).bytes());
  WriteFile(root.path() / "bad", "no ink");
  const Finished show =
      RunInbox({"show", (root.path() / "letter.stf2").string(), (root.path() / "bad").string()},
               desktop.environment());
  EXPECT_EQ(show.status, 1);
  EXPECT_THAT(show.error, HasSubstr("bad: neither STF2"));
  EXPECT_THAT(desktop.WaitForShown(), EndsWith("#/page/1?refused=1\n")) << "the one page of ink";
  EXPECT_EQ(inbox.Pages()[0]["address"].asString(), "1.2.3.4");
}

// What the menu of applications starts.
TEST(InboxStart, ShowWithoutFilesOpensIt) {
  TestRoot root;
  FakeDesktop desktop(root);
  InboxProgram inbox({"show"}, desktop.environment());
  EXPECT_EQ(desktop.WaitForShown(), inbox.address() + "\n");
}

TEST(InboxStart, QuitEndsTheOneThatRuns) {
  TestRoot root;
  InboxProgram inbox;
  EXPECT_EQ(inbox.Get("/api/status").status, 200);
  EXPECT_EQ(RunInbox({"--quit"}).status, 0);
  EXPECT_EQ(inbox.process().Wait(), 0);
  const Finished again = RunInbox({"--quit"});
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.error, "quillpost-inbox: no inbox runs\n");
}

TEST(InboxStart, ARunningOneCantChangeItsPortOrStream) {
  TestRoot root;
  InboxProgram inbox;
  const Finished port = RunInbox({"--port", "50000"});
  EXPECT_EQ(port.status, 1);
  EXPECT_THAT(port.error, HasSubstr("'quillpost-inbox --quit' ends it"));
  const Finished stream = RunInbox({"--from", "nats://127.0.0.1:1", "--consumer", "library"});
  EXPECT_EQ(stream.status, 1);
  EXPECT_THAT(stream.error, HasSubstr("'quillpost-inbox --quit' ends it"));
}

TEST(InboxStart, WhatIsSaidOfAStreamNeedsOne) {
  TestRoot root;
  const std::string file = (root.path() / "login").string();
  WriteFile(file, "ada:secret");
  for (const std::vector<std::string>& options :
       {std::vector<std::string>{"--login", file}, {"--stream", "INK"}, {"--tls-ca", file}}) {
    const Finished run = RunInbox(options);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.error, HasSubstr("requires --from")) << options[0];
  }
}

TEST(InboxStart, WithoutABrowserTheAddressIsThereAllTheSame) {
  TestRoot root;
  InboxProgram inbox;
  fs::create_directories(root.path() / "bin");
  fs::create_symlink("/bin/sh", root.path() / "bin/sh");
  const Finished open = RunInbox({"--open"}, {{"PATH", (root.path() / "bin").string()}});
  EXPECT_EQ(open.status, 1);
  EXPECT_EQ(open.output, inbox.address() + "\n");
  EXPECT_THAT(open.error, HasSubstr("there is no xdg-open"));
}

TEST(InboxStart, KeepsItsPortAndItsBrowsersOverARestart) {
  TestRoot root;
  auto inbox = std::make_unique<InboxProgram>();
  const HttpHeaders headers = inbox->Ours();
  const unsigned short port = inbox->port();
  EXPECT_EQ(inbox->Stop(), 0);
  inbox = std::make_unique<InboxProgram>();
  EXPECT_EQ(inbox->port(), port);
  EXPECT_EQ(HttpPeer(port).Ask("GET", "/api/status", headers).status, 200);
}

TEST(InboxStart, TakesAnotherPortIfItsOwnIsTaken) {
  TestRoot root;
  auto first = std::make_unique<InboxProgram>();
  const std::string port = std::to_string(first->port());
  first.reset();
  TestRoot other;
  InboxProgram stranger({"--port", port});
  ::setenv("QUILLPOST_ROOT", root.path().c_str(), 1);
  InboxProgram second;
  EXPECT_NE(second.port(), stranger.port());
  EXPECT_EQ(second.Get("/api/status").status, 200);
}

TEST(InboxStart, RefusesAPortThatIsTakenIfItIsAskedForIt) {
  TestRoot root;
  InboxProgram inbox;
  TestRoot other;
  const Finished second = RunInbox({"--port", std::to_string(inbox.port())});
  EXPECT_EQ(second.status, 1);
  EXPECT_THAT(second.error, HasSubstr("Address already in use"));
}

TEST(InboxStart, IsThereAgainAfterAKill) {
  TestRoot root;
  auto inbox = std::make_unique<InboxProgram>();
  inbox->process().Signal(SIGKILL);
  inbox->process().Wait();
  WriteFile(Folder(root) / "import-abcdef", "left behind");
  inbox = std::make_unique<InboxProgram>();
  EXPECT_EQ(inbox->Get("/api/status").status, 200);
  EXPECT_FALSE(fs::exists(Folder(root) / "import-abcdef"));
}

// By an inbox that runs until it has answered somebody.
void MakeDatabase() {
  InboxProgram inbox(std::vector<std::string>{});
  EXPECT_EQ(inbox.Get("/api/status").status, 200);
  EXPECT_EQ(inbox.Stop(), 0);
}

TEST(InboxStart, RefusesADamagedDatabaseAndLeavesItAlone) {
  TestRoot root;
  MakeDatabase();
  const std::string file = (Folder(root) / "inbox.db").string();
  std::string bytes = ReadFile(file);
  bytes.replace(2 * 4096, 8192, std::string(8192, '\xA5'));
  WriteFile(file, bytes);
  const Finished refused = RunInbox({});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.error, HasSubstr("damaged"));
  EXPECT_EQ(ReadFile(file), bytes);
}

TEST(InboxStart, RefusesANewerDatabase) {
  TestRoot root;
  MakeDatabase();
  sqlite3* database = nullptr;
  ASSERT_EQ(::sqlite3_open((Folder(root) / "inbox.db").c_str(), &database), SQLITE_OK);
  ::sqlite3_exec(database, "PRAGMA user_version = 1000", nullptr, nullptr, nullptr);
  ::sqlite3_close(database);
  const Finished refused = RunInbox({});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.error, HasSubstr("newer quillpost-inbox"));
}

TEST(InboxStart, WrongUsageIsSaid) {
  TestRoot root;
  EXPECT_EQ(RunInbox({"--prot", "1"}).status, 2);
  EXPECT_THAT(RunInbox({"--prot", "1"}).error, HasSubstr("--port"));
  EXPECT_EQ(RunInbox({"import"}).status, 2);
  EXPECT_EQ(RunInbox({"--port", "70000"}).status, 2);
  EXPECT_EQ(RunInbox({"--help"}).status, 0);
  EXPECT_EQ(RunInbox({"--version"}).output, "quillpost-inbox " VERSION "\n");
}
