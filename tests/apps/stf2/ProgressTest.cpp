// What somebody at a terminal sees while long work is done.

#include <gmock/gmock.h>
#include <signal.h>

#include "ToolRun.h"
#include "support/Process.h"
#include "support/Terminal.h"

namespace InkTool {
namespace {

using testing::HasSubstr;
using testing::Not;

// A film that would take hours: its progress is seen as soon as it has taken a second.
TEST(Progress, OfLongWorkIsShownOnATerminal) {
  const ToolFolder folder;
  Terminal terminal;
  Process tool({"/bin/sh", "-c",
                std::string("exec '") + STF2_PROGRAM + "' replay '" + folder.Path("letter.inkml") +
                    "' --frames '" + folder.Path("film") + "' --speed 0.04 --fps 60 --dpi 20 2>" +
                    terminal.name()},
               {{"TERM", "xterm"}});
  EXPECT_TRUE(terminal.WaitFor("]  0/1 files  3")) << terminal.Shown();
  EXPECT_TRUE(terminal.WaitFor(" left")) << terminal.Shown();
  tool.Signal(SIGTERM);
  EXPECT_EQ(tool.Wait(), 128 + SIGTERM);
}

TEST(Progress, IsNotShownInAFile) {
  const ToolFolder folder;
  const Finished tool = RunToEnd({STF2_PROGRAM, "replay", folder.Path("note.inkml"), "--frames",
                                  folder.Path("film"), "--dpi", "20", "--speed", "5"},
                                 {{"TERM", "xterm"}});
  EXPECT_EQ(tool.status, 0);
  EXPECT_THAT(tool.error, Not(HasSubstr("files")));
}

}  // namespace
}  // namespace InkTool
