#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <algorithm>
#include <boost/filesystem.hpp>

#include "Json.h"
#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Machine.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A service that holds ink of the pages 1.2.3.4 and 1.2.3.5 for the application Notes.
class Listen : public testing::Test {
 protected:
  Listen() { root_.Subscribe("Notes", "1.2.3.*"); }

  void ImportTwoPages() {
    const std::string file = (root_.path() / "ink.stf2").string();
    WriteFile(file, InkFile().AddStroke("1.2.3.4", 1000).AddStroke("1.2.3.5", 2000).bytes());
    ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", file}).status);
  }

  static Finished Call(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {QUILLPOST, "listen", "Notes"});
    return RunToEnd(arguments);
  }

  // Runs the program by the shell, followed by `more` of a command line.
  static Finished CallInShell(const std::string& arguments) {
    return RunToEnd(
        {"/bin/sh", "-c", std::string("'") + QUILLPOST + "' listen Notes " + arguments});
  }

  // The stroke files of the test's pen, in the order in which they are offered.
  std::vector<fs::path> StrokeFiles() const {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(root_.storage())) {
      if (entry.path().extension() == ".stf2") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
  }

  // Strokes that the application claims, has received and has accepted.
  static std::vector<unsigned> Marks() {
    const Json::Value status = ParseJson(RunToEnd({QUILLPOST, "status", "--json"}).output);
    for (const Json::Value& application : status["applications"]) {
      if (application["application"] == "Notes") {
        return {application["claimed"].asUInt(), application["delivered"].asUInt(),
                application["processed"].asUInt()};
      }
    }
    return {};
  }

  bool IsScratchEmpty() const {
    return !fs::exists(root_.scratch()) || fs::is_empty(root_.scratch());
  }

  TestRoot root_;
  Daemon daemon_{QUILLPOSTD};
};

}  // namespace

TEST_F(Listen, PrintsAndConfirmsEachPackage) {
  ImportTwoPages();
  const Finished listen = Call({"--count", "2"});
  EXPECT_EQ(0, listen.status) << listen.error;
  const std::string scratch = (root_.scratch() / "").string();
  EXPECT_THAT(listen.output,
              StartsWith("STF2 from pen 0123-4567-89AB-CDEF, page 1.2.3.4: " + scratch));
  EXPECT_THAT(listen.output,
              HasSubstr("\nSTF2 from pen 0123-4567-89AB-CDEF, page 1.2.3.5: " + scratch));
  EXPECT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' disconnected."));
  EXPECT_FALSE(fs::exists(root_.storage() / kTestPenSerial)) << "accepted ink leaves the store";
  EXPECT_TRUE(IsScratchEmpty());
  EXPECT_EQ(0, daemon_.Stop());
  EXPECT_FALSE(daemon_.HasLogged("W Quillpost: Client 'Notes' crashed."));
}

TEST_F(Listen, EndsAfterTheCountWithTheRestUntouched) {
  ImportTwoPages();
  ASSERT_EQ(0, Call({"--count", "1"}).status);
  EXPECT_THAT(Marks(), ElementsAre(2, 1, 1)) << "the last confirmation has been carried out";
  EXPECT_TRUE(IsScratchEmpty()) << "the package that was offered meanwhile is gone";
  const Finished rest = Call({"--count", "1"});
  EXPECT_THAT(rest.output, HasSubstr("page 1.2.3.5"));
}

TEST_F(Listen, SavesACopyOfEachPackage) {
  ImportTwoPages();
  const fs::path directory = root_.path() / "saved";
  ASSERT_EQ(0, Call({"--count", "2", "--save", directory.string()}).status);
  EXPECT_THAT(StrokesOf(ReadFile(directory / "0123-4567-89AB-CDEF_1.2.3.4.stf2")),
              ElementsAre(StrokeInInk{"1.2.3.4", 1000}));
  EXPECT_THAT(StrokesOf(ReadFile(directory / "0123-4567-89AB-CDEF_1.2.3.5.stf2")),
              ElementsAre(StrokeInInk{"1.2.3.5", 2000}));
}

// Ink that could not be kept must not be confirmed: the service would remove it.
TEST_F(Listen, APackageThatCannotBeSavedIsNotConfirmed) {
  ImportTwoPages();
  WriteFile(root_.path() / "file", "not a directory");
  const Finished listen = Call({"--count", "1", "--save", (root_.path() / "file").string()});
  EXPECT_EQ(1, listen.status);
  EXPECT_THAT(listen.error, HasSubstr("quillpost: can't save into '"));
  EXPECT_TRUE(daemon_.WaitForLog("W Quillpost: Client 'Notes' crashed."));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
  EXPECT_TRUE(IsScratchEmpty());
}

TEST_F(Listen, AFileSizeLimitIsAFailedCopyAndNotTheEnd) {
  if (kIsThreadSanitized) GTEST_SKIP() << "the sanitizer's runtime needs a file of its own";
  ImportTwoPages();
  const Finished listen = RunToEnd({"/bin/sh", "-c",
                                    std::string("ulimit -f 0; exec '") + QUILLPOST +
                                        "' listen Notes --save '" + root_.path().string() + "'"});
  EXPECT_EQ(1, listen.status);
  EXPECT_THAT(listen.error, HasSubstr(": File too large\n"));
  EXPECT_TRUE(daemon_.WaitForLog("W Quillpost: Client 'Notes' crashed."));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
}

TEST_F(Listen, ARejectedPackageIsOfferedAgain) {
  ImportTwoPages();
  const Finished rejected = Call({"--reject"});
  EXPECT_EQ(0, rejected.status);
  EXPECT_THAT(rejected.output, HasSubstr("page 1.2.3.4: "));
  EXPECT_THAT(rejected.output, testing::EndsWith(", rejected\n"));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
  EXPECT_THAT(Call({"--count", "1"}).output, HasSubstr("page 1.2.3.4: "));
}

TEST_F(Listen, AnIgnoredPageIsDeliveredButNotProcessed) {
  ImportTwoPages();
  const Finished listen = Call({"--count", "1", "--ignore", "1.2.3.4", "--ignore", "9.9.9.9"});
  EXPECT_EQ(0, listen.status);
  EXPECT_THAT(listen.output, testing::EndsWith(", accepted (ignored)\n"));
  EXPECT_THAT(Marks(), ElementsAre(2, 1, 0));
}

TEST_F(Listen, EndsWhenNothingComes) {
  const Finished listen = Call({"--idle", "0.01"});
  EXPECT_EQ(0, listen.status);
  EXPECT_EQ("", listen.output);
  EXPECT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' disconnected."));
}

TEST_F(Listen, PrintsOneJsonDocumentALine) {
  ImportTwoPages();
  const Finished listen =
      Call({"--json", "--count", "1", "--save", (root_.path() / "saved").string()});
  ASSERT_EQ(1, std::count(listen.output.begin(), listen.output.end(), '\n'));
  const Json::Value package = ParseJson(listen.output);
  EXPECT_EQ("STF2", package["type"].asString());
  EXPECT_EQ(kTestPenSerial, package["pen"].asString());
  EXPECT_EQ("1.2.3.4", package["pages"][0].asString());
  EXPECT_EQ(root_.scratch(), fs::path(package["path"].asString()).parent_path());
  EXPECT_EQ("accepted", package["answer"].asString());
  EXPECT_TRUE(fs::exists(package["saved"].asString()));
}

TEST_F(Listen, AnApplicationWithoutSubscriptionIsRefused) {
  const Finished listen = RunToEnd({QUILLPOST, "listen", "Other"});
  EXPECT_EQ(1, listen.status);
  EXPECT_EQ(
      "quillpost: the application 'Other' has no subscription; add one with quillpost "
      "subscriptions add\n",
      listen.error);
}

TEST_F(Listen, ASecondListenerOfAnApplicationIsRefused) {
  Process first({QUILLPOST, "listen", "Notes"});
  ASSERT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' connected."));
  const Finished second = Call({});
  EXPECT_EQ(1, second.status);
  EXPECT_EQ("quillpost: another program is receiving the ink of the application 'Notes'\n",
            second.error);
  first.Signal(SIGTERM);
  EXPECT_EQ(0, first.Wait());
}

TEST_F(Listen, CtrlCEndsItInOrder) {
  Process listen({QUILLPOST, "listen", "Notes"});
  ASSERT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' connected."));
  ImportTwoPages();
  ASSERT_TRUE(listen.WaitForOutput("page 1.2.3.5"));
  listen.Signal(SIGINT);
  EXPECT_EQ(0, listen.Wait());
  EXPECT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' disconnected."));
  EXPECT_FALSE(fs::exists(root_.storage() / kTestPenSerial));
}

TEST_F(Listen, TheEndOfTheServiceIsExit3) {
  Process listen({QUILLPOST, "listen", "Notes"});
  ASSERT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' connected."));
  EXPECT_EQ(0, daemon_.Stop());
  EXPECT_EQ(3, listen.Wait());
  EXPECT_THAT(listen.error(), HasSubstr("the service ended the connection"));
}

TEST_F(Listen, SaysThatItKeepsNothing) {
  const std::string note =
      "quillpost: note: packages are confirmed and not kept; --save keeps them, --peek only shows "
      "them\n";
  EXPECT_EQ(note, Call({"--idle", "0.01"}).error);
  EXPECT_EQ("", Call({"--idle", "0.01", "--peek"}).error);
  EXPECT_EQ("", Call({"--idle", "0.01", "--exec", "true"}).error);
  EXPECT_EQ("", Call({"--idle", "0.01", "--save", root_.path().string()}).error);
}

// It took two: the second was confirmed before anybody saw that the reader had gone.
TEST_F(Listen, AReaderThatTakesOneLineTakesOnePackage) {
  ImportTwoPages();
  const Finished pipe = CallInShell("2>/dev/null | head -1");
  EXPECT_EQ(1, std::count(pipe.output.begin(), pipe.output.end(), '\n'));
  EXPECT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' disconnected."));
  EXPECT_THAT(Marks(), ElementsAre(2, 1, 1));
}

TEST_F(Listen, WithoutAReaderNothingIsConfirmed) {
  ImportTwoPages();
  const Finished pipe = CallInShell("--save '" + (root_.path() / "saved").string() + "' | true");
  EXPECT_EQ("", pipe.error) << "a reader that has gone is no failure";
  EXPECT_TRUE(daemon_.WaitForLog("I Quillpost: Client 'Notes' disconnected."));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
}

TEST_F(Listen, WhatCannotBePrintedIsNotConfirmed) {
  ImportTwoPages();
  const Finished listen = CallInShell("--count 1 >/dev/full");
  EXPECT_EQ(1, listen.status);
  EXPECT_THAT(listen.error, HasSubstr("quillpost: can't write to standard output\n"));
  EXPECT_TRUE(daemon_.WaitForLog("W Quillpost: Client 'Notes' crashed."));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
}

TEST_F(Listen, PeekingShowsInkAndLeavesIt) {
  ImportTwoPages();
  const Finished peek = Call({"--peek", "--count", "1"});
  EXPECT_EQ(0, peek.status);
  EXPECT_THAT(peek.output, HasSubstr("page 1.2.3.4: "));
  EXPECT_THAT(peek.output, testing::EndsWith(", not confirmed\n"));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
  EXPECT_TRUE(IsScratchEmpty());
  EXPECT_EQ(peek.output.substr(0, 50), Call({"--count", "1"}).output.substr(0, 50));
}

TEST_F(Listen, ACommandThatSucceedsConfirms) {
  ImportTwoPages();
  const std::string seen = (root_.path() / "seen").string();
  const Finished listen =
      Call({"--count", "1", "--exec",
            "cmp \"$QUILLPOST_PATH\" \"$QUILLPOST_SAVED\" && echo $QUILLPOST_PEN $QUILLPOST_PAGE "
            "$QUILLPOST_TYPE >'" +
                seen + "'",
            "--save", (root_.path() / "saved").string()});
  EXPECT_EQ(0, listen.status) << listen.error;
  EXPECT_EQ("0123-4567-89AB-CDEF 1.2.3.4 STF2\n", ReadFile(seen));
  EXPECT_THAT(listen.output, HasSubstr(", accepted\n"));
  EXPECT_THAT(Marks(), ElementsAre(2, 1, 1));
}

TEST_F(Listen, ACommandThatFailsLeavesThePackageUnconfirmed) {
  ImportTwoPages();
  const Finished listen = Call({"--exec", "exit 7"});
  EXPECT_EQ(1, listen.status);
  EXPECT_EQ("", listen.output);
  EXPECT_THAT(listen.error, HasSubstr("quillpost: the command ended with status 7: the package "));
  EXPECT_TRUE(daemon_.WaitForLog("W Quillpost: Client 'Notes' crashed."));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
}

TEST_F(Listen, ACommandThatIsRunningIsWaitedFor) {
  ImportTwoPages();
  const std::string gate = (root_.path() / "gate").string();
  ASSERT_EQ(0, ::mkfifo(gate.c_str(), 0600));
  Process listen(
      {QUILLPOST, "listen", "Notes", "--exec", "echo begun; read line <'" + gate + "'; :"});
  ASSERT_TRUE(listen.WaitForOutput("begun\n"));
  listen.Signal(SIGTERM);
  // The command goes on once the signal was taken.
  ASSERT_TRUE(Eventually([&] {
    const std::string status = ReadFile("/proc/" + std::to_string(listen.pid()) + "/status");
    return status.find("\nShdPnd:\t0000000000000000\n") != std::string::npos;
  }));
  WriteFile(gate, "go on\n");
  EXPECT_EQ(0, listen.Wait());
  EXPECT_THAT(listen.output(), HasSubstr("page 1.2.3.4: "));
  EXPECT_THAT(Marks(), ElementsAre(2, 1, 1));
}

// An application that confirmed it would have nothing, and the store neither.
TEST_F(Listen, APackageThatIsNotInkStaysInTheStoreAndOtherPensGoOn) {
  const std::string file = (root_.path() / "ink.stf2").string();
  for (const std::uint64_t pen : {1, 2, 3}) {
    WriteFile(file, InkFile(pen).AddStroke("1.2.3.4", 1000).bytes());
    ASSERT_EQ(0, RunToEnd({QUILLPOST, "import", file}).status);
  }
  const std::vector<fs::path> strokes = StrokeFiles();
  ASSERT_EQ(3u, strokes.size());
  WriteFile(strokes[0], "");
  WriteFile(strokes[1], "neither ink");
  const Finished listen = Call({"--idle", "0.3"});
  EXPECT_EQ(1, listen.status);
  EXPECT_THAT(listen.output, StartsWith("STF2 from pen 0000-0000-0000-0003, "));
  EXPECT_THAT(listen.error, HasSubstr("quillpost: a package of pen 0000-0000-0000-0001, "));
  EXPECT_THAT(
      listen.error,
      HasSubstr(": the file is empty; it stays in the store, and that pen's ink behind it\n"));
  EXPECT_THAT(listen.error, HasSubstr("quillpost: a package of pen 0000-0000-0000-0002, "));
  EXPECT_THAT(listen.error, HasSubstr(": the file is not ink in STF2; "));
  EXPECT_THAT(Marks(), ElementsAre(2, 0, 0));
}
