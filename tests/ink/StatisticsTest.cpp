#include "ink/Statistics.h"

#include <gtest/gtest.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

// A line of 30 mm by 40 mm, as two steps of 25 mm, with times and forces.
Stroke Slope(const char* page, std::uint64_t start, unsigned last_ms, int force = 0) {
  Stroke stroke;
  stroke.page = page;
  stroke.start_time_ms = start;
  stroke.samples =
      DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 0, 0, force, 0, 1),
                   Sample(STF2_SAMPLE_COORDINATE, 15000, 20000, force * 2, last_ms / 2, 1),
                   Sample(STF2_SAMPLE_COORDINATE, 30000, 40000, force * 3, last_ms, 1)});
  return stroke;
}

Ink InkOf(const std::vector<Stroke>& strokes) {
  Ink ink;
  ink.items.assign(strokes.begin(), strokes.end());
  return ink;
}

TEST(Statistics, AStrokesLengthTimeAndSpeed) {
  const auto pages = StatisticsOf(InkOf({Slope("1.1.1.1", 1000, 500)}));
  ASSERT_EQ(pages.size(), 1u);
  const StrokeStatistics& stroke = pages[0].strokes.at(0);
  EXPECT_EQ(stroke.points, 3u);
  EXPECT_NEAR(stroke.length_mm, 50, 1e-9);
  EXPECT_EQ(stroke.duration_ms, 500);
  EXPECT_NEAR(*stroke.speed_mm_s, 100, 1e-9);
  EXPECT_FALSE(stroke.pause_ms.has_value());
  EXPECT_FALSE(stroke.force.has_value());
}

TEST(Statistics, ForceIsAShareOfThePensRange) {
  const auto pages = StatisticsOf(InkOf({Slope("1.1.1.1", 1000, 500, 13107)}));
  const ForceStatistics force = *pages[0].strokes.at(0).force;
  EXPECT_NEAR(force.mean, 0.4, 1e-9);
  EXPECT_NEAR(force.least, 0.2, 1e-9);
  EXPECT_NEAR(force.most, 0.6, 1e-9);
  EXPECT_NEAR(pages[0].force->mean, 0.4, 1e-9);
}

TEST(Statistics, PausesLieBetweenTheStrokesOfAPage) {
  const auto pages =
      StatisticsOf(InkOf({Slope("1.1.1.1", 1000, 500), Slope("1.1.1.2", 5000, 500),
                          Slope("1.1.1.1", 1700, 300), Slope("1.1.1.1", 3000, 200)}));
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_EQ(pages[0].strokes.at(1).pause_ms, 200);
  EXPECT_EQ(pages[0].pauses, 2u);
  EXPECT_EQ(pages[0].pause_ms, 1200);
  EXPECT_EQ(pages[0].longest_pause_ms, 1000);
  EXPECT_EQ(pages[1].pauses, 0u);
}

TEST(Statistics, StrokesThatOverlapHaveNoPauseBetweenThem) {
  const auto pages =
      StatisticsOf(InkOf({Slope("1.1.1.1", 1000, 500), Slope("1.1.1.1", 1200, 100)}));
  EXPECT_EQ(pages[0].strokes.at(1).pause_ms, -300);
  EXPECT_EQ(pages[0].pauses, 0u);
  EXPECT_EQ(pages[0].pause_ms, 0);
}

TEST(Statistics, APageAddsItsStrokesUp) {
  const auto pages =
      StatisticsOf(InkOf({Slope("1.1.1.1", 1000, 500), Slope("1.1.1.1", 2000, 1500)}));
  EXPECT_EQ(pages[0].points, 6u);
  EXPECT_NEAR(pages[0].length_mm, 100, 1e-9);
  EXPECT_EQ(pages[0].writing_ms, 2000);
  EXPECT_NEAR(*pages[0].speed_mm_s, 50, 1e-9);
}

TEST(Statistics, WhatIsNotKnownIsNotMadeUp) {
  Stroke untimed = Slope("1.1.1.1", 0, 0);
  for (Stf2Sample& sample : untimed.samples) sample.flags = 0;
  const auto pages = StatisticsOf(InkOf({untimed, Slope("1.1.1.1", 0, 100), untimed}));
  EXPECT_FALSE(pages[0].strokes.at(0).duration_ms.has_value());
  EXPECT_FALSE(pages[0].strokes.at(0).speed_mm_s.has_value());
  EXPECT_EQ(pages[0].strokes.at(1).duration_ms, 100);  // though nobody knows of which day
  EXPECT_FALSE(pages[0].strokes.at(1).pause_ms.has_value());
  EXPECT_NEAR(*pages[0].speed_mm_s, 500, 1e-9);
}

TEST(Statistics, ThePauseAfterAStrokeWhoseEndIsNotKnownIsNot) {
  Stroke begun = Slope("1.1.1.1", 1000, 0);
  for (std::size_t i = 2; i < begun.samples.size(); ++i) begun.samples[i].flags = 0;
  const auto pages = StatisticsOf(InkOf({begun, Slope("1.1.1.1", 5000, 10)}));
  EXPECT_FALSE(pages[0].strokes.at(1).pause_ms.has_value());
}

TEST(Statistics, InkWithoutStrokesHasNoPages) {
  EXPECT_TRUE(StatisticsOf(Ink()).empty());
  EXPECT_EQ(StatisticsOf(InkOf({Stroke()})).at(0).length_mm, 0);
}

}  // namespace
}  // namespace TalvoInk
