#include "CommandLine.h"

#include <gmock/gmock.h>
#include <json/json.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>

#include "Temporaries.h"
#include "ToolRun.h"
#include "ink/Stf2File.h"

namespace InkTool {
namespace {

using TalvoInk::PagesOf;
using TalvoInk::ReadStf2;

using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Json::Value ParseJson(const std::string& text) {
  Json::Value value;
  std::istringstream stream(text);
  stream >> value;
  return value;
}

TEST(CommandLine, ConvertsInkMLToStf2AndSaysSoInOneLine) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"convert", "@letter.inkml", "-o", "@letter.stf2"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "@letter.inkml: Success, @letter.stf2 (2 pages, 117 strokes, 3327 points)\n");
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(folder.Read("letter.stf2").substr(4, 4), "STF2");
}

TEST(CommandLine, TheWayThereAndBackGivesTheSameFile) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml", "-o", "@a.stf2"});
  folder.Run({"convert", "@a.stf2", "-o", "@b.inkml"});
  EXPECT_EQ(folder.Run({"convert", "@b.inkml", "-o", "@b.stf2"}).status, 0);
  EXPECT_EQ(folder.Read("a.stf2"), folder.Read("b.stf2"));
}

TEST(CommandLine, WithoutAnOutputTheFileStandsBesideTheInput) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  EXPECT_THAT(folder.Names(), Contains("letter.stf2"));
}

TEST(CommandLine, ManyFilesGoIntoAFolderWithALineEach) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"convert", "@letter.inkml", "@note.inkml", "-o", "@out/"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, HasSubstr("@letter.inkml: Success, @out/letter.stf2 "));
  EXPECT_THAT(outcome.out, HasSubstr("@note.inkml: Success, @out/note.stf2 "));
}

TEST(CommandLine, PatternsStandForTheFilesThatMatch) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "@*.inkml", "-o", "@out/"}).status, 0);
  EXPECT_THAT(folder.Names(), Contains("out/letter.stf2"));
  EXPECT_THAT(folder.Names(), Contains("out/note.stf2"));
  const Outcome none = folder.Run({"convert", "@*.nothing"});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "@*.nothing: Failed, can't open: No such file or directory\n");
}

TEST(CommandLine, OneBadFileDoesNotStopTheOthers) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink>\n<trace>1 2 x</trace></ink>");
  const Outcome outcome =
      folder.Run({"convert", "@bad.inkml", "@nothing.inkml", "@note.inkml", "-o", "@out/"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err,
              StartsWith("@bad.inkml: Failed, line 2, column 12: not a value of a trace\n"
                         "@nothing.inkml: Failed, can't open: No such file or directory\n"));
  EXPECT_THAT(outcome.out, StartsWith("@note.inkml: Success, "));
}

TEST(CommandLine, AFailureLeavesNoFileBehind) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink><trace>1 2 x</trace></ink>");
  const auto before = folder.Names();
  folder.Run({"convert", "@bad.inkml", "-o", "@bad.stf2"});
  folder.Run({"render", "@bad.inkml", "-o", "@bad.png"});
  folder.Run({"split", "@bad.inkml"});
  folder.Run({"merge", "@bad.inkml", "-o", "@bad.stf2"});
  EXPECT_EQ(folder.Names(), before);
}

TEST(CommandLine, NothingIsReplacedWithoutForce) {
  const ToolFolder folder;
  folder.Write("there.stf2", "mine");
  const auto before = folder.Names();
  const Outcome refused = folder.Run({"convert", "@note.inkml", "-o", "@there.stf2"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.err,
            "@note.inkml: Failed, @there.stf2 is there already; --force replaces it\n");
  EXPECT_EQ(folder.Read("there.stf2"), "mine");
  EXPECT_EQ(folder.Names(), before);
  EXPECT_EQ(folder.Run({"convert", "@note.inkml", "-o", "@there.stf2", "--force"}).status, 0);
  EXPECT_NE(folder.Read("there.stf2"), "mine");
}

TEST(CommandLine, OneCallNeverWritesAFileTwice) {
  const ToolFolder folder;
  folder.Write("sub/note.inkml", folder.Read("note.inkml"));
  const Outcome outcome =
      folder.Run({"convert", "--force", "@note.inkml", "@sub/note.inkml", "-o", "@out/"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "@sub/note.inkml: Failed, another file of this call has been written to "
            "@out/note.stf2\n");
}

TEST(CommandLine, AnOutputInNoFolderIsRefusedWithTheSystemsReason) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"convert", "@note.inkml", "-o", "@gone/note.stf2"}).err,
            "@note.inkml: Failed, can't write @gone/note.stf2: No such file or directory\n");
}

TEST(CommandLine, FoldersAndDevicesAreNeitherReadNorReplaced) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"info", "/dev/zero"}).err,
            "/dev/zero: Failed, can't open: neither a regular file nor a pipe\n");
  EXPECT_EQ(folder.Run({"convert", "@note.inkml", "--to", "stf2", "-f", "-o", "/dev/null"}).err,
            "@note.inkml: Failed, can't write /dev/null: not a regular file\n");
}

// A full disk, as far as one process can have one: no file may grow beyond a limit.
TEST(CommandLine, ADiskThatIsFullLeavesNoFileBehind) {
  const ToolFolder folder;
  const auto before = folder.Names();
  struct rlimit old;
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
  RemoveTemporariesOnSignals();
  const struct rlimit small = {4096, old.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  const Outcome outcome = folder.Run({"convert", "@letter.inkml", "-o", "@letter.stf2"});
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &old), 0);
  EXPECT_EQ(outcome.err, "@letter.inkml: Failed, can't write @letter.stf2: File too large\n");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(folder.Names(), before);
}

TEST(CommandLine, NewFilesHaveTheUsersUsualMode) {
  const ToolFolder folder;
  const mode_t old = ::umask(027);
  folder.Run({"convert", "@note.inkml"});
  ::umask(old);
  struct stat status;
  ASSERT_EQ(::stat(folder.Path("note.stf2").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u);
}

TEST(CommandLine, WhatIsLostIsSaidOnStandardError) {
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

TEST(CommandLine, StrictRefusesWhatWouldLose) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome outcome = folder.Run({"convert", "--strict", "@bare.inkml"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "@bare.inkml: Failed, --strict: X and Y without a unit; px taken\n");
  EXPECT_THAT(folder.Names(), Not(Contains("bare.stf2")));
  EXPECT_EQ(folder.Run({"convert", "--strict", "@letter.inkml"}).status, 0);
}

TEST(CommandLine, StrictReadsTheToolsOwnInkML) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  EXPECT_EQ(folder.Run({"convert", "@bare.inkml", "-o", "@bare.stf2"}).status, 0);
  EXPECT_EQ(folder.Run({"convert", "@bare.stf2", "-o", "@own.inkml"}).status, 0);
  const Outcome outcome = folder.Run({"convert", "--strict", "@own.inkml", "-o", "@again.stf2"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(folder.Read("again.stf2"), folder.Read("bare.stf2"));
}

// Alone, the second would be pixels.
TEST(CommandLine, FilesOfOneRunGetOneUnit) {
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

TEST(CommandLine, PenPageAndStartTimeMakeBareInkStorable) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome outcome =
      folder.Run({"convert", "--pen", "0000-0000-0000-00FF", "--page", "1.2.3.4", "--start-time",
                  "2023-11-14T22:13:20Z", "--units", "mm", "@bare.inkml"});
  EXPECT_EQ(outcome.status, 0);
  const Json::Value info = ParseJson(folder.Run({"info", "--json", "@bare.stf2"}).out);
  EXPECT_EQ(info["pen"].asString(), "0000-0000-0000-00FF");
  EXPECT_EQ(info["pages"][0]["page"].asString(), "1.2.3.4");
  EXPECT_EQ(info["time"]["first_ms"].asUInt64(), 1700000000000u);
  EXPECT_EQ(info["bounds_um"]["right"].asInt(), 30000);
  EXPECT_TRUE(info["storable"].asBool());
}

TEST(CommandLine, Stf2CanBeGivenPenPageAndTimeAsWell) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  folder.Run({"convert", "@bare.inkml"});
  EXPECT_EQ(folder
                .Run({"convert", "--page", "1.2.3.4", "--start-time", "1700000000000", "--pen",
                      "0000-0000-0000-0001", "@bare.stf2", "-o", "@full.stf2"})
                .err,
            "");
  EXPECT_TRUE(ParseJson(folder.Run({"info", "--json", "@full.stf2"}).out)["storable"].asBool());
}

TEST(CommandLine, EachFileCanHaveAPage) {
  const ToolFolder folder;
  folder.Run({"convert", "--page", "5.5.5.8", "--page-per-file", "@letter.inkml", "@note.inkml"});
  EXPECT_THAT(PagesOf(ReadStf2(folder.Read("letter.stf2"))), ElementsAre("5.5.5.8"));
  EXPECT_THAT(PagesOf(ReadStf2(folder.Read("note.stf2"))), ElementsAre("5.5.5.9"));
}

TEST(CommandLine, APageAddressOnTheCommandLineIsFourOrFiveNumbers) {
  const ToolFolder folder;
  for (const char* page : {"1.2.3.4", "0.1.2.3.4", "1.2.3.2147483647"}) {
    EXPECT_EQ(folder.Run({"convert", "-f", "--page", page, "@note.inkml"}).status, 0) << page;
  }
  for (const char* page : {"*.2.3.4", "1.2.3.*", "1.2.3.4*", "1.2.3.2147483648",
                           "1.2.3.99999999999999999999", "1.2.3", "1.2.3.4.5.6", "1..2.3", "1.2.3.",
                           ".1.2.3", "1.2.3.-4", "1.2.3. 4", "encrypted-stf2", ""}) {
    const Outcome outcome = folder.Run({"convert", "-f", "--page", page, "@note.inkml"});
    EXPECT_EQ(outcome.status, 2) << page;
    EXPECT_THAT(outcome.err, HasSubstr("is not a page address such as 1.2.3.4")) << page;
  }
}

TEST(CommandLine, PagesAreNotCountedBeyondTheLast) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run(
      {"convert", "--page", "1.2.3.2147483647", "--page-per-file", "@letter.inkml", "@note.inkml"});
  EXPECT_THAT(outcome.out, StartsWith("@letter.inkml: Success, "));
  EXPECT_EQ(outcome.err,
            "@note.inkml: Failed, no page 1 behind 1.2.3.2147483647: the last field goes up to "
            "2147483647\n");
  EXPECT_EQ(outcome.status, 1);
}

TEST(CommandLine, Stf2WithoutGroupsGetsOnePage) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  folder.Run({"convert", "--page", "7.7.7.7", "--page-per-group", "@letter.stf2", "-o", "@x.stf2"});
  EXPECT_THAT(PagesOf(ReadStf2(folder.Read("x.stf2"))), ElementsAre("7.7.7.7"));
}

TEST(CommandLine, OneFileIsNotCalledFiles) {
  const ToolFolder folder;
  EXPECT_THAT(folder.Run({"merge", "@note.inkml", "-o", "@one.stf2"}).out,
              StartsWith("@one.stf2: Success, 1 file ("));
}

TEST(CommandLine, SplitsByPageAndMergesAgain) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  const Outcome split = folder.Run({"split", "@letter.stf2", "-o", "@pages/"});
  EXPECT_EQ(split.out,
            "@letter.stf2: Success, 2 parts, @pages/letter-1.2.3.4.stf2, "
            "@pages/letter-1.2.3.5.stf2\n");
  const Outcome merge = folder.Run({"merge", "@pages/*.stf2", "-o", "@again.stf2"});
  EXPECT_EQ(merge.out, "@again.stf2: Success, 2 files (2 pages, 117 strokes, 3327 points)\n");
  EXPECT_EQ(folder.Read("again.stf2"), folder.Read("letter.stf2"));
}

TEST(CommandLine, ASplitThatFailsHalfwayLeavesNoPart) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  folder.Write("pages/letter-1.2.3.5.stf2", "mine");
  const auto before = folder.Names();
  EXPECT_EQ(folder.Run({"split", "@letter.stf2", "-o", "@pages"}).status, 1);
  EXPECT_EQ(folder.Names(), before);
}

TEST(CommandLine, InkOfDifferentPensIsNotMerged) {
  const ToolFolder folder;
  folder.Run({"convert", "@letter.inkml"});
  folder.Run({"convert", "--pen", "0000-0000-0000-0001", "@note.inkml"});
  EXPECT_EQ(folder.Run({"merge", "@letter.stf2", "@note.stf2", "-o", "@all.stf2"}).err,
            "@all.stf2: Failed, @note.stf2: is ink of pen 0000-0000-0000-0001, not of "
            "0123-4567-89AB-CDEF like the first; --pen names one for all\n");
  EXPECT_EQ(folder
                .Run({"merge", "--pen", "0000-0000-0000-0001", "@letter.stf2", "@note.stf2", "-o",
                      "@all.stf2"})
                .status,
            0);
}

TEST(CommandLine, DrawsWhatTheNameOfTheOutputSays) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "-o", "@note.svg"}).status, 0);
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "-o", "@note.png"}).status, 0);
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "--to", "pdf", "-o", "@"}).status, 0);
  EXPECT_THAT(folder.Read("note.svg"), HasSubstr("<svg "));
  EXPECT_THAT(folder.Read("note.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(folder.Read("note.pdf"), StartsWith("%PDF"));
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "-o", "@note.gif"}).err,
            "@note.inkml: Failed, 'gif' is none of svg, png and pdf; --to says which is wanted\n");
}

TEST(CommandLine, InkOffThePaperIsTold) {
  const ToolFolder folder;
  folder.Write("wide.inkml",
               "<ink><traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
               "</traceFormat><trace>10 10, 20 20</trace><trace>10 10, 230 20</trace>"
               "<trace>-5 -5</trace></ink>");
  const auto notes = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {"render", "-f", "@wide.inkml", "-o", "@wide.svg"});
    return folder.Run(options).err;
  };
  EXPECT_THAT(
      notes({"--page-size", "A4"}),
      HasSubstr("@wide.inkml: note: off the paper or over its edge: 2 strokes; --fit shows all\n"));
  EXPECT_THAT(notes({"--page-size", "250x250"}),
              HasSubstr("over its edge: 1 stroke; --fit shows all\n"));
  EXPECT_THAT(notes({}), Not(HasSubstr("paper")));
}

TEST(CommandLine, InkOffThePaperCanBeFittedOrCentred) {
  const ToolFolder folder;
  folder.Write("far.inkml",
               "<ink><traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
               "</traceFormat><trace>300 400, 320 420</trace></ink>");
  for (const char* placement : {"--fit", "--center"}) {
    const Outcome outcome = folder.Run(
        {"render", "-f", "--page-size", "A5", placement, "@far.inkml", "-o", "@far.svg"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, Not(HasSubstr("off the paper")));
  }
  EXPECT_EQ(folder.Run({"render", "--fit", "@far.inkml"}).status, 2);
  EXPECT_EQ(folder.Run({"render", "--fit", "--center", "--page-size", "A5", "@far.inkml"}).status,
            2);
}

TEST(CommandLine, APageThatIsDrawnAloneIsCountedAlone) {
  const ToolFolder folder;
  EXPECT_THAT(folder.Run({"render", "--page", "1.2.3.5", "@letter.inkml"}).out,
              HasSubstr("@letter.svg (1 page, "));
}

TEST(CommandLine, InfoTellsInLinesOrInJson) {
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

TEST(CommandLine, InfoInJsonNamesAFileAsItIs) {
  const ToolFolder folder;
  folder.Write("two\nlines.inkml", folder.Read("note.inkml"));
  const std::string line = folder.Run({"info", "--json", "@two\nlines.inkml"}).out;
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
  EXPECT_THAT(line, HasSubstr("\"file\":\"@two\\nlines.inkml\""));
}

TEST(CommandLine, InfoTellsWhatReadingLost) {
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

TEST(CommandLine, InfoInJsonTellsFailuresInJson) {
  const ToolFolder folder;
  folder.Write("bad.inkml", "<ink");
  const Outcome outcome = folder.Run({"info", "--json", "@bad.inkml"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  const Json::Value json = ParseJson(outcome.out);
  EXPECT_THAT(json["failed"].asString(), HasSubstr("not well-formed XML"));
  EXPECT_THAT(json["file"].asString(), HasSubstr("bad.inkml"));
}

TEST(CommandLine, QuietTellsFailuresAlone) {
  const ToolFolder folder;
  folder.Write("bare.inkml", "<ink><trace>10 20, 30 40</trace></ink>");
  const Outcome outcome = folder.Run({"convert", "-q", "@bare.inkml", "@gone.inkml"});
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "@gone.inkml: Failed, can't open: No such file or directory\n");
  EXPECT_THAT(folder.Names(), Contains("bare.stf2"));
}

// What one document says is not said of the other's pages.
TEST(CommandLine, MergingRepeatsNoPropertyOnForeignPages) {
  const ToolFolder folder;
  const auto document = [](const char* title, const char* page) {
    return std::string("<ink><annotation type='title'>") + title +
           "</annotation><annotation type='writer'>Ada</annotation><annotation type='page'>" +
           page + "</annotation><trace>10 20, 30 40</trace></ink>";
  };
  folder.Write("a.inkml", document("Monday", "1.1.1.1"));
  folder.Write("b.inkml", document("Tuesday", "1.1.1.2"));
  EXPECT_EQ(folder.Run({"merge", "@a.inkml", "@b.inkml", "-o", "@week.stf2"}).status, 0);
  EXPECT_EQ(folder.Run({"split", "@week.stf2"}).status, 0);
  const TalvoInk::Ink page = ReadStf2(folder.Read("week-1.1.1.2.stf2"));
  std::vector<std::string> said;
  for (const TalvoInk::Item& item : page.items) {
    if (const auto* property = std::get_if<TalvoInk::Property>(&item))
      said.push_back(property->key);
    if (const auto* marker = std::get_if<TalvoInk::Marker>(&item)) said.push_back(*marker->name);
  }
  EXPECT_THAT(said, testing::UnorderedElementsAre("writer", "title: Tuesday"));
}

TEST(CommandLine, ReplaysAsAnSvgOrAsPictures) {
  const ToolFolder folder;
  const Outcome svg = folder.Run({"replay", "@note.inkml"});
  EXPECT_EQ(svg.status, 0) << svg.err;
  EXPECT_THAT(svg.out,
              testing::MatchesRegex(
                  "@note.inkml: Success, @note.replay.svg \\(1 page, 39 strokes, [0-9.]+ s\\)\n"));
  const Outcome film = folder.Run({"replay", "@note.inkml", "--frames", "@film", "--speed", "20",
                                   "--fps", "10", "--dpi", "30"});
  EXPECT_EQ(film.status, 0) << film.err;
  EXPECT_THAT(folder.Names(), Contains("film/frame-000005.png"));
  EXPECT_EQ(folder.Run({"replay", "@note.inkml", "--frames", "@film", "-o", "@x.svg"}).status, 2);
  // Nothing is replaced without being asked.
  EXPECT_EQ(folder.Run({"replay", "@note.inkml", "--frames", "@film"}).status, 1);
}

TEST(CommandLine, StatsAreATableJsonOrCsv) {
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
  const Json::Value json = ParseJson(folder.Run({"stats", "--json", "@a.inkml"}).out);
  EXPECT_EQ(json["pages"][0]["strokes"][1]["pause_ms"].asDouble(), 1000);
  EXPECT_EQ(json["pages"][0]["writing_ms"].asDouble(), 600);
  EXPECT_TRUE(json["pages"][0]["force"].isNull());
}

TEST(CommandLine, WrongUsageIsStatusTwo) {
  const ToolFolder folder;
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"dance"},
      {"info"},
      {"info", "--wrong", "@note.inkml"},
      {"convert", "--pen", "blue", "@note.inkml"},
      {"convert", "--page", "one", "@note.inkml"},
      {"convert", "--start-time", "noon", "@note.inkml"},
      {"convert", "--start-time", "2026-13-01T00:00Z", "@note.inkml"},
      {"convert", "--start-time", "1970-01-01T00:00Z", "@note.inkml"},  // 0, which is no time
      {"convert", "--to", "svg", "@note.inkml"},
      {"convert", "--page-per-file", "@note.inkml"},
      {"convert", "@note.inkml", "@letter.inkml", "-o", "@one.stf2"},
      {"merge", "@note.inkml"},
      {"merge", "@note.inkml", "-o", "@"},
      {"split", "@note.inkml", "-o", "@one.stf2"},
      {"render", "--dpi", "0", "@note.inkml"},
      {"render", "--page-size", "huge", "@note.inkml"},
      {"seal", "@note.inkml"},
      {"keygen"}};
  const auto before = folder.Names();
  for (const auto& arguments : wrong) {
    const Outcome outcome = folder.Run(arguments);
    EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
    EXPECT_NE(outcome.err, "") << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "") << testing::PrintToString(arguments);
  }
  EXPECT_EQ(folder.Names(), before);
}

TEST(CommandLine, AWordThatIsNoCommandIsNamed) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"foo"}).err,
            "stf2: 'foo' is none of its commands: info, convert, split, merge, render, replay, "
            "stats, keygen, "
            "seal, open\nRun with --help for more information.\n");
  EXPECT_THAT(folder.Run({}).err, StartsWith("stf2: a command is missing: one of info, "));
}

TEST(CommandLine, HelpBeginsWithExamples) {
  const ToolFolder folder;
  for (const char* command :
       {"info", "convert", "split", "merge", "render", "keygen", "seal", "open"}) {
    const Outcome outcome = folder.Run({command, "--help"});
    EXPECT_EQ(outcome.status, 0) << command;
    EXPECT_THAT(outcome.out, StartsWith("Examples:\n  stf2 " + std::string(command)));
  }
  EXPECT_THAT(folder.Run({"--help"}).out, StartsWith("Examples:\n"));
  EXPECT_THAT(folder.Run({"--version"}).out, StartsWith("stf2 "));
}

// Every option and every example that the help names.
TEST(CommandLine, TheManPageKnowsWhatTheHelpSays) {
  const ToolFolder folder;
  std::string page;
  for (const char c : ReadFile(STF2_MAN_PAGE)) {
    if (c != '\\') page += c;
  }
  for (const char* command :
       {"info", "convert", "split", "merge", "render", "keygen", "seal", "open"}) {
    std::istringstream help(folder.Run({command, "--help"}).out);
    int options = 0;
    for (std::string line; std::getline(help, line);) {
      const std::size_t name = line.find("--");
      if (line.compare(0, 3, "  -") != 0 || name == line.npos) continue;
      const std::string option = line.substr(name, line.find_first_of(" :", name) - name);
      EXPECT_THAT(page, AnyOf(HasSubstr(option + "\n"), HasSubstr(option + " "))) << command;
      ++options;
    }
    EXPECT_GE(options, 1) << command;
    EXPECT_THAT(page, HasSubstr("stf2 " + std::string(command))) << command;
  }
}

TEST(CommandLine, NamesWithControlBytesStayInTheirLine) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"info", "@no\nsuch"}).err,
            "@no\\x0Asuch: Failed, can't open: No such file or directory\n");
}

TEST(CommandLine, TheLocaleOfTheMachineChangesNothing) {
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
