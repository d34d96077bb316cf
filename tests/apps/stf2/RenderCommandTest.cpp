#include "ToolRun.h"

#include <gmock/gmock.h>

namespace InkTool {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TEST(RenderCommand, DrawsWhatTheNameOfTheOutputSays) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "-o", "@note.svg"}).status, 0);
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "-o", "@note.png"}).status, 0);
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "--to", "pdf", "-o", "@"}).status, 0);
  EXPECT_THAT(folder.Read("note.svg"), HasSubstr("<svg "));
  EXPECT_THAT(folder.Read("note.png"), StartsWith("\x89PNG"));
  EXPECT_THAT(folder.Read("note.pdf"), StartsWith("%PDF"));
  EXPECT_EQ(
      folder.Run({"render", "@note.inkml", "-o", "@note.gif"}).err,
      "@note.inkml: Failed, 'gif' is not one of svg, png and pdf; --to says which is wanted\n");
}

TEST(RenderCommand, ANotebookIsDrawnOnItsOwnPaper) {
  const ToolFolder folder;
  folder.Write("book.xopp",
               "<xournal><page width='144' height='72'><background type='solid' style='lined'/>"
               "<layer><stroke tool='pen' width='1'>10 10 90 50</stroke></layer></page></xournal>");
  const auto drawn = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {"render", "-q", "-f", "@book.xopp", "-o", "@book.svg"});
    EXPECT_EQ(folder.Run(options).status, 0);
    return folder.Read("book.svg");
  };
  EXPECT_THAT(drawn({"--own-paper"}), HasSubstr("width=\"50.800mm\" height=\"25.400mm\""));
  EXPECT_THAT(drawn({"--own-paper"}), HasSubstr("#C4D3E3"));  // its lines
  EXPECT_THAT(drawn({}), Not(HasSubstr("#C4D3E3")));
}

TEST(RenderCommand, InkOffThePaperIsTold) {
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

TEST(RenderCommand, InkOffThePaperCanBeFittedOrCentred) {
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

TEST(RenderCommand, APageThatIsDrawnAloneIsCountedAlone) {
  const ToolFolder folder;
  EXPECT_THAT(folder.Run({"render", "--page", "1.2.3.5", "@letter.inkml"}).out,
              HasSubstr("@letter.svg (1 page, "));
}

TEST(RenderCommand, SeveralFilesGoIntoOnePdf) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"render", "@letter.inkml", "@note.inkml", "-o", "@all.pdf"});
  EXPECT_EQ(outcome.out,
            "@all.pdf: Success, 2 files, @all.pdf (3 pages, 156 strokes, 4342 points)\n");
  EXPECT_THAT(folder.Read("all.pdf"), HasSubstr("/Type/Pages/Count 3"));
  // The outline names the files: "letter", in UTF-16.
  EXPECT_THAT(folder.Read("all.pdf"), HasSubstr("/Title<FEFF006C00650074007400650072>"));
  folder.Write("bad.inkml", "<ink");
  const Outcome refused = folder.Run({"render", "@letter.inkml", "@bad.inkml", "-o", "@none.pdf"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, StartsWith("@none.pdf: Failed, @bad.inkml: "));
  EXPECT_THAT(folder.Names(), Not(testing::Contains("none.pdf")));
  EXPECT_EQ(folder.Run({"render", "@letter.inkml", "@note.inkml", "-o", "@all.png"}).status, 2);
}

TEST(RenderCommand, APatternNamesAPictureOfEachPage) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"render", "@letter.inkml", "@note.inkml", "--dpi", "20", "-o",
                                      "@out/{name}-{page}-{n}.png"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(folder.Names(),
              testing::IsSupersetOf({"out/letter-1.2.3.4-001.png", "out/letter-1.2.3.5-002.png",
                                     "out/note-1.2.7.1-003.png"}));
  // All pages of a file or none.
  const auto before = folder.Names();
  folder.Write("svg/2.svg", "mine");
  EXPECT_EQ(folder.Run({"render", "@letter.inkml", "-o", "@svg/{n}.svg"}).status, 0);
  folder.Write("svg/letter-1.2.3.5.svg", "mine");
  const Outcome there = folder.Run({"render", "@letter.inkml", "-o", "@svg/{name}-{page}.svg"});
  EXPECT_THAT(there.err, HasSubstr("@svg/letter-1.2.3.5.svg is there already"));
  EXPECT_THAT(folder.Names(), Not(testing::Contains("svg/letter-1.2.3.4.svg")));
}

TEST(RenderCommand, ThePagesOfAllFilesStandOnAContactSheet) {
  const ToolFolder folder;
  const Outcome outcome = folder.Run({"render", "@letter.inkml", "@note.inkml", "--contact-sheet",
                                      "--columns", "2", "-o", "@c.svg"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(folder.Read("c.svg"), HasSubstr(">letter  1.2.3.5</text>"));
  EXPECT_THAT(folder.Read("c.svg"), HasSubstr(">note  1.2.7.1</text>"));
  EXPECT_THAT(folder.Read("c.svg"), HasSubstr("width=\"210.000mm\""));
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "--columns", "2"}).status, 2);
}

TEST(RenderCommand, AThumbnailFitsIntoItsPixels) {
  const ToolFolder folder;
  EXPECT_EQ(folder
                .Run({"render", "@letter.inkml", "--size", "100x60", "--page", "first", "-o",
                      "@thumb.png"})
                .status,
            0);
  const std::string png = folder.Read("thumb.png");
  EXPECT_EQ(png.substr(16, 4), std::string("\0\0\0\x28", 4));  // 40 wide
  EXPECT_EQ(png.substr(20, 4), std::string("\0\0\0\x3C", 4));  // 60 high
  ASSERT_EQ(
      folder
          .Run({"render", "@letter.inkml", "--size", "60", "--page", "first", "-o", "@square.png"})
          .status,
      0);
  EXPECT_EQ(folder.Read("square.png"), png);
  EXPECT_EQ(folder.Run({"render", "@letter.inkml", "--size", "100x60", "-o", "@x.svg"}).err,
            "@letter.inkml: Failed, --size counts pixels, which only a PNG has\n");
  for (const char* size : {"0", "100x", "0x5", "5x", "x5", "5x5x5", "99999x5"}) {
    EXPECT_EQ(folder.Run({"render", "@note.inkml", "--size", size}).status, 2) << size;
  }
}

TEST(RenderCommand, PaperLiesAcrossIfAsked) {
  const ToolFolder folder;
  folder.Run({"render", "@note.inkml", "--page-size", "A5", "--landscape", "-o", "@a.svg"});
  EXPECT_THAT(folder.Read("a.svg"), HasSubstr("width=\"210.000mm\" height=\"148.000mm\""));
  EXPECT_EQ(folder.Run({"render", "@note.inkml", "--landscape", "-o", "@b.svg"}).status, 2);
}

TEST(RenderCommand, WhatFailsHalfwayLeavesNoFile) {
  const ToolFolder folder;
  const auto before = folder.Names();
  EXPECT_EQ(folder
                .Run({"render", "@note.inkml", "--dpi", "4800", "--page-size", "5000x5000", "-o",
                      "@x.png"})
                .status,
            1);
  EXPECT_EQ(folder.Names(), before);
}

}  // namespace
}  // namespace InkTool
