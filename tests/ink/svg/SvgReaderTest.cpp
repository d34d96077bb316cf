#include "ink/svg/SvgReader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "ink/InkError.h"
#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// A drawing whose unit is the millimetre.
Reading ReadDrawing(const std::string& body, const ReadOptions& options = {}) {
  Reading reading;
  Losses losses;
  try {
    reading.ink =
        ReadSvg("<svg width='100mm' height='50mm' viewBox='0 0 100 50'>" + body + "</svg>", options,
                losses);
  } catch (const InkError& error) {
    reading.refusal = error.what();
  }
  reading.losses = losses.Lines();
  reading.notes = losses.Notes();
  return reading;
}

// The first and the last point of each stroke.
std::string Ends(const Reading& reading) {
  EXPECT_EQ(reading.refusal, "");
  std::string ends;
  for (const Stroke& stroke : reading.Strokes()) {
    const std::string positions = Positions(stroke);
    ends += (ends.empty() ? "" : "; ") + positions.substr(0, positions.find(' ')) + " " +
            positions.substr(positions.rfind(' ') + 1);
  }
  return ends;
}

TEST(SvgReader, EveryShapeWithALineIsAStroke) {
  const Reading reading = ReadDrawing(
      "<g stroke='#102030' fill='none'><path d='M1 2L3 4'/><polyline points='1,1 2,2'/><polygon "
      "points='1,1 2,2 3,1'/><line x1='5' x2='6' y2='7'/><rect x='1' y='1' width='2' height='3'/>"
      "<circle cx='5' cy='5' r='2'/><ellipse cx='5' cy='5' rx='2' ry='1'/></g>");
  EXPECT_EQ(Ends(reading),
            "1000,2000 3000,4000; 1000,1000 2000,2000; 1000,1000 1000,1000; 5000,0 6000,7000; "
            "1000,1000 1000,1000; 7000,5000 7000,5000; 7000,5000 7000,5000");
  EXPECT_EQ(reading.Strokes()[0].color, 0xFF102030u);
  EXPECT_THAT(reading.losses, IsEmpty());
}

TEST(SvgReader, TransformsAddUpAndScaleTheWidth) {
  const Reading reading = ReadDrawing(
      "<g transform='translate(10 0)' stroke='red' stroke-width='0.5'><g transform='scale(2)'>"
      "<path d='M1 1h1'/></g></g>");
  EXPECT_EQ(Ends(reading), "12000,2000 14000,2000");
  EXPECT_EQ(reading.Strokes()[0].width_um, 1000u);
}

TEST(SvgReader, StylesAreInheritedAndCountMoreThanAttributes) {
  const Reading reading = ReadDrawing(
      "<g style='stroke:#00FF00; stroke-width:2' opacity='0.5'><path stroke='red' d='M0 0h1'/>"
      "<path style='stroke : blue;stroke-opacity:.5' d='M0 0h1'/><path stroke='none' fill='none' "
      "d='M0 0h1'/></g>");
  ASSERT_EQ(reading.Strokes().size(), 2u);
  EXPECT_EQ(reading.Strokes()[0].color, 0x80FF0000u);
  EXPECT_EQ(reading.Strokes()[1].color, 0x400000FFu);
  EXPECT_EQ(reading.Strokes()[0].width_um, 2000u);
}

TEST(SvgReader, ARunOfThePenIsAStroke) {
  EXPECT_EQ(Ends(ReadDrawing("<path stroke='red' d='M0 0h1M5 5v1'/>")),
            "0,0 1000,0; 5000,5000 5000,6000");
}

TEST(SvgReader, StraightPiecesKeepTheirCorners) {
  const Reading reading = ReadDrawing("<polyline stroke='red' points='0,0 10,0 10,10'/>");
  EXPECT_EQ(Positions(reading.Strokes().at(0)),
            "0,0 80,0 9920,0 10000,0 10000,80 10000,9920 10000,10000");
}

TEST(SvgReader, ARectanglesCornersMayBeRound) {
  const auto rounded = [](const std::string& radii) {
    const Reading reading = ReadDrawing(
        "<rect stroke='red' fill='none' x='10' y='10' width='40' height='20' " + radii + "/>");
    EXPECT_EQ(reading.refusal, "");
    double nearest = 1e9;  // to the rectangle's corner
    const auto strokes = reading.Strokes();
    for (const Stf2Sample& point : strokes.at(0).samples)
      nearest = std::min(nearest, std::hypot(point.x_um - 50000.0, point.y_um - 30000.0));
    return nearest;
  };
  EXPECT_EQ(rounded(""), 0);
  EXPECT_EQ(rounded("rx='0' ry='5'"), 0);
  EXPECT_NEAR(rounded("rx='5'"), 5000 * (std::sqrt(2) - 1), 30);
  EXPECT_NEAR(rounded("ry='5'"), 5000 * (std::sqrt(2) - 1), 30);
  EXPECT_NEAR(rounded("rx='99' ry='99'"), 5586, 30);  // an ellipse
}

TEST(SvgReader, FillsOfShapesWithALineAreTold) {
  EXPECT_THAT(ReadDrawing("<rect stroke='red' width='4' height='2'/><path stroke='red' d='M0 "
                          "0L1 1'/><circle stroke='red' fill='none' r='3'/>")
                  .losses,
              testing::ElementsAre("fills of shapes left out: 1"));
}

TEST(SvgReader, ThePageAndItsSizeAreKept) {
  ReadOptions options;
  options.page.emplace("1.2.3.4");
  const Reading reading = ReadDrawing("<path stroke='red' d='M0 0h1'/>", options);
  EXPECT_EQ(reading.Strokes().at(0).page, "1.2.3.4");
  EXPECT_THAT(reading.ink.items, Contains(Item(Marker{"1.2.3.4", 0, "paper 100x50 mm plain"})));
}

TEST(SvgReader, WhatIsNotShownIsNoInk) {
  EXPECT_EQ(Ends(ReadDrawing("<defs><path stroke='red' d='M7 7h1'/></defs><g display='none'><path "
                             "stroke='red' d='M8 8h1'/></g><path style='visibility:hidden' "
                             "stroke='red' d='M9 9h1'/><path stroke='red' d='M0 0h1'/>")),
            "0,0 1000,0");
}

TEST(SvgReader, WhatIsNoLineIsTold) {
  const Reading reading = ReadDrawing(
      "<path stroke='red' stroke-dasharray='1 2' d='M0 0h1'/><path d='M0 0h1v1z'/><text>a</text>"
      "<image/><use/><style>path{}</style><path stroke='url(#g)' clip-path='url(#c)' d='M0 0h1'/>");
  EXPECT_THAT(reading.losses,
              UnorderedElementsAre("dashed lines drawn solid: 1", "elements <text> left out: 1",
                                   "elements <image> left out: 1", "elements <use> left out: 1",
                                   "elements <style> left out: 1", "clip paths not applied",
                                   "colour 'url(#g)' is not known; black taken",
                                   "shapes that are filled only left out: 1"));
}

TEST(SvgReader, PagesOfADrawingAreReadAsOneAndTold) {
  const std::string line = "<path stroke='red' d='M0 0h1'/>";
  const auto view = [&](const std::string& pages) {
    return ReadDrawing("<sodipodi:namedview xmlns:sodipodi='s' xmlns:inkscape='i'>" + pages +
                       "</sodipodi:namedview>" + line);
  };
  EXPECT_THAT(view("<inkscape:page/>").losses, testing::IsEmpty());
  EXPECT_THAT(view("<inkscape:page/><inkscape:page/><inkscape:grid/>").losses,
              UnorderedElementsAre("pages of the drawing read as one: 2"));
}

TEST(SvgReader, ADrawingWithoutALineIsRefused) {
  EXPECT_EQ(ReadDrawing("<path d='M0 0h1v1z'/>").refusal,
            "line 1, column 2: no line is left; shapes that are filled only: 1");
  EXPECT_EQ(ReadDrawing("").refusal, "line 1, column 2: no line is left");
}

TEST(SvgReader, DamageIsRefusedWithItsPlace) {
  EXPECT_EQ(ReadDrawing("\n<path stroke='red' d='M0 x'/>").refusal,
            "line 2, column 2: not path data at character 4");
  EXPECT_EQ(ReadDrawing("\n<g transform='spin(3)'/>").refusal,
            "line 2, column 2: transform 'spin(3)' can't be read");
  EXPECT_EQ(ReadDrawing("<path stroke='red' d='M0 0h9e9'/>").refusal,
            "line 1, column 56: a point is more than 2147 m from the page's corner");
  std::string deep = "<path/>";
  for (int i = 0; i < 80; ++i) deep = "<g>" + deep + "</g>";
  EXPECT_THAT(ReadDrawing(deep).refusal, testing::HasSubstr("groups nested deeper than 64"));
  Losses losses;
  EXPECT_THROW(ReadSvg("<html/>", {}, losses), InkError);
}

}  // namespace
}  // namespace TalvoInk
