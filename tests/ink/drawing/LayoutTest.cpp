#include "ink/drawing/Layout.h"

#include <gtest/gtest.h>

#include "ink/InkError.h"
#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

// A line of 40 mm x 20 mm far from the corner, on a page.
Ink FarInk(const std::string& page = "1.1.1.1") {
  Stroke stroke;
  stroke.page = page;
  stroke.samples = DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 500000, 800000),
                                Sample(STF2_SAMPLE_COORDINATE, 540000, 820000)});
  Ink ink;
  ink.items = {stroke};
  return ink;
}

Sheet SheetOf(const Ink& ink, const LayoutOptions& options) {
  return LayOut(ink, Tips(ink), options).sheets.at(0);
}

LayoutOptions OnPaper(Placement placement) {
  LayoutOptions options;
  options.page_size = PageSize{100, 200};
  options.placement = placement;
  return options;
}

// Where the ink's ends are on the sheet, in micrometres.
std::string Ends(const Sheet& sheet) {
  const Corner a = sheet.Place({500000, 800000}), b = sheet.Place({540000, 820000});
  return std::to_string(a.x) + "," + std::to_string(a.y) + " " + std::to_string(b.x) + "," +
         std::to_string(b.y);
}

TEST(Layout, PagesCanHaveThePaperThatTheInkStates) {
  Ink ink = FarInk();
  ink.items.insert(ink.items.begin(),
                   {Marker{"1.1.1.2", 0, "paper 10x10 mm plain"}, Marker{"1.1.1.1", 0, "seen"},
                    Marker{"1.1.1.1", 0, "paper 600x900 mm graph"},
                    Marker{"1.1.1.1", 0, "paper 20x20 mm plain"}});
  LayoutOptions options = OnPaper(Placement::kCentred);
  EXPECT_FALSE(SheetOf(ink, options).ruling.has_value());
  options.own_paper = true;
  const Sheet sheet = SheetOf(ink, options);
  EXPECT_EQ(sheet.width, 600000);
  EXPECT_EQ(sheet.height, 900000);
  EXPECT_EQ(sheet.ruling, Ruling::kSquared);
  EXPECT_EQ(Ends(sheet), "500000,800000 540000,820000");
  EXPECT_EQ(SheetOf(FarInk(), options).width, 100000);  // which states none
}

TEST(Layout, WithoutPaperTheSheetIsTheInkAndItsMargin) {
  const Ink ink = FarInk();
  EXPECT_EQ(Ends(SheetOf(ink, {})), "5250,5250 45250,25250");
  LayoutOptions options;
  options.margin_mm = 0;
  const Sheet sheet = SheetOf(ink, options);
  EXPECT_EQ(sheet.width, 40500);
  EXPECT_EQ(sheet.height, 20500);
}

TEST(Layout, OnPaperInkStandsWhereItWasWritten) {
  const Ink ink = FarInk();
  const Layout layout = LayOut(ink, {}, OnPaper(Placement::kAsWritten));
  EXPECT_EQ(Ends(layout.sheets[0]), "500000,800000 540000,820000");
  EXPECT_EQ(layout.strokes_off_paper, 1u);
}

TEST(Layout, InkCanBePutInThePapersMiddle) {
  const Ink ink = FarInk();
  const Layout layout = LayOut(ink, {}, OnPaper(Placement::kCentred));
  EXPECT_EQ(Ends(layout.sheets[0]), "30000,90000 70000,110000");
  EXPECT_EQ(layout.strokes_off_paper, 0u);
}

TEST(Layout, InkCanFillThePaperWithinAMargin) {
  const Ink ink = FarInk();
  LayoutOptions options = OnPaper(Placement::kFitted);
  options.margin_mm = 5;
  const Sheet sheet = SheetOf(ink, options);
  EXPECT_NEAR(sheet.scale, 90000 / 40500.0, 1e-9);
  EXPECT_NEAR(double(sheet.Place({500000 - 250, 0}).x), 5000, 1);
  EXPECT_NEAR(double(sheet.Place({540000 + 250, 0}).x), 95000, 1);
  EXPECT_NEAR(double(sheet.Place({0, 810000}).y), 100000, 1);
}

TEST(Layout, ADotIsNotFittedBeyondAllMeasure) {
  Ink ink;
  Stroke dot;
  dot.samples = DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 7, 7)});
  ink.items = {dot};
  const Corner at = SheetOf(ink, OnPaper(Placement::kFitted)).Place({7, 7});
  EXPECT_EQ(at.x, 50000);
  EXPECT_EQ(at.y, 100000);
}

TEST(Layout, EachPageHasASheetInTheOrderOfItsFirstStroke) {
  Ink ink = FarInk("1.1.1.2");
  Append(ink, FarInk("1.1.1.1"));
  Append(ink, FarInk("1.1.1.2"));
  const Layout layout = LayOut(ink, {}, {});
  ASSERT_EQ(layout.sheets.size(), 2u);
  EXPECT_EQ(layout.sheets[0].page, "1.1.1.2");
  EXPECT_EQ(layout.sheets[0].strokes.size(), 2u);
  EXPECT_EQ(layout.strokes, 3u);
  EXPECT_EQ(layout.points, 6u);
}

TEST(Layout, APageWithoutStrokesIsRefused) {
  LayoutOptions options;
  options.page.emplace("9.9.9.9");
  EXPECT_THROW(LayOut(FarInk(), {}, options), InkError);
  EXPECT_THROW(LayOut(Ink(), {}, {}), InkError);
}

}  // namespace
}  // namespace TalvoInk
