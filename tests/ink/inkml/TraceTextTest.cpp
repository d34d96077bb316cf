#include "ink/inkml/TraceText.h"

#include <gmock/gmock.h>

#include <cmath>

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::Pair;

using Points = std::vector<std::pair<double, double>>;

TraceDecoder Decode(const std::string& text, std::vector<int> roles = {kX, kY}) {
  const std::size_t regular = roles.size();
  TraceDecoder decoder(std::move(roles), regular);
  decoder.Feed(text.data(), text.size(), 0);
  decoder.Finish(text.size());
  return decoder;
}

Points XY(const TraceDecoder& decoder) {
  Points points;
  for (const TracePoint& point : decoder.points()) points.emplace_back(point[kX], point[kY]);
  return points;
}

Points XY(const std::string& text) {
  return XY(Decode(text));
}

// The place and the reason of a refused text.
std::pair<std::size_t, std::string> FaultOf(const std::string& text) {
  try {
    Decode(text);
  } catch (const TraceFault& fault) {
    return {fault.offset, fault.reason};
  }
  return {0, "none"};
}

TEST(TraceText, PointsAreSeparatedByCommasAndValuesByWhiteSpace) {
  EXPECT_THAT(XY("1 2, 3 4"), ElementsAre(Pair(1, 2), Pair(3, 4)));
}

TEST(TraceText, PointsMayGoOnInTheNextLine) {
  EXPECT_THAT(XY("\n 1\n2 ,\r\n\t3  4\n"), ElementsAre(Pair(1, 2), Pair(3, 4)));
}

TEST(TraceText, TrailingAndDoubledCommasMakeNoPoints) {
  EXPECT_THAT(XY(",1 2,,3 4,"), ElementsAre(Pair(1, 2), Pair(3, 4)));
}

TEST(TraceText, AnEmptyTextHasNoPoints) {
  EXPECT_TRUE(XY(" \n ").empty());
}

TEST(TraceText, NumbersMayBeDecimalWithExponentOrHexadecimal) {
  EXPECT_THAT(XY("1.5e1 .053, -2E-1 #FF, -#a +7"),
              ElementsAre(Pair(15, .053), Pair(-.2, 255), Pair(-10, 7)));
}

TEST(TraceText, ASignSeparatesValuesThatTouch) {
  EXPECT_THAT(XY("37-608"), ElementsAre(Pair(37, -608)));
}

TEST(TraceText, ADifferenceIsAddedToTheValueBefore) {
  EXPECT_THAT(XY("10 20, '3 '-4"), ElementsAre(Pair(10, 20), Pair(13, 16)));
}

TEST(TraceText, ASecondDifferenceIsAddedToTheDifferenceBefore) {
  // The example of the format's authors: velocity, then acceleration, without any blanks.
  EXPECT_THAT(XY("1125 18432,'23'43,\"7\"-8,3-5,7 -3,6 2"),
              ElementsAre(Pair(1125, 18432), Pair(1148, 18475), Pair(1178, 18510),
                          Pair(1211, 18540), Pair(1251, 18567), Pair(1297, 18596)));
}

TEST(TraceText, PrefixesStayInForceForEachChannelByItself) {
  EXPECT_THAT(XY("1 1, '1 5, 1 6"), ElementsAre(Pair(1, 1), Pair(2, 5), Pair(3, 6)));
}

TEST(TraceText, AnExclamationMarkReturnsToExplicitValues) {
  EXPECT_THAT(XY("1 1, '1 '1, !7 1"), ElementsAre(Pair(1, 1), Pair(2, 2), Pair(7, 3)));
}

TEST(TraceText, AnAsteriskRepeatsTheValue) {
  EXPECT_THAT(XY("1 2, * 3, 4 *"), ElementsAre(Pair(1, 2), Pair(1, 3), Pair(4, 3)));
}

TEST(TraceText, AnAsteriskAfterADifferenceAddsTheLastVelocity) {
  EXPECT_THAT(XY("10 10, '3 '1, * *, 0 *, * !1, * *"),
              ElementsAre(Pair(10, 10), Pair(13, 11), Pair(16, 12), Pair(16, 13), Pair(16, 1),
                          Pair(16, 1)));
}

TEST(TraceText, AnAsteriskAfterASecondDifferenceAddsTheLastAcceleration) {
  EXPECT_THAT(XY("0 0, 5 5, \"2 \"0, * *, * *"),
              ElementsAre(Pair(0, 0), Pair(5, 5), Pair(12, 10), Pair(21, 15), Pair(32, 20)));
}

TEST(TraceText, APrefixBeforeAnAsteriskTakesTheMotionThatTheValuesHad) {
  // Steps of 1 and 3: the velocity is 3, the acceleration 2.
  EXPECT_THAT(XY("0 0, 1 1, 4 4, '* \"*"),
              ElementsAre(Pair(0, 0), Pair(1, 1), Pair(4, 4), Pair(7, 9)));
}

TEST(TraceText, AChannelThatAPointLeavesOutGoesOnByItsPrefix) {
  const TraceDecoder decoder =
      Decode("0 0 10 0 0, 1 1 !10 '5 \"2, 2 2, 3 3", {kX, kY, kForce, kTime, kSampleFlags});
  ASSERT_EQ(decoder.points().size(), 4u);
  EXPECT_EQ(decoder.points()[3][kForce], 10);
  EXPECT_EQ(decoder.points()[3][kTime], 15);
  EXPECT_EQ(decoder.points()[2][kSampleFlags], 6);
  EXPECT_EQ(decoder.points()[3][kSampleFlags], 12);
  EXPECT_EQ(decoder.short_points(), 2u);
}

TEST(TraceText, APositionThatAPointLeavesOutIsNotMadeUp) {
  const TraceDecoder decoder = Decode("1 2, '1, 3 4");
  EXPECT_EQ(decoder.points().size(), 2u);
  EXPECT_EQ(decoder.unplaced(), 1u);
}

TEST(TraceText, AQuestionMarkLeavesTheValueUnknown) {
  const TraceDecoder decoder = Decode("1 2 ?, 3 4 5", {kX, kY, kForce});
  ASSERT_EQ(decoder.points().size(), 2u);
  EXPECT_TRUE(std::isnan(decoder.points()[0][kForce]));
  EXPECT_EQ(decoder.points()[1][kForce], 5);
}

TEST(TraceText, APointWithoutAPositionIsLeftOutAndCounted) {
  const TraceDecoder decoder = Decode("1 2, ? 3, 4 5");
  EXPECT_THAT(XY(decoder), ElementsAre(Pair(1, 2), Pair(4, 5)));
  EXPECT_EQ(decoder.unplaced(), 1u);
}

TEST(TraceText, TruthValuesAreOneAndZero) {
  const TraceDecoder decoder = Decode("1 2 T, 3 4 F", {kX, kY, kSampleFlags});
  EXPECT_EQ(decoder.points()[0][kSampleFlags], 1);
  EXPECT_EQ(decoder.points()[1][kSampleFlags], 0);
}

TEST(TraceText, AValueWithoutADeclaredChannelIsDroppedAndCounted) {
  const TraceDecoder decoder = Decode("1 2 0.5, 3 4 0.6");
  EXPECT_THAT(XY(decoder), ElementsAre(Pair(1, 2), Pair(3, 4)));
  EXPECT_EQ(decoder.undeclared(), 2u);
}

TEST(TraceText, ChannelsWithoutARoleAreReadOver) {
  EXPECT_THAT(XY(Decode("9 1 9 2, 9 3 '1 4", {-1, kX, -1, kY})),
              ElementsAre(Pair(1, 2), Pair(3, 4)));
}

TEST(TraceText, ChannelsAtTheEndMayBeLeftOut) {
  TraceDecoder decoder({kX, kY, kForce}, 2);
  const std::string text = "1 2, 3 4 5";
  decoder.Feed(text.data(), text.size(), 0);
  decoder.Finish(text.size());
  EXPECT_EQ(decoder.short_points(), 0u);
  EXPECT_TRUE(std::isnan(decoder.points()[0][kForce]));
}

TEST(TraceText, APointThatEndsTooEarlyIsCounted) {
  const TraceDecoder decoder = Decode("1 2, 3 4 5", {kX, kY, kForce});
  EXPECT_EQ(decoder.points().size(), 2u);
  EXPECT_EQ(decoder.short_points(), 1u);
}

TEST(TraceText, FaultsSayWhereTheyAre) {
  EXPECT_THAT(FaultOf("1 2, x 4"), Pair(5, "not a value of a trace"));
  EXPECT_THAT(FaultOf("1 '2"), Pair(2, "a difference without a value before it"));
  EXPECT_THAT(FaultOf("1 *"), Pair(2, "'*' without a value before it"));
  EXPECT_THAT(FaultOf("1 2, 3 '"), Pair(7, "a prefix without a value"));
  EXPECT_THAT(FaultOf("1 1e999"), Pair(2, "a number that can't be held"));
  EXPECT_THAT(FaultOf("1 #12345678901234567"), Pair(2, "a number that can't be held"));
  EXPECT_THAT(FaultOf("1 -"), Pair(2, "not a value of a trace"));
  EXPECT_THAT(FaultOf("1 #-3"), Pair(2, "not a value of a trace"));
  EXPECT_THAT(FaultOf("1 .e"), Pair(2, "not a value of a trace"));
}

TEST(TraceText, DifferencesThatGrowBeyondAllNumbersAreRefused) {
  EXPECT_THAT(FaultOf("1e308 0, '1e308 0, 1e308 0").second, "a number that can't be held");
}

}  // namespace
}  // namespace TalvoInk
