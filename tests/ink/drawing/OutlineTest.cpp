#include "ink/drawing/Outline.h"

#include <gmock/gmock.h>

#include <cmath>
#include <random>

#include "ink/InkSupport.h"

namespace TalvoInk {
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

// Programs draw frames as four corners; a curve through them would bulge.
TEST(Outline, CornersBetweenLongPiecesAreSharp) {
  const auto frame = OutlineOf(Line({{0, 0}, {30000, 0}, {30000, 20000}, {0, 20000}, {0, 0}}));
  EXPECT_NE(WindingAt(frame, 15000, 0), 0);
  EXPECT_NE(WindingAt(frame, 30000, 10000), 0);
  for (const double beside : {-400.0, 400.0}) {
    EXPECT_EQ(WindingAt(frame, 15000, beside), 0);
    EXPECT_EQ(WindingAt(frame, 30000 + beside, 10000), 0);
  }
  // The same turns of a hand, close together, are round, and so is a coarse circle.
  const auto curl = OutlineOf(Line({{0, 0}, {3000, 0}, {3000, 2000}, {0, 2000}, {0, 0}}));
  EXPECT_EQ(WindingAt(curl, 3000, 1000), 0);
  const auto ring = OutlineOf(Line({{20000, 0},
                                    {10000, 17320},
                                    {-10000, 17320},
                                    {-20000, 0},
                                    {-10000, -17320},
                                    {10000, -17320},
                                    {20000, 0}}));
  EXPECT_EQ(WindingAt(ring, 0, 17320), 0);
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

TEST(Outline, ABroadTipLeavesItsShape) {
  Stroke stroke = Line({{0, 0}, {10000, 0}}, 30000);
  stroke.width_um = 700;
  const Tip tip{Tip::Shape::kRectangle, 5000, true, false};
  const auto polygons = OutlineOf(stroke, tip);
  EXPECT_NE(WindingAt(polygons, 5000, 2490), 0);
  EXPECT_NE(WindingAt(polygons, -340, -2490), 0);  // its corners are sharp
  EXPECT_EQ(WindingAt(polygons, 5000, 2510), 0);
  EXPECT_EQ(WindingAt(polygons, -360, 0), 0);
  const auto round = OutlineOf(stroke, {Tip::Shape::kEllipse, 5000, true, false});
  EXPECT_NE(WindingAt(round, 0, 2450), 0);
  EXPECT_EQ(WindingAt(round, -340, -2490), 0);
}

TEST(Outline, ABroadTipThatTouchesOnceLeavesItsPrint) {
  Stroke stroke = Line({{0, 0}});
  stroke.width_um = 700;
  const auto polygons = OutlineOf(stroke, {Tip::Shape::kRectangle, 5000, false, false});
  ASSERT_EQ(polygons.size(), 1u);
  EXPECT_EQ(polygons[0].size(), 4u);
  EXPECT_EQ(std::abs(Area(polygons[0])), 700.0 * 5000);
}

TEST(Outline, PiecesOfABroadTipAllTurnOneWay) {
  std::mt19937 random(5);
  std::vector<std::pair<int, int>> points;
  for (int i = 0; i < 60; ++i) points.emplace_back(int(random() % 9000), int(random() % 9000));
  for (const auto shape : {Tip::Shape::kRectangle, Tip::Shape::kEllipse}) {
    for (const Polygon& polygon : OutlineOf(Line(points, 9000), {shape, 2000, false, false})) {
      EXPECT_GT(Area(polygon), 0);
    }
  }
}

TEST(Outline, ATipThatHeedsNoForceIsAsWideEverywhere) {
  Stroke stroke = Line({{0, 0}, {5000, 0}, {10000, 0}}, 65535);
  const Box pressed = BoxOf(stroke), constant = BoxOf(stroke, {Tip::Shape::kRound, 0, true, false});
  EXPECT_EQ(pressed.bottom, 375);
  EXPECT_EQ(constant.bottom, 250);
}

TEST(Outline, TheBoxHoldsTheOutlineButForItsSwing) {
  std::mt19937 random(7);
  for (int round = 0; round < 50; ++round) {
    std::vector<std::pair<int, int>> points;
    for (int i = 0; i < 9; ++i) points.emplace_back(int(random() % 9000), int(random() % 9000));
    Stroke stroke = Line(points, static_cast<std::uint16_t>(random()));
    stroke.width_um = 300 + random() % 900;
    const Tip tip = round % 2 == 0 ? Tip() : Tip{Tip::Shape::kEllipse, 3000, false, false};
    const Box box = BoxOf(stroke, tip);
    for (const Polygon& polygon : OutlineOf(stroke, tip)) {
      for (const Corner& corner : polygon) {
        EXPECT_GE(corner.x, box.left - 1000);
        EXPECT_LE(corner.x, box.right + 1000);
        EXPECT_GE(corner.y, box.top - 1000);
        EXPECT_LE(corner.y, box.bottom + 1000);
      }
    }
  }
}

TEST(Outline, ItsPiecesCoverItInTheOrderOfTime) {
  const Stroke stroke = Line({{0, 0}, {4000, 3000}, {8000, 0}, {12000, 3000}});
  for (const Tip& tip : {Tip(), Tip{Tip::Shape::kRectangle, 2000, false, false}}) {
    const auto whole = OutlineOf(stroke, tip);
    const auto pieces = OutlinePiecesOf(stroke, tip, {0, 100, 200, 300}, 50);
    EXPECT_GE(pieces.size(), 4u);
    std::vector<Polygon> all;
    double last = -1;
    for (const OutlinePiece& piece : pieces) {
      EXPECT_GT(piece.time_ms, last);
      last = piece.time_ms;
      all.insert(all.end(), piece.polygons.begin(), piece.polygons.end());
    }
    for (int x = -500; x < 12500; x += 130) {
      for (int y = -1500; y < 4500; y += 130) {
        EXPECT_TRUE(WindingAt(whole, x, y) == 0 || WindingAt(all, x, y) != 0) << x << "," << y;
      }
    }
  }
}

TEST(Outline, ADotIsOnePiece) {
  EXPECT_EQ(OutlinePiecesOf(Line({{5, 5}}), {}, {7}, 50).size(), 1u);
  EXPECT_TRUE(OutlinePiecesOf(Stroke(), {}, {}, 50).empty());
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

// A stroke of very many points is drawn part by part, with nothing missing between the parts.
TEST(Outline, AStrokeOfManyPartsIsWhole) {
  std::vector<std::pair<int, int>> points;
  for (int i = 0; i < 20000; ++i) points.emplace_back(i * 300, i % 2 == 0 ? 0 : 200);
  const Stroke stroke = Line(points);
  std::size_t most = 0;
  const auto polygons = OutlineOf(stroke);
  for (const Polygon& polygon : polygons) most = std::max(most, polygon.size());
  EXPECT_LT(most, 4096u);
  for (int x = 0; x < 19999 * 300; x += 1237) {
    // Polygons lie along the line; those near are enough to look at.
    std::vector<Polygon> near;
    for (const Polygon& polygon : polygons) {
      const auto [left, right] =
          std::minmax_element(polygon.begin(), polygon.end(),
                              [](const Corner& a, const Corner& b) { return a.x < b.x; });
      if (left->x <= x && right->x >= x) near.push_back(polygon);
    }
    ASSERT_NE(WindingAt(near, x, 100), 0) << x;
  }
}

}  // namespace
}  // namespace TalvoInk
