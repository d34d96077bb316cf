#include "ink/xopp/XoppReader.h"

#include <gmock/gmock.h>

#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/Tips.h"

namespace TalvoInk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

Reading ReadNotebook(const std::string& body, const ReadOptions& options = {}) {
  Reading reading;
  Losses losses;
  try {
    reading.ink = ReadXopp("<xournal>" + body + "</xournal>", options, losses);
  } catch (const InkError& error) {
    reading.refusal = error.what();
  }
  reading.losses = losses.Lines();
  reading.notes = losses.Notes();
  return reading;
}

std::string Page(const std::string& strokes, const std::string& background = "") {
  return "<page width='72' height='144'>" + background + "<layer>" + strokes + "</layer></page>";
}

std::string Line(const std::string& attributes, const std::string& points = "0 0 72 144") {
  return "<stroke " + attributes + ">" + points + "</stroke>";
}

TEST(XoppReader, PointsBecomeMicrometres) {
  const Reading reading = ReadNotebook(Page(Line("tool='pen' color='#3333ccff' width='1.41'")));
  ASSERT_EQ(reading.Strokes().size(), 1u) << reading.refusal;
  const Stroke stroke = reading.Strokes()[0];
  EXPECT_EQ(Positions(stroke), "0,0 25400,50800");
  EXPECT_EQ(stroke.color, 0xFF3333CCu);
  EXPECT_EQ(stroke.width_um, 497u);
  EXPECT_EQ(Forces(stroke), "0 0");
  EXPECT_THAT(reading.losses, IsEmpty());
  EXPECT_THAT(reading.notes, ElementsAre("strokes without a time: 1"));
}

TEST(XoppReader, WidthsOfAPressedPenBecomeForce) {
  const Reading reading = ReadNotebook(Page(Line("width='2 1 2 3'", "0 0 1 0 2 0 3 0")));
  EXPECT_EQ(Forces(reading.Strokes().at(0)), "0 32768 65535 65535");
  EXPECT_EQ(reading.Strokes().at(0).width_um, 706u);
}

TEST(XoppReader, WidthsFarFromThePensOwnAreKept) {
  const Reading reading = ReadNotebook(Page(Line("width='1 2 6 3'", "0 0 1 0 2 0 3 0")));
  EXPECT_EQ(reading.Strokes().at(0).width_um, 1411u);  // of which 6 points are one and a half
  EXPECT_EQ(Forces(reading.Strokes().at(0)), "0 65535 16384 16384");
  EXPECT_TRUE(ReadNotebook(Page(Line("width='1 1 6 3'", "0 0 1 0 2 0 3 0")))
                  .Lost("points finer than a third of their stroke drawn wider: 1"));
}

TEST(XoppReader, AHighlighterDarkens) {
  const Reading reading =
      ReadNotebook(Page(Line("tool='highlighter' color='#ffff007f' width='8.5'")));
  const Stroke stroke = reading.Strokes().at(0);
  EXPECT_EQ(stroke.color, 0x7FFFFF00u);
  EXPECT_TRUE(Tips(reading.ink).Of(stroke).darkens);
}

TEST(XoppReader, ASinglePageHasNoAddressAndSeveralAreNumbered) {
  const Reading one = ReadNotebook(Page(Line("width='1'")));
  EXPECT_EQ(one.Strokes().at(0).page, std::nullopt);
  const std::string book = Page(Line("width='1'")) + Page("") + Page(Line("width='1'"));
  const Reading two = ReadNotebook(book);
  EXPECT_EQ(two.Strokes().at(0).page, "1");
  EXPECT_EQ(two.Strokes().at(1).page, "2");
  ReadOptions options;
  options.page.emplace("1.2.3.4");
  const Reading addressed = ReadNotebook(book, options);
  EXPECT_EQ(addressed.Strokes().at(0).page, "1.2.3.4");
  EXPECT_EQ(addressed.Strokes().at(1).page, "1.2.3.5");
}

TEST(XoppReader, APagesSizeAndRulingAreAMarker) {
  const Reading reading =
      ReadNotebook(Page(Line("width='1'"), "<background type='solid' style='graph'/>"));
  EXPECT_THAT(reading.ink.items,
              Contains(Item(Marker{std::nullopt, 0, "paper 25.4x50.8 mm graph"})));
}

TEST(XoppReader, WhatInkCantHoldIsTold) {
  const Reading reading = ReadNotebook(
      "<page><background type='pdf'/><layer>" +
      Line("width='1' fill='9' style='dash' capStyle='butt' tool='eraser'") +
      "</layer><layer><text>hello</text><image>AA</image><stroke width='1'/></layer></page>");
  EXPECT_THAT(
      reading.losses,
      testing::UnorderedElementsAre(
          "fills of shapes left out: 1", "dashed lines drawn solid: 1",
          "ends of lines drawn round: 1", "strokes of an eraser kept as ink: 1",
          "texts left out: 1", "pictures left out: 1", "strokes without points left out: 1",
          "layers merged into the first of their page: 1", "backgrounds of pages left out: 1"));
}

TEST(XoppReader, PaperThatIsNotWhiteIsTold) {
  const auto with = [](const std::string& color) {
    return Page(Line("width='1'"), "<background type='solid' color='" + color + "'/>");
  };
  EXPECT_THAT(ReadNotebook(with("#ffffffff") + with("white") + with("")).losses, IsEmpty());
  EXPECT_THAT(ReadNotebook(with("#000000ff") + with("yellow")).losses,
              ElementsAre("colours of paper left out: 2"));
}

TEST(XoppReader, PagesWithoutInkAreTold) {
  const Reading reading = ReadNotebook(Page(Line("width='1'")) + Page("") + Page(""));
  EXPECT_THAT(reading.losses, IsEmpty());
  EXPECT_THAT(reading.notes, Contains("pages without ink left out: 2"));
}

TEST(XoppReader, DamageIsRefusedWithItsPlace) {
  EXPECT_EQ(ReadNotebook(Page(Line("width='1'", "1 2 x 4"))).refusal,
            "line 1, column 48: not a number: 'x'");
  EXPECT_EQ(ReadNotebook(Page(Line("width='1'", "1 2 3"))).refusal,
            "line 1, column 48: an X without a Y at the end of the stroke");
  EXPECT_EQ(ReadNotebook(Page(Line("width='-1'"))).refusal,
            "line 1, column 48: a width is not that of a line");
  EXPECT_EQ(ReadNotebook(Page(Line("width='1'", "1e12 2"))).refusal,
            "line 1, column 48: a point is more than 2147 m from the page's corner");
  Losses losses;
  EXPECT_THROW(ReadXopp("<notes/>", {}, losses), InkError);
}

}  // namespace
}  // namespace TalvoInk
