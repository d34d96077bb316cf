#include "ink/drawing/ReplayTimes.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;

constexpr double kForever = 1e18;

Stroke Timed(std::uint64_t start, const std::vector<unsigned>& offsets) {
  std::vector<Stf2Sample> points;
  for (const unsigned offset : offsets) {
    points.push_back(Sample(STF2_SAMPLE_COORDINATE, int(points.size()) * 600, 0, 0, offset,
                            STF2_SAMPLE_HAS_TIME));
  }
  Stroke stroke;
  stroke.start_time_ms = start;
  stroke.samples = DrawThrough(points);
  return stroke;
}

Stroke Untimed(int points) {
  Stroke stroke = Timed(0, std::vector<unsigned>(static_cast<std::size_t>(points), 0));
  for (Stf2Sample& sample : stroke.samples) sample.flags = 0;
  return stroke;
}

TEST(ReplayTimes, ThePensOwnTimesCountFromTheFirst) {
  const Stroke a = Timed(5000, {0, 10, 30}), b = Timed(5100, {0, 40});
  const ReplayTimes times({&a, &b}, kForever, 1);
  EXPECT_THAT(times.Of(0), ElementsAre(0, 10, 30));
  EXPECT_THAT(times.Of(1), ElementsAre(100, 140));
  EXPECT_EQ(times.duration_ms(), 140);
  EXPECT_EQ(times.assumed(), 0u);
}

TEST(ReplayTimes, LongPausesAreShortenedBetweenAndWithinStrokes) {
  const Stroke a = Timed(5000, {0, 10, 5010}), b = Timed(90000, {0, 40});
  const ReplayTimes times({&a, &b}, 100, 1);
  EXPECT_THAT(times.Of(0), ElementsAre(0, 10, 110));
  EXPECT_THAT(times.Of(1), ElementsAre(210, 250));
}

TEST(ReplayTimes, SpeedHoldsForAll) {
  const Stroke a = Timed(5000, {0, 10, 30});
  EXPECT_THAT(ReplayTimes({&a}, kForever, 2).Of(0), ElementsAre(0, 5, 15));
}

TEST(ReplayTimes, StrokesAreOrderedByTheirBeginning) {
  const Stroke a = Timed(9000, {0, 10}), b = Timed(5000, {0, 10});
  EXPECT_THAT(ReplayTimes({&a, &b}, kForever, 1).order(), ElementsAre(1, 0));
}

TEST(ReplayTimes, TimesNeverGoBack) {
  const Stroke a = Timed(5000, {10, 5, 30});
  EXPECT_THAT(ReplayTimes({&a}, kForever, 1).Of(0), ElementsAre(0, 0, 20));
}

TEST(ReplayTimes, StrokesWithoutTimesAreWrittenAtAHandsSpeed) {
  const Stroke a = Untimed(3), b = Untimed(2);
  const ReplayTimes times({&a, &b}, kForever, 1);
  EXPECT_THAT(times.Of(0), ElementsAre(0, 10, 20));
  EXPECT_THAT(times.Of(1), ElementsAre(270, 280));
  EXPECT_EQ(times.assumed(), 2u);
}

TEST(ReplayTimes, AStrokeOfWhichOnlyTheBeginningIsKnownBeginsThen) {
  Stroke a = Untimed(3);
  a.start_time_ms = 7000;
  const Stroke b = Timed(6000, {0, 10});
  EXPECT_THAT(ReplayTimes({&b, &a}, kForever, 1).Of(1), ElementsAre(1000, 1010, 1020));
}

TEST(ReplayTimes, NoStrokesTakeNoTime) {
  EXPECT_EQ(ReplayTimes({}, kForever, 1).duration_ms(), 0);
  const Stroke empty;
  EXPECT_TRUE(ReplayTimes({&empty}, kForever, 1).Of(0).empty());
}

}  // namespace
}  // namespace TalvoInk
