// The tool is ended while it writes: no file is left behind.

#include "Temporaries.h"

#include <gmock/gmock.h>
#include <signal.h>

#include "Files.h"
#include "ToolRun.h"
#include "support/Process.h"

namespace InkTool {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// Ends with two outputs written and not yet renamed.
[[noreturn]] void EndWhileWriting(const ToolFolder& folder, int signal) {
  RemoveTemporariesOnSignals();
  OutputSet outputs(false);
  outputs.Add(folder.Path("a.stf2"), "a");
  outputs.Add(folder.Path("b.stf2"), "b");
  ::raise(signal);
  ::_exit(1);
}

TEST(TemporariesDeathTest, SignalsThatEndTheToolTakeItsTemporariesAlong) {
  const ToolFolder folder;
  const auto before = folder.Names();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    EXPECT_EXIT(EndWhileWriting(folder, signal), testing::KilledBySignal(signal), "");
    EXPECT_EQ(folder.Names(), before) << signal;
  }
}

TEST(TemporariesDeathTest, WhatIsDoneWholeIsNotInterrupted) {
  const ToolFolder folder;
  const auto rename = [&] {
    RemoveTemporariesOnSignals();
    std::string name = folder.Path(".a.XXXXXX");
    if (MakeTemporary(name) < 0) ::_exit(1);
    const SignalsHeld held;
    ::raise(SIGTERM);
    ::rename(name.c_str(), folder.Path("a.stf2").c_str());
    ForgetTemporary(name);
  };
  EXPECT_EXIT(rename(), testing::KilledBySignal(SIGTERM), "");
  EXPECT_THAT(folder.Names(), Contains("a.stf2"));
}

TEST(TemporariesDeathTest, ASignalThatWasIgnoredStaysIgnored) {
  const auto raise = [] {
    ::signal(SIGHUP, SIG_IGN);
    RemoveTemporariesOnSignals();
    ::raise(SIGHUP);
    ::_exit(7);
  };
  EXPECT_EXIT(raise(), testing::ExitedWithCode(7), "");
}

// The program itself, under a shell's limit of 4 KiB a file.
TEST(Temporaries, AFileBeyondTheLimitIsRefusedAndNotLeftBehind) {
  const ToolFolder folder;
  const auto before = folder.Names();
  const Finished run =
      RunToEnd({"/bin/sh", "-c", "ulimit -f 8; exec \"$0\" convert \"$1\" -o \"$2\"", STF2_PROGRAM,
                folder.Path("letter.inkml"), folder.Path("letter.stf2")});
  EXPECT_EQ(run.status, 1) << run.error;
  EXPECT_THAT(run.error, HasSubstr("letter.stf2: File too large\n"));
  EXPECT_EQ(folder.Names(), before);
}

}  // namespace
}  // namespace InkTool
