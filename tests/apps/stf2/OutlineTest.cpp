#include "Outline.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "InkSupport.h"

namespace InkTool {
namespace {

Stroke Line(const std::vector<std::pair<int, int>>& points, std::uint16_t force = 0) {
  std::vector<Stf2Sample> samples;
  for (const auto& [x, y] : points) {
    samples.push_back(Sample(STF2_SAMPLE_COORDINATE, x, y, force));
  }
  Stroke stroke;
  stroke.samples = DrawThrough(samples);
  return stroke;
}

// How often the polygons wind around a point: not zero is ink.
int WindingAt(const std::vector<Polygon>& polygons, double x, double y) {
  int winding = 0;
  for (const Polygon& polygon : polygons) {
    for (std::size_t i = 0; i < polygon.size(); ++i) {
      const Corner &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
      const double side =
          double(b.x - a.x) * (y - double(a.y)) - (x - double(a.x)) * double(b.y - a.y);
      if (double(a.y) <= y && double(b.y) > y && side > 0) ++winding;
      if (double(a.y) > y && double(b.y) <= y && side < 0) --winding;
    }
  }
  return winding;
}

double Area(const Polygon& polygon) {
  double area = 0;
  for (std::size_t i = 0; i < polygon.size(); ++i) {
    const Corner &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
    area += double(a.x) * double(b.y) - double(b.x) * double(a.y);
  }
  return area / 2;
}

TEST(Outline, AStrokeWithoutSamplesHasNone) {
  EXPECT_TRUE(OutlineOf(Stroke()).empty());
}

TEST(Outline, APointIsARoundDotOfTheDefaultWidth) {
  const auto polygons = OutlineOf(Line({{1000, 2000}}));
  ASSERT_EQ(polygons.size(), 1u);
  for (const Corner& corner : polygons[0]) {
    EXPECT_NEAR(std::hypot(double(corner.x - 1000), double(corner.y - 2000)), 250, 2);
  }
}

TEST(Outline, APenThatOnlyTouchesDownMakesADot) {
  Stroke stroke;
  stroke.samples = {Sample(STF2_SAMPLE_PEN_DOWN, 1000, 2000),
                    Sample(STF2_SAMPLE_PEN_UP, 1000, 2000)};
  EXPECT_EQ(OutlineOf(stroke).size(), 1u);
}

TEST(Outline, AStraightLineIsAsWideAsItsPenWithRoundEnds) {
  Stroke stroke = Line({{0, 0}, {5000, 0}, {10000, 0}});
  stroke.width_um = 1000;
  const auto polygons = OutlineOf(stroke);
  EXPECT_NE(WindingAt(polygons, 5000, 490), 0);
  EXPECT_EQ(WindingAt(polygons, 5000, 510), 0);
  EXPECT_NE(WindingAt(polygons, -480, 0), 0);
  EXPECT_EQ(WindingAt(polygons, -400, 400), 0);
}

TEST(Outline, MoreForceMakesAWiderLine) {
  const auto width = [](std::uint16_t force) {
    return Area(OutlineOf(Line({{0, 0}, {10000, 0}, {20000, 0}}, force))[0]) / 20000;
  };
  EXPECT_GT(width(60000), 1.5 * width(20000));
  EXPECT_GT(width(20000), 1.2 * width(5000));
}

TEST(Outline, InkWithoutForceIsAsWideAsInkOfMediumForce) {
  const auto area = [](std::uint16_t force) {
    return Area(OutlineOf(Line({{0, 0}, {10000, 0}, {20000, 0}}, force))[0]);
  };
  EXPECT_NEAR(area(0), area(32768), area(0) / 1000);
}

TEST(Outline, NoLineIsFinerThanAnEyeSees) {
  Stroke stroke = Line({{0, 0}, {10000, 0}});
  stroke.width_um = 1;
  EXPECT_NE(WindingAt(OutlineOf(stroke), 5000, 110), 0);
}

TEST(Outline, ASharpTurnMakesNoSpike) {
  const auto polygons = OutlineOf(Line({{0, 0}, {5000, 0}, {10000, 0}, {5000, 100}, {0, 200}}));
  for (const Polygon& polygon : polygons) {
    for (const Corner& corner : polygon) {
      EXPECT_LE(corner.x, 10000 + 255);
      EXPECT_GE(corner.x, -255);
      EXPECT_LE(std::abs(corner.y - 100), 400);
    }
  }
}

TEST(Outline, ACurveThatTurnsTighterThanItsWidthHasNoHole) {
  for (const double round : {60.0, 200.0, 400.0}) {
    for (const int points : {12, 40, 160}) {
      std::vector<std::pair<int, int>> circle;
      for (int i = 0; i <= points; ++i) {
        const double angle = 6.2831853 * i / points;
        circle.emplace_back(int(round * std::cos(angle)), int(round * std::sin(angle)));
      }
      Stroke stroke = Line(circle);
      stroke.width_um = 1000;
      const auto polygons = OutlineOf(stroke);
      const double reach = 500 + 0.7 * round;
      for (double x = -reach; x <= reach; x += 23.1) {
        for (double y = -reach; y <= reach; y += 23.1) {
          if (std::hypot(x, y) < reach) {
            ASSERT_GT(WindingAt(polygons, x, y), 0)
                << round << ' ' << points << ' ' << x << ' ' << y;
          }
        }
      }
    }
  }
}

// Scribbles of every kind: wide pens, tight turns, jumps of force. All pieces turn the same way,
// and the ink covers the way of the pen without gaps.
TEST(Outline, AnyScribbleIsCoveredWithoutGapsByPiecesThatTurnOneWay) {
  std::mt19937 random(9);
  for (int round = 0; round < 60; ++round) {
    std::vector<Stf2Sample> points;
    double x = 0, y = 0, direction = 0;
    const double step = 50 + random() % 2000;
    for (int i = 0; i < 40; ++i) {
      direction += (random() % 1000 / 500.0 - 1) * (round % 3 + 0.2);
      x += step * std::cos(direction);
      y += step * std::sin(direction);
      points.push_back(Sample(STF2_SAMPLE_COORDINATE, int(x), int(y), int(random() % 65536)));
    }
    Stroke stroke;
    stroke.samples = DrawThrough(points);
    stroke.width_um = 200 + random() % 3000;
    const auto polygons = OutlineOf(stroke);
    for (const Polygon& polygon : polygons) EXPECT_GT(Area(polygon), 0);
    const double reach = std::max<double>(stroke.width_um, kFinestWidthUm) / 2 * 1.6;
    for (std::size_t i = 0; i < points.size(); ++i) {
      // Smoothing moves the way by less than half the pen's width.
      bool inked = false;
      for (int angle = 0; angle < 16 && !inked; ++angle) {
        const double a = angle * 0.3927;
        for (const double r : {0.0, 0.25, 0.5}) {
          inked = inked || WindingAt(polygons, points[i].x_um + r * reach * std::cos(a) + 0.3,
                                     points[i].y_um + r * reach * std::sin(a) + 0.3) != 0;
        }
      }
      EXPECT_TRUE(inked) << round << ' ' << i;
    }
  }
}

TEST(Outline, PiecesThatFollowOneAnotherShareTheirEnds) {
  const auto polygons = OutlineOf(Line({{0, 0}, {4000, 0}, {8000, 0}, {4000, 0}, {-4000, 0}}));
  ASSERT_GT(polygons.size(), 1u);
  for (int x = -4000; x <= 8000; x += 50) EXPECT_NE(WindingAt(polygons, x + 0.5, 0.5), 0) << x;
  EXPECT_NE(WindingAt(polygons, 8200, 0.5), 0);
}

TEST(Outline, FewPointsFarApartAreNotSmoothedAway) {
  const auto polygons = OutlineOf(Line({{0, 0}, {9000, 0}, {9000, 9000}, {0, 9000}, {0, 0}}));
  EXPECT_NE(WindingAt(polygons, 9000.5, 0.5), 0);
  EXPECT_NE(WindingAt(polygons, 9000.5, 9000.5), 0);
}

TEST(Outline, TheStepsOfACoarseGridAreIronedOut) {
  // A slanted line as a screen reports it: pixels of 265 micrometres, eight to the right for each
  // one down.
  std::vector<std::pair<int, int>> steps;
  for (int i = 0; i < 80; ++i) steps.emplace_back(265 * i, 265 * (i / 8));
  for (const Polygon& polygon : OutlineOf(Line(steps))) {
    for (const Corner& corner : polygon) {
      const bool inside = corner.x > 2500 && corner.x < 18000;
      const double off = (double(corner.y) - double(corner.x) / 8 + 116) / std::hypot(1, 0.125);
      if (inside) {
        EXPECT_NEAR(std::abs(off), 250, 40) << corner.x;
      }
    }
  }
}

TEST(Outline, TheFarthestCornersOfTheWorldAreHeld) {
  const auto polygons = OutlineOf(Line({{-2147483647, -2147483647}, {2147483647, 2147483647}}));
  ASSERT_FALSE(polygons.empty());
  EXPECT_GT(polygons[0][0].x, -2147490000);
}

}  // namespace
}  // namespace InkTool
