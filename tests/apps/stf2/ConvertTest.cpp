#include "ToolRun.h"

#include <gmock/gmock.h>

#include <locale>

namespace InkTool {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

TEST(Convert, ConvertsInkMLToStf2AndSaysSoInOneLine) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"convert", "@letter.inkml", "-o", "@letter.stf2"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "@letter.inkml: Success, @letter.stf2 (2 pages, 117 strokes, 3327 points)\n");
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(folder.Read("letter.stf2").substr(4, 4), "STF2");
}

TEST(Convert, TheWayThereAndBackGivesTheSameFile) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml", "-o", "@a.stf2"});
  folder.Run({"convert", "@a.stf2", "-o", "@b.inkml"});
  EXPECT_EQ(folder.Run({"convert", "@b.inkml", "-o", "@b.stf2"}).status, 0);
  EXPECT_EQ(folder.Read("a.stf2"), folder.Read("b.stf2"));
}

TEST(Convert, WhatIsLostIsSaidOnStandardError) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20 1, 30 40 2</trace></ink>");
  const Outcome outcome = folder.Run({"convert", "@bare.inkml"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err,
            "@bare.inkml: lost or assumed: X and Y without a unit; px taken\n"
            "@bare.inkml: lost or assumed: values without a declared channel dropped: 2\n"
            "@bare.inkml: note: strokes without a time: 1\n"
            "@bare.inkml: note: names no pen; 0000-0000-0000-0000 taken, --pen names another\n"
            "@bare.inkml: note: the service will not store 1 stroke without a page address; "
            "--page names one\n"
            "@bare.inkml: note: the service will not store the ink: it has no time; "
            "--start-time gives one\n");
}

TEST(Convert, StrictRefusesWhatWouldLose) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome outcome = folder.Run({"convert", "--strict", "@bare.inkml"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "@bare.inkml: Failed, --strict: X and Y without a unit; px taken\n");
  EXPECT_THAT(folder.Names(), Not(Contains("bare.stf2")));
  EXPECT_EQ(folder.Run({"convert", "--strict", "@letter.inkml"}).status, 0);
}

TEST(Convert, StrictReadsTheToolsOwnInkML) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  EXPECT_EQ(folder.Run({"convert", "@bare.inkml", "-o", "@bare.stf2"}).status, 0);
  EXPECT_EQ(folder.Run({"convert", "@bare.stf2", "-o", "@own.inkml"}).status, 0);
  const Outcome outcome = folder.Run({"convert", "--strict", "@own.inkml", "-o", "@again.stf2"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.Read("again.stf2"), folder.Read("bare.stf2"));
}

// Alone, the second would be pixels.
TEST(Convert, FilesOfOneRunGetOneUnit) {
  const ToolFolder folder;
  folder.Write("a.inkml", "<ink><trace>0 0, 3 4, 5 0</trace><trace>9 0, 12 4, 15 0</trace></ink>");
  folder.Write("b.inkml", "<ink><trace>0 0, 9 0</trace></ink>");
  EXPECT_THAT(folder.Run({"convert", "-f", "@b.inkml"}).err, HasSubstr("px taken"));
  const Outcome both = folder.Run({"convert", "-f", "@a.inkml", "@b.inkml"});
  EXPECT_THAT(both.err, HasSubstr("@a.inkml: lost or assumed: X and Y without a unit; mm taken"));
  EXPECT_THAT(both.err, HasSubstr("@b.inkml: lost or assumed: X and Y without a unit; mm taken"));
  EXPECT_THAT(folder.Run({"convert", "-f", "--units", "px", "@a.inkml", "@b.inkml"}).err,
              Not(HasSubstr("without a unit")));
}

TEST(Convert, TheLocaleOfTheMachineChangesNothing) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml", "-o", "@classic.stf2"});
  struct Comma : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale old = std::locale::global(std::locale(std::locale(), new Comma));
  folder.Run({"convert", "@letter.inkml", "-o", "@comma.stf2"});
  folder.Run({"convert", "@comma.stf2", "-o", "@comma.inkml"});
  folder.Run({"convert", "@comma.inkml", "-o", "@again.stf2"});
  const Outcome svg = folder.Run({"render", "@comma.stf2", "-o", "@comma.svg"});
  std::locale::global(old);
  EXPECT_EQ(svg.status, 0);
  EXPECT_EQ(folder.Read("classic.stf2"), folder.Read("comma.stf2"));
  EXPECT_EQ(folder.Read("classic.stf2"), folder.Read("again.stf2"));
  folder.Run({"render", "@classic.stf2", "-o", "@classic.svg"});
  EXPECT_EQ(folder.Read("classic.svg"), folder.Read("comma.svg"));
}

}  // namespace
}  // namespace InkTool
