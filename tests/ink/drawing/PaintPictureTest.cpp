#include "ink/drawing/PaintPicture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdio>

#include "ink/InkSupport.h"
#include "ink/PagePaper.h"
#include "ink/drawing/Outline.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;

// Notes what it is told, a word each.
class NotingPainter : public Painter {
 public:
  void BeginLeaf(const Leaf&) override { told.push_back("leaf"); }
  void EndLeaf() override { told.push_back("/leaf"); }
  void BeginSheet(const Placed&) override { told.push_back("sheet"); }
  void EndSheet() override { told.push_back("/sheet"); }
  void Fill(const Look& look, const std::vector<Polygon>& polygons) override {
    char color[16];
    std::snprintf(color, sizeof color, "%08X", static_cast<unsigned>(look.color));
    told.push_back(color);
    filled.push_back(polygons);
  }
  void BeginGroup(const Look&) override { told.push_back("group"); }
  void EndGroup() override { told.push_back("/group"); }
  void Show(const Backdrop&, double scale) override {
    told.push_back("backdrop " + std::to_string(scale));
  }
  void Write(const std::string& words, std::int64_t x, std::int64_t, std::int64_t) override {
    told.push_back("'" + words + "'");
    words_at.push_back(x);
  }
  void Finish() override { told.push_back("end"); }

  std::vector<std::string> told;
  std::vector<std::vector<Polygon>> filled;
  std::vector<std::int64_t> words_at;
};

class PaintPicture : public testing::Test {
 protected:
  PaintPicture() {
    ink_.items = {StrokeOn("1.2.3.4")};
    options_.layout.page_size = PageSize{100, 50};
  }

  std::vector<std::string> Told() {
    const Picture picture = MakePicture({{&ink_, ""}}, options_);
    TalvoInk::PaintPicture(picture, paper_, painter_, tell_);
    return painter_.told;
  }

  // What is told between the begin and the end of the only sheet.
  std::vector<std::string> OnTheSheet() {
    const auto told = Told();
    return {told.begin() + 2, told.end() - 3};
  }

  // The ink's stroke through points all over the page, many more than a hand draws in one go.
  void Scribble() {
    std::vector<Stf2Sample> points;
    for (int i = 0; i < 1000; ++i)
      points.push_back(Sample(STF2_SAMPLE_COORDINATE, i * 7919 % 90000, i * 104729 % 40000));
    Stroke& stroke = std::get<Stroke>(ink_.items[0]);
    stroke.samples = DrawThrough(points);
    ASSERT_TRUE(IsLong(stroke));
  }

  Ink ink_;
  PictureOptions options_;
  PaperOptions paper_;
  TellShare tell_;
  NotingPainter painter_;
};

TEST_F(PaintPicture, SheetsFollowOneAnotherOnTheirLeaf) {
  ink_.items.push_back(StrokeOn("1.2.3.5"));
  EXPECT_THAT(Told(), ElementsAre("leaf", "sheet", "FF000000", "/sheet", "sheet", "FF000000",
                                  "/sheet", "/leaf", "end"));
}

TEST_F(PaintPicture, EachSheetMayBeALeaf) {
  ink_.items.push_back(StrokeOn("1.2.3.5"));
  options_.arrangement = Arrangement::kLeaves;
  EXPECT_THAT(Told(), ElementsAre("leaf", "sheet", "FF000000", "/sheet", "/leaf", "leaf", "sheet",
                                  "FF000000", "/sheet", "/leaf", "end"));
}

TEST_F(PaintPicture, TheInkLiesOnTheRulingAndTheRulingOnTheBackdrop) {
  paper_.ruling = Ruling::kRuled;
  paper_.backdrop = std::make_shared<Backdrop>(Backdrop{1, 1, "\1\2\3", {200, 50}});
  EXPECT_THAT(OnTheSheet(), ElementsAre("backdrop 0.500000", "FFC4D3E3", "FF000000"));
}

TEST_F(PaintPicture, TheInksOwnRulingHoldsUnlessAnotherIsAskedFor) {
  ink_.items.emplace_back(Marker{"1.2.3.4", 0, WritePaper({{100, 50}, "lined"})});
  options_.layout.own_paper = true;
  OnTheSheet();
  EXPECT_EQ(painter_.filled.at(0).size(), 6u);  // 50 mm, every 8
  painter_ = {};
  paper_.ruling = Ruling::kSquared;
  OnTheSheet();
  EXPECT_EQ(painter_.filled.at(0).size(), 9u + 19u);  // 50 by 100 mm, every 5
}

// A ruling costs in proportion to the paper, which may be kilometres wide for a single dot.
TEST_F(PaintPicture, ARulingOfMoreThanAThousandLinesIsNotDrawn) {
  paper_.ruling = Ruling::kSquared;
  options_.layout.page_size = PageSize{5000, 10};
  OnTheSheet();
  EXPECT_EQ(painter_.filled.size(), 2u);
  painter_ = {};
  options_.layout.page_size = PageSize{5001, 10};
  EXPECT_THAT(OnTheSheet(), ElementsAre("FF000000"));
}

TEST_F(PaintPicture, AContactSheetHasFramesAndNamesInTheirMiddle) {
  options_.arrangement = Arrangement::kContact;
  options_.columns = 1;
  EXPECT_THAT(Told(), ElementsAre("leaf", "sheet", "FF000000", "FFB0B0B0", "/sheet", "'1.2.3.4'",
                                  "/leaf", "end"));
  const Picture picture = MakePicture({{&ink_, ""}}, options_);
  EXPECT_THAT(painter_.words_at,
              ElementsAre(picture.sheets[0].left + picture.sheets[0].sheet.width / 2));
}

TEST_F(PaintPicture, AShortStrokeIsFilledWhole) {
  std::get<Stroke>(ink_.items[0]).color = 0x80000000;
  EXPECT_THAT(OnTheSheet(), ElementsAre("80000000"));
}

TEST_F(PaintPicture, ALongStrokeIsFilledInPartsThatDoNotShow) {
  Scribble();
  std::get<Stroke>(ink_.items[0]).color = 0x80123456;
  const auto told = OnTheSheet();
  ASSERT_GT(told.size(), 100u);
  EXPECT_EQ(told.front(), "group");
  EXPECT_EQ(told.back(), "/group");
  for (std::size_t i = 1; i + 1 < told.size(); ++i) ASSERT_EQ(told[i], "FF123456");
}

TEST_F(PaintPicture, OpaqueInkNeedsNoGroup) {
  Scribble();
  const auto told = OnTheSheet();
  ASSERT_GT(told.size(), 100u);
  for (const std::string& fill : told) ASSERT_EQ(fill, "FF000000");
}

TEST_F(PaintPicture, InkStandsOnTheSheetAsTheLayoutSays) {
  std::get<Stroke>(ink_.items[0]).samples = DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 0, 0)});
  options_.layout.page_size = PageSize{100, 50};
  options_.layout.placement = Placement::kCentred;
  OnTheSheet();
  for (const Corner& corner : painter_.filled.at(0).at(0)) {
    EXPECT_NEAR(double(corner.x), 50000, 1000);
    EXPECT_NEAR(double(corner.y), 25000, 1000);
  }
}

TEST_F(PaintPicture, TellsTheShareOfThePointsUpToItsEnd) {
  Scribble();
  std::vector<double> shares;
  const TellShare tell = [&](double share) { shares.push_back(share); };
  const Picture picture = MakePicture({{&ink_, ""}}, options_);
  TalvoInk::PaintPicture(picture, paper_, painter_, tell, 0.75);
  ASSERT_GT(shares.size(), 100u);
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_NEAR(shares.back(), 0.75, 0.001);
}

}  // namespace
}  // namespace TalvoInk
