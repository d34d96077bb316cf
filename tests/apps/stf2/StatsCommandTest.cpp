#include <gmock/gmock.h>

#include "ToolRun.h"

namespace InkTool {
namespace {

TEST(StatsCommand, StatsAreATableJsonOrCsv) {
  const ToolFolder folder;
  folder.Write(
      "a.inkml",
      "<ink><annotation type='page'>1.2.3.4</annotation><context><traceFormat><channel "
      "name='X' units='mm'/><channel name='Y' units='mm'/><channel name='T'/></traceFormat>"
      "<timestamp time='1700000000000'/></context><trace>0 0 0, 30 40 500</trace>"
      "<trace>0 0 1500, 3 4 1600</trace></ink>");
  EXPECT_EQ(folder.Run({"stats", "-q", "@a.inkml"}).out,
            "@a.inkml:\n"
            "  page     strokes  mm    s  mm/s  pauses  mean s  longest s  force  most\n"
            "  1.2.3.4        2  55  0.6  91.7       1       1          1      -     -\n");
  EXPECT_EQ(folder.Run({"stats", "-q", "--csv", "@a.inkml"}).out,
            "file,page,stroke,start,points,length_mm,duration_ms,speed_mm_s,pause_ms,force_mean,"
            "force_least,force_most\r\n"
            "@a.inkml,1.2.3.4,1,2023-11-14T22:13:20.000Z,2,50,500,100,,,,\r\n"
            "@a.inkml,1.2.3.4,2,2023-11-14T22:13:21.500Z,2,5,100,50,1000,,,\r\n");
  // Strokes without times have pauses that nobody knows.
  folder.Write("b.inkml",
               "<ink><traceFormat><channel name='X' units='mm'/><channel name='Y' "
               "units='mm'/></traceFormat><trace>0 0, 3 4</trace><trace>0 0, 3 "
               "4</trace></ink>");
  EXPECT_EQ(folder.Run({"stats", "-q", "@b.inkml"}).out,
            "@b.inkml:\n"
            "  page    strokes  mm  s  mm/s  pauses  mean s  longest s  force  most\n"
            "  (none)        2  10  -     -       -       -          -      -     -\n");
  const Json::Value json = ParseJson(folder.Run({"stats", "--json", "@a.inkml"}).out);
  EXPECT_EQ(json["pages"][0]["strokes"][1]["pause_ms"].asDouble(), 1000);
  EXPECT_EQ(json["pages"][0]["writing_ms"].asDouble(), 600);
  EXPECT_TRUE(json["pages"][0]["force"].isNull());
}

TEST(StatsCommand, EachPageHasARow) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"stats", "-q", "@letter.inkml"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, testing::HasSubstr("\n  1.2.3.4 "));
  EXPECT_THAT(outcome.out, testing::HasSubstr("\n  1.2.3.5 "));
}

// A comma or quote in a name must not end its cell.
TEST(StatsCommand, NamesInCsvStayInTheirCell) {
  const ToolFolder folder;
  folder.Write("a,\"b\".inkml", "<ink><trace>0 0, 3 4</trace></ink>");
  EXPECT_THAT(folder.Run({"stats", "-q", "--csv", "@a,\"b\".inkml"}).out,
              testing::HasSubstr("a,\"\"b\"\".inkml\","));
}

TEST(StatsCommand, WhatCantBeReadIsAFailureAndTheRestIsTold) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink>");
  const Outcome outcome = folder.Run({"stats", "-q", "@bad.inkml", "@note.inkml"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, testing::StartsWith("@bad.inkml: Failed, "));
  EXPECT_THAT(outcome.out, testing::StartsWith("@note.inkml:\n"));
}

}  // namespace
}  // namespace InkTool
