#include "ToolRun.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "ink/FailingXmlMemory.h"

namespace InkTool {
namespace {

using testing::HasSubstr;

TEST(Info, InfoTellsInLinesOrInJson) {
  const ToolFolder folder;
  folder.Run({"convert", "@note.inkml"});
  const std::string text = folder.Run({"info", "@note.stf2"}).out;
  EXPECT_THAT(text, HasSubstr("@note.stf2: STF2, "));
  EXPECT_THAT(text, HasSubstr("  pen         0123-4567-89AB-CDEF\n"));
  EXPECT_THAT(text, HasSubstr("  pages       '1.2.7.1', 39 strokes\n"));
  EXPECT_THAT(text, HasSubstr("  time        2026-01-01T10:00:00.000Z to 2026-01-01T10:00:"));
  const Json::Value json = ParseJson(folder.Run({"info", "--json", "@note.stf2"}).out);
  EXPECT_EQ(json["format"].asString(), "STF2");
  EXPECT_EQ(json["strokes"].asUInt(), 39u);
  EXPECT_EQ(json["coordinates"].asUInt() + 2 * 39, json["samples"].asUInt());
  EXPECT_EQ(json["bytes"].asUInt64(), folder.Read("note.stf2").size());
}

TEST(Info, InfoInJsonNamesAFileAsItIs) {
  const ToolFolder folder;
  folder.Write("two\nlines.inkml", folder.Read("note.inkml"));
  const std::string line = folder.Run({"info", "--json", "@two\nlines.inkml"}).out;
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
  EXPECT_THAT(line, HasSubstr("\"file\":\"@two\\nlines.inkml\""));
}

TEST(Info, InfoTellsWhatReadingLost) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome lines = folder.Run({"info", "@bare.inkml"});
  EXPECT_THAT(lines.out, HasSubstr("  lost        X and Y without a unit; px taken\n"));
  EXPECT_THAT(lines.out, HasSubstr("  note        strokes without a time: 1\n"));
  EXPECT_EQ(lines.err, "");
  const Json::Value json = ParseJson(folder.Run({"info", "--json", "@bare.inkml"}).out);
  EXPECT_EQ(json["lost"][0].asString(), "X and Y without a unit; px taken");
  EXPECT_EQ(json["notes"][0].asString(), "strokes without a time: 1");
}

TEST(Info, InfoInJsonTellsFailuresInJson) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink");
  const Outcome outcome = folder.Run({"info", "--json", "@bad.inkml"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  const Json::Value json = ParseJson(outcome.out);
  EXPECT_THAT(json["failed"].asString(), HasSubstr("not well-formed XML"));
  EXPECT_THAT(json["file"].asString(), HasSubstr("bad.inkml"));
}

TEST(Info, MemoryThatRunsOutIsToldAsSuch) {
  const ToolFolder folder;
  const FailingXmlMemory memory(1);
  const Outcome outcome = folder.Run({"info", "@note.inkml"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "@note.inkml: Failed, out of memory\n");
}

}  // namespace
}  // namespace InkTool
