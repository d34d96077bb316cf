#include "ink/drawing/TipPrint.h"

#include <gtest/gtest.h>

#include <cmath>

namespace TalvoInk {
namespace {

constexpr double kToleranceUm = 6;

// How far a corner lies from the ellipse, as a share of its size.
double OffEllipse(const Corner& corner, const TipPrint& print) {
  return std::hypot((double(corner.x) - print.x) / print.half_width,
                    (double(corner.y) - print.y) / print.half_height) -
         1;
}

bool Holds(const Polygon& polygon, std::int64_t x, std::int64_t y) {
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const Corner &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
    if ((b.x - a.x) * (y - a.y) - (b.y - a.y) * (x - a.x) < 0) return false;
  }
  return true;
}

TEST(TipPrint, ARectangleThatStandsLeavesARectangle) {
  const TipPrint print{1000, 2000, 350, 2500};
  const Polygon polygon = SweepOf(Tip::Shape::kRectangle, print, print, kToleranceUm);
  ASSERT_EQ(polygon.size(), 4u);
  for (const Corner& corner : polygon) {
    EXPECT_EQ(std::abs(corner.x - 1000), 350);
    EXPECT_EQ(std::abs(corner.y - 2000), 2500);
  }
}

TEST(TipPrint, AnEllipseThatStandsLeavesAnEllipse) {
  const TipPrint print{1000, 2000, 350, 2500};
  const Polygon polygon = SweepOf(Tip::Shape::kEllipse, print, print, kToleranceUm);
  for (const Corner& corner : polygon) EXPECT_NEAR(OffEllipse(corner, print), 0, 0.005);
  // What is missing between two corners is thinner than the tolerance.
  EXPECT_TRUE(Holds(polygon, 1000, 2000 + 2500 - 7));
  EXPECT_TRUE(Holds(polygon, 1000 - 350 + 7, 2000));
  EXPECT_FALSE(Holds(polygon, 1000 + 345, 2000 + 2490));
}

TEST(TipPrint, AnEllipseHasNoMoreCornersThanItsSizeNeeds) {
  const auto corners = [](double radius) {
    const TipPrint print{0, 0, radius, radius};
    return SweepOf(Tip::Shape::kEllipse, print, print, kToleranceUm).size();
  };
  EXPECT_EQ(corners(10), 8u);
  EXPECT_GT(corners(500), 8u);
  EXPECT_LT(corners(500), 30u);
  EXPECT_EQ(corners(1e6), 90u);
}

// A broad edge that is drawn slantwise leaves a hexagon: the way between both prints is inked too.
TEST(TipPrint, ATipInksWhatItSlidesOver) {
  const TipPrint from{0, 0, 100, 1000}, to{5000, 3000, 100, 1000};
  const Polygon polygon = SweepOf(Tip::Shape::kRectangle, from, to, kToleranceUm);
  EXPECT_EQ(polygon.size(), 6u);
  EXPECT_TRUE(Holds(polygon, 2500, 1500));
  EXPECT_TRUE(Holds(polygon, 2500, 1500 + 1000));
  EXPECT_FALSE(Holds(polygon, 2500, 1500 + 1100));
  EXPECT_FALSE(Holds(polygon, 5000, 1900));
}

// Force may change on the way: the wide end does not make the narrow one wider.
TEST(TipPrint, ATipThatGrowsLeavesAWedge) {
  const TipPrint from{0, 0, 100, 100}, to{5000, 0, 1000, 1000};
  const Polygon polygon = SweepOf(Tip::Shape::kRectangle, from, to, kToleranceUm);
  EXPECT_TRUE(Holds(polygon, 5500, 900));
  EXPECT_TRUE(Holds(polygon, 0, 90));
  EXPECT_FALSE(Holds(polygon, 0, 300));
}

}  // namespace
}  // namespace TalvoInk
