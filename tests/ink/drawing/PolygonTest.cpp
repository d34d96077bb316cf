#include "ink/drawing/Polygon.h"

#include <gmock/gmock.h>

#include <random>

namespace TalvoInk {

bool operator==(const Corner& a, const Corner& b) {
  return a.x == b.x && a.y == b.y;
}

namespace {

using testing::ElementsAre;

// Positive if c lies to that side of the way from a to b to which a hull turns.
double Turn(const Corner& a, const Corner& b, const Corner& c) {
  return double(b.x - a.x) * double(c.y - a.y) - double(b.y - a.y) * double(c.x - a.x);
}

TEST(Polygon, ACornerIsTheNextMicrometre) {
  EXPECT_EQ(RoundedCorner(1.4, -1.4), (Corner{1, -1}));
  EXPECT_EQ(RoundedCorner(1.6, -1.6), (Corner{2, -2}));
}

TEST(Polygon, AHullLeavesOutWhatLiesInsideAndOnItsSides) {
  const auto hull = HullOf({{0, 0}, {4, 4}, {2, 2}, {4, 0}, {2, 0}, {0, 4}, {1, 3}, {4, 4}});
  EXPECT_THAT(hull, ElementsAre(Corner{0, 0}, Corner{4, 0}, Corner{4, 4}, Corner{0, 4}));
}

TEST(Polygon, CornersOnALineHaveItsEndsAsTheirHull) {
  EXPECT_THAT(HullOf({{2, 2}, {0, 0}, {3, 3}, {1, 1}}), ElementsAre(Corner{0, 0}, Corner{3, 3}));
  EXPECT_THAT(HullOf({{0, 5}, {0, 1}, {0, 3}}), ElementsAre(Corner{0, 1}, Corner{0, 5}));
}

TEST(Polygon, OneCornerIsItsOwnHull) {
  EXPECT_THAT(HullOf({{7, 8}}), ElementsAre(Corner{7, 8}));
}

TEST(Polygon, AnyHullTurnsOneWayAndHoldsAllCorners) {
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    std::vector<Corner> corners;
    for (int i = 0; i < 30; ++i) corners.push_back({int(random() % 100), int(random() % 100)});
    const Polygon hull = HullOf(corners);
    for (std::size_t i = 0; i < hull.size(); ++i) {
      const Corner &a = hull[i], &b = hull[(i + 1) % hull.size()];
      EXPECT_GT(Turn(a, b, hull[(i + 2) % hull.size()]), 0);
      for (const Corner& corner : corners) EXPECT_GE(Turn(a, b, corner), 0);
    }
  }
}

TEST(Polygon, ABoxGrowsToWhatItTakes) {
  Box box;
  box.Take(Box());
  EXPECT_TRUE(box.is_empty);
  box.Take({10, 20, 30, 40, false});
  EXPECT_FALSE(box.is_empty);
  EXPECT_EQ(box.left, 10);  // the corner of the page, from which an empty one begins, is not in it
  EXPECT_EQ(box.top, 20);
  box.Take({-5, 25, 15, 60, false});
  box.Take(Box());
  EXPECT_EQ(box.left, -5);
  EXPECT_EQ(box.top, 20);
  EXPECT_EQ(box.right, 30);
  EXPECT_EQ(box.bottom, 60);
}

}  // namespace
}  // namespace TalvoInk
