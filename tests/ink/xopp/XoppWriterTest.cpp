#include "ink/xopp/XoppWriter.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include "ink/Gzip.h"
#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/xopp/XoppReader.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::string Unpacked(const Ink& ink, Losses& losses) {
  return Gunzip(WriteXopp(ink, losses), 1 << 24);
}

std::string Unpacked(const Ink& ink) {
  Losses losses;
  return Unpacked(ink, losses);
}

// Ink of two pages as a notebook has it.
Ink Notebook() {
  Losses losses;
  return ReadXopp(
      "<xournal><page width='300' height='400'><background type='solid' style='lined'/><layer>"
      "<stroke tool='pen' color='#3333ccff' width='1.41 0.8 1.2 2.0'>10 10 15.5 12 20 10 21 20"
      "</stroke><stroke tool='highlighter' color='#ffff007f' width='8.5'>9 11 22 "
      "11</stroke></layer>"
      "</page><page width='300' height='400'><background type='solid' "
      "style='graph'/><layer><stroke "
      "tool='pen' color='red' width='2'>5 5</stroke></layer></page></xournal>",
      {}, losses);
}

TEST(XoppWriter, ANotebookReadsBackAsItWas) {
  Losses losses;
  const Ink ink = Notebook();
  const Ink again = ReadXopp(Unpacked(ink), {}, losses);
  ASSERT_EQ(again.items.size(), ink.items.size());
  for (std::size_t i = 0; i + 1 < ink.items.size(); ++i) {
    EXPECT_TRUE(again.items[i] == ink.items[i]) << i;
  }
  // The dot is a line from a point to itself.
  EXPECT_EQ(PositionsOf(std::get<Stroke>(again.items.back())).size(), 2u);
}

TEST(XoppWriter, PagesHaveTheirSizeAndRuling) {
  EXPECT_THAT(Unpacked(Notebook()),
              HasSubstr("<page width=\"300\" height=\"400\">\n<background "
                        "type=\"solid\" color=\"#ffffffff\" style=\"lined\"/>"));
}

TEST(XoppWriter, APageWithoutAMarkerIsA4OrAsLargeAsItsInk) {
  Ink ink;
  ink.items = {StrokeOn("1.2.3.4")};
  EXPECT_THAT(Unpacked(ink), HasSubstr("<page width=\"595.28\" height=\"841.89\">"));
  std::get<Stroke>(ink.items[0]).samples.push_back(Sample(STF2_SAMPLE_COORDINATE, 994750, 100));
  EXPECT_THAT(Unpacked(ink), HasSubstr("<page width=\"2834."));
}

TEST(XoppWriter, WhatANotebookCantHoldIsTold) {
  Ink ink;
  ink.pen = 7;
  ink.items = {Property{"title", "x"}, Marker{std::nullopt, 5, "done"}, StrokeOn("1.2.3.4"),
               Property{kTipKey, "#FF000000 500 rectangle 900"}};
  std::get<Stroke>(ink.items[2]).width_um = 500;
  Losses losses;
  Unpacked(ink, losses);
  EXPECT_THAT(losses.Lines(),
              UnorderedElementsAre("properties left out: 1", "markers left out: 1",
                                   "tips drawn round: 1", "the pen's serial left out",
                                   "addresses of pages left out", "times left out"));
}

TEST(XoppWriter, PlainInkLosesNothing) {
  Ink ink;
  ink.items = {StrokeOn(std::nullopt, 0)};
  Losses losses;
  Unpacked(ink, losses);
  EXPECT_THAT(losses.Lines(), IsEmpty());
}

TEST(XoppWriter, InkWithoutStrokesIsRefused) {
  Losses losses;
  EXPECT_THROW(WriteXopp(Ink(), losses), InkError);
}

// The program whose format it is, in a home of its own and without a screen.
TEST(XoppWriter, TheProgramOpensItAndExportsAPdfOfItsPages) {
  const TestRoot root;
  const std::string folder = root.path().string();
  Losses losses;
  WriteFile(folder + "/ink.xopp", WriteXopp(Notebook(), losses));
  const Finished exported = RunToEnd({"/bin/sh", "-c",
                                      "HOME='" + folder + "' XDG_RUNTIME_DIR='" + folder +
                                          "' DISPLAY= xournalpp "
                                          "--create-pdf='" +
                                          folder + "/ink.pdf' '" + folder +
                                          "/ink.xopp' && pdfinfo '" + folder + "/ink.pdf'"});
  EXPECT_EQ(exported.status, 0) << exported.output << exported.error;
  EXPECT_THAT(exported.output, HasSubstr("Pages:           2\n"));
  EXPECT_THAT(exported.output, HasSubstr("Page size:       300 x 400"));
}

}  // namespace
}  // namespace TalvoInk
