#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

const char kTime[] = "<channel name='T' units='ms'/>";

// A context with X, Y and T and a timestamp, and what follows it.
std::string Timed(const std::string& timestamp, const std::string& traces,
                  const std::string& channel = kTime) {
  return Document(
      "<context xml:id='c'><traceFormat><channel name='X' units='mm'/><channel "
      "name='Y' units='mm'/>" +
      channel + "</traceFormat>" + timestamp + "</context>" + traces);
}

std::string TimesOf(const Stroke& stroke) {
  std::string text = std::to_string(stroke.start_time_ms);
  for (const Stf2Sample& sample : stroke.samples) {
    if (sample.type != STF2_SAMPLE_COORDINATE) continue;
    text += sample.flags == 0 ? " -" : " +" + std::to_string(sample.time_offset_ms);
  }
  return text;
}

std::string FirstTimes(const Reading& reading) {
  return reading.Strokes().empty() ? reading.refusal : TimesOf(reading.Strokes()[0]);
}

TEST(InkMLTime, TimesCountFromTheTimestampAndStrokesBeginWithTheirFirstPoint) {
  const Reading reading = ReadDocument(Timed("<timestamp time='1700000000000'/>",
                                             "<trace>1 1 5, 2 2 12</trace>"
                                             "<trace>1 1 900, 2 2 900</trace>"));
  EXPECT_EQ(TimesOf(reading.Strokes()[0]), "1700000000005 +0 +7");
  EXPECT_EQ(TimesOf(reading.Strokes()[1]), "1700000000900 +0 +0");
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLTime, ATimeOffsetMovesTheTrace) {
  const Reading reading = ReadDocument(Timed("<timestamp time='1700000000000'/>",
                                             "<trace timeOffset='250.4'>1 1 5, 2 2 12</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000250 +5 +12");
}

TEST(InkMLTime, ATimestampMayBeADate) {
  const Reading reading = ReadDocument(
      Timed("<timestamp timeString='2023-11-14T23:13:20.5+01:00'/>", "<trace>1 1 0</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000500 +0");
}

TEST(InkMLTime, ATimestampMayCountFromAnother) {
  const Reading whole = ReadDocument(
      Timed("<timestamp timestampRef='#zero' timeOffset='1000'/>",
            "<definitions><timestamp xml:id='zero' time='1700000000000'/></definitions>"
            "<trace>1 1 0</trace>"));
  EXPECT_EQ(FirstTimes(whole), "1700000001000 +0");
}

TEST(InkMLTime, TimesMayBeSeconds) {
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0.5, 2 2 1.25</trace>",
                         "<channel name='T' units='s'/>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000500 +0 +750");
}

TEST(InkMLTime, AMissingTimeStaysMissing) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0, 2 2 ?, 3 3 9</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0 - +9");
  EXPECT_TRUE(reading.Noted("points without a time: 1"));
}

TEST(InkMLTime, WithoutATimeChannelTheContextDatesEveryStroke) {
  const Reading reading = ReadDocument(Timed("<timestamp time='1700000000000'/>",
                                             "<trace>1 1, 2 2</trace>"
                                             "<trace timeOffset='70'>1 1, 2 2</trace>"
                                             "<trace>1 1, 2 2</trace>",
                                             ""));
  EXPECT_EQ(TimesOf(reading.Strokes()[0]), "1700000000000 +0 -");
  EXPECT_EQ(TimesOf(reading.Strokes()[1]), "1700000000070 +0 -");
  EXPECT_EQ(TimesOf(reading.Strokes()[2]), "1700000000000 +0 -");
  EXPECT_TRUE(reading.Lost("points without a time but the first of each stroke"));
  EXPECT_TRUE(reading.Lost("strokes without a time of their own; that of their context taken: 1"));
}

TEST(InkMLTime, InkWithoutADateInADocumentWithDatesGetsTheFirstOfThem) {
  const std::string body =
      "<definitions><context xml:id='late'><timestamp time='1700000090000'/></context>"
      "<context xml:id='early'><timestamp time='1700000000000'/></context></definitions>"
      "<trace>1 1</trace><trace contextRef='#late'>1 1</trace><trace contextRef='#early'>1 "
      "1</trace>";
  ReadOptions options;
  options.start_time_ms = 1800000000000;
  const Reading reading = ReadDocument(Document(body), options);
  ASSERT_EQ(reading.Strokes().size(), 3u);
  EXPECT_EQ(reading.Strokes()[0].start_time_ms, 1700000000000u);
  EXPECT_EQ(reading.Strokes()[1].start_time_ms, 1700000090000u);
  EXPECT_EQ(reading.Strokes()[2].start_time_ms, 1700000000000u);
  EXPECT_TRUE(reading.Lost("ink without a date in a document with dates; its first date taken"));
}

TEST(InkMLTime, InkWithoutTimeHasNone) {
  const Reading reading = ReadDocument(TraceDocument("1 1, 2 2"));
  EXPECT_EQ(FirstTimes(reading), "0 - -");
  EXPECT_TRUE(reading.Noted("strokes without a time: 1"));
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLTime, AStartTimeIsThatOfInkWithoutTime) {
  ReadOptions options;
  options.start_time_ms = 1700000000000;
  const Reading reading = ReadDocument(TraceDocument("1 1, 2 2"), options);
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0 -");
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLTime, TimesWithoutADateAreKeptAsTheyAre) {
  const Reading reading = ReadDocument(TraceDocument("1 1 5, 2 2 12", kTime));
  EXPECT_EQ(FirstTimes(reading), "0 +5 +12");
  EXPECT_TRUE(reading.Noted("times without a timestamp: the time of day is not known"));
}

TEST(InkMLTime, AStartTimeIsThatOfTheEarliestPointWithoutADate) {
  ReadOptions options;
  options.start_time_ms = 1700000000000;
  const Reading reading =
      ReadDocument(Timed("", "<trace>1 1 40, 2 2 50</trace><trace>1 1 90</trace>"), options);
  EXPECT_EQ(TimesOf(reading.Strokes()[0]), "1700000000000 +0 +10");
  EXPECT_EQ(TimesOf(reading.Strokes()[1]), "1700000000050 +0");
}

TEST(InkMLTime, AStartTimeChangesNoTimeThatIsKnown) {
  ReadOptions options;
  options.start_time_ms = 1600000000000;
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0</trace>"), options);
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0");
}

TEST(InkMLTime, TimesThatAreDatesAreTakenAsSuch) {
  const Reading reading =
      ReadDocument(TraceDocument("1 1 1700000000123, 2 2 1700000000130", kTime));
  EXPECT_EQ(FirstTimes(reading), "1700000000123 +0 +7");
  EXPECT_TRUE(reading.Lost("times without a timestamp; milliseconds since 1970 taken"));
}

TEST(InkMLTime, TimesThatRunBackwardsKeepTheirOrder) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>", "<trace>1 1 10, 2 2 5, 3 3 20</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000005 +5 +0 +15");
}

TEST(InkMLTime, ATimeThatCantBeHeldIsDroppedAndTold) {
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0, 2 2 9e9</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0 -");
  EXPECT_TRUE(reading.Lost("times of points out of reach of their stroke's start: 1"));
  const Reading before = ReadDocument(Timed("<timestamp time='-5'/>", "<trace>1 1 0</trace>"));
  EXPECT_EQ(FirstTimes(before), "0 -");
  EXPECT_TRUE(before.Lost("strokes with a time before 1970 or after 9999; the time dropped: 1"));
}

TEST(InkMLTime, AChannelMayCountFromATimestampOfItsOwn) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>",
            "<definitions><timestamp xml:id='other' time='1600000000000'/></definitions>"
            "<trace timeOffset='500'>1 1 3</trace>",
            "<channel name='T' respectTo='#other'/>"));
  EXPECT_EQ(FirstTimes(reading), "1600000000003 +0");
}

}  // namespace
}  // namespace TalvoInk
