#include "ink/svg/SvgPath.h"

#include <gmock/gmock.h>

#include <cmath>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

// Runs as "x,y x,y | x,y", rounded to a hundredth; curves in pieces that are off by a lot.
std::string Runs(const std::string& d, double tolerance = 1e9) {
  std::string out;
  for (const SvgRun& run : ParseSvgPath(d, tolerance)) {
    if (!out.empty()) out += "| ";
    for (const SvgPoint& point : run) {
      char text[64];
      std::snprintf(text, sizeof text, "%g,%g ", std::round(point.x * 100) / 100,
                    std::round(point.y * 100) / 100);
      out += text;
    }
  }
  return out;
}

std::string FaultOf(const std::string& d) {
  try {
    ParseSvgPath(d, 1);
  } catch (const InkError& error) {
    return error.what();
  }
  return {};
}

TEST(SvgPath, LinesAreAbsoluteOrRelative) {
  EXPECT_EQ(Runs("M1 2L3 4l1 1H9h1V0v-1"), "1,2 3,4 4,5 9,5 10,5 10,0 10,-1 ");
  EXPECT_EQ(Runs("m1,2 3,4 5,6"), "1,2 4,6 9,12 ");
}

TEST(SvgPath, NumbersMayTouch) {
  EXPECT_EQ(Runs("M1-2.5.5e1-1L+3,4"), "1,-2.5 5,-1 3,4 ");
}

TEST(SvgPath, EachMoveBeginsARun) {
  EXPECT_EQ(Runs("M0 0 1 1M5 5 6 6"), "0,0 1,1 | 5,5 6,6 ");
}

TEST(SvgPath, AClosedRunEndsWhereItBegan) {
  EXPECT_EQ(Runs("M1 1h5v5z"), "1,1 6,1 6,6 1,1 ");
  EXPECT_EQ(Runs("M1 1h5v5zl3 3"), "1,1 6,1 6,6 1,1 | 1,1 4,4 ");
}

TEST(SvgPath, CurvesStayWithinTheTolerance) {
  const auto runs = ParseSvgPath("M0 0C0 100 100 100 100 0", 0.5);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_GT(runs[0].size(), 8u);
  EXPECT_LT(runs[0].size(), 40u);
  double highest = 0;
  for (const SvgPoint& point : runs[0]) highest = std::max(highest, point.y);
  EXPECT_NEAR(highest, 75, 0.5);
  EXPECT_NEAR(ParseSvgPath("M0 0Q50 100 100 0", 0.01)[0].size(), 100, 70);
}

TEST(SvgPath, SmoothCurvesGoOnAsTheLastOne) {
  EXPECT_EQ(Runs("M0 0C0 10 10 10 10 0S20-10 20 0", 1),
            Runs("M0 0C0 10 10 10 10 0C10 -10 20-10 20 0", 1));
  EXPECT_EQ(Runs("M0 0Q5 10 10 0T20 0", 1), Runs("M0 0Q5 10 10 0Q15 -10 20 0", 1));
  EXPECT_EQ(Runs("M0 0L10 0S20 10 20 0", 1), Runs("M0 0L10 0C10 0 20 10 20 0", 1));
}

TEST(SvgPath, ArcsLieOnTheirEllipse) {
  const auto runs = ParseSvgPath("M10 0A10 10 0 0 1 0 10", 0.001);
  for (const SvgPoint& point : runs[0]) EXPECT_NEAR(std::hypot(point.x, point.y), 10, 0.01);
  EXPECT_GT(runs[0].size(), 30u);
  // The long way round passes the other side.
  double least = 0;
  const auto round = ParseSvgPath("M10 0A10 10 0 1 0 0 10", 0.1);
  for (const SvgPoint& point : round[0]) least = std::min(least, point.x);
  EXPECT_NEAR(least, -10, 0.2);
}

TEST(SvgPath, ArcsThatCantBeAreLinesOrAsLargeAsTheyMustBe) {
  EXPECT_EQ(Runs("M0 0A0 5 0 0 1 9 9"), "0,0 9,9 ");
  EXPECT_EQ(Runs("M1 1a5 5 0 0 1 0 0"), "1,1 1,1 ");
  const auto grown = ParseSvgPath("M0 0A1 1 0 0 1 20 0", 0.01);
  double most = 0;
  for (const SvgPoint& point : grown[0]) most = std::max(most, std::abs(point.y));
  EXPECT_NEAR(most, 10, 0.1);
}

TEST(SvgPath, FlagsOfArcsMayTouch) {
  EXPECT_EQ(Runs("M0 0a5 5 0 0110 0", 1), Runs("M0 0A5 5 0 0 1 10 0", 1));
}

TEST(SvgPath, DamageIsRefusedWithItsPlace) {
  EXPECT_EQ(FaultOf("L1 2"), "not path data at character 2");
  EXPECT_EQ(FaultOf("M1"), "not path data at character 3");
  EXPECT_EQ(FaultOf("M1 2X"), "not path data at character 5");
  EXPECT_EQ(FaultOf("M1 2Z3"), "not path data at character 6");
  EXPECT_EQ(FaultOf("M0 0A1 1 0 2 1 3 3"), "not path data at character 12");
  EXPECT_EQ(FaultOf("M1 1e999"), "not path data at character 4");
  EXPECT_NE(FaultOf("M1e308 0h1e308"), "");
  EXPECT_EQ(FaultOf(""), "");
}

TEST(SvgPath, PointsOfPolylinesAreReadInPairs) {
  EXPECT_EQ(ParseSvgPoints("1,2 3 4,5-6").size(), 3u);
  EXPECT_THROW(ParseSvgPoints("1,2 3"), InkError);
}

TEST(SvgPath, AnEllipseIsClosed) {
  const SvgRun run = SvgEllipse(1, 2, 10, 5, 0.1);
  EXPECT_NEAR(run.front().x, run.back().x, 1e-9);
  EXPECT_NEAR(run.front().y, run.back().y, 1e-9);
  EXPECT_GT(run.size(), 15u);
}

}  // namespace
}  // namespace TalvoInk
