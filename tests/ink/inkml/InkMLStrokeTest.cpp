#include "ink/inkml/InkMLStroke.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::HasSubstr;

const char kTimeChannel[] = "<channel name='T' units='ms'/>";

// A context with X, Y and T and a timestamp, and what follows it.
std::string Timed(const std::string& timestamp, const std::string& traces,
                  const std::string& channel = kTimeChannel) {
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

TEST(InkMLStroke, TimesCountFromTheTimestampAndStrokesBeginWithTheirFirstPoint) {
  const Reading reading = ReadDocument(Timed("<timestamp time='1700000000000'/>",
                                             "<trace>1 1 5, 2 2 12</trace>"
                                             "<trace>1 1 900, 2 2 900</trace>"));
  EXPECT_EQ(TimesOf(reading.Strokes()[0]), "1700000000005 +0 +7");
  EXPECT_EQ(TimesOf(reading.Strokes()[1]), "1700000000900 +0 +0");
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLStroke, ATimeOffsetMovesTheTrace) {
  const Reading reading = ReadDocument(Timed("<timestamp time='1700000000000'/>",
                                             "<trace timeOffset='250.4'>1 1 5, 2 2 12</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000250 +5 +12");
}

TEST(InkMLStroke, ATimestampMayBeADate) {
  const Reading reading = ReadDocument(
      Timed("<timestamp timeString='2023-11-14T23:13:20.5+01:00'/>", "<trace>1 1 0</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000500 +0");
}

TEST(InkMLStroke, ATimestampMayCountFromAnother) {
  const Reading whole = ReadDocument(
      Timed("<timestamp timestampRef='#zero' timeOffset='1000'/>",
            "<definitions><timestamp xml:id='zero' time='1700000000000'/></definitions>"
            "<trace>1 1 0</trace>"));
  EXPECT_EQ(FirstTimes(whole), "1700000001000 +0");
}

TEST(InkMLStroke, TimesMayBeSeconds) {
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0.5, 2 2 1.25</trace>",
                         "<channel name='T' units='s'/>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000500 +0 +750");
}

TEST(InkMLStroke, AMissingTimeStaysMissing) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0, 2 2 ?, 3 3 9</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0 - +9");
  EXPECT_TRUE(reading.Noted("points without a time: 1"));
}

TEST(InkMLStroke, WithoutATimeChannelTheContextDatesEveryStroke) {
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

TEST(InkMLStroke, InkWithoutADateInADocumentWithDatesGetsTheFirstOfThem) {
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

TEST(InkMLStroke, InkWithoutTimeHasNone) {
  const Reading reading = ReadDocument(TraceDocument("1 1, 2 2"));
  EXPECT_EQ(FirstTimes(reading), "0 - -");
  EXPECT_TRUE(reading.Noted("strokes without a time: 1"));
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLStroke, AStartTimeIsThatOfInkWithoutTime) {
  ReadOptions options;
  options.start_time_ms = 1700000000000;
  const Reading reading = ReadDocument(TraceDocument("1 1, 2 2"), options);
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0 -");
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLStroke, TimesWithoutADateAreKeptAsTheyAre) {
  const Reading reading = ReadDocument(TraceDocument("1 1 5, 2 2 12", kTimeChannel));
  EXPECT_EQ(FirstTimes(reading), "0 +5 +12");
  EXPECT_TRUE(reading.Noted("times without a timestamp: the time of day is not known"));
}

TEST(InkMLStroke, AStartTimeIsThatOfTheEarliestPointWithoutADate) {
  ReadOptions options;
  options.start_time_ms = 1700000000000;
  const Reading reading =
      ReadDocument(Timed("", "<trace>1 1 40, 2 2 50</trace><trace>1 1 90</trace>"), options);
  EXPECT_EQ(TimesOf(reading.Strokes()[0]), "1700000000000 +0 +10");
  EXPECT_EQ(TimesOf(reading.Strokes()[1]), "1700000000050 +0");
}

TEST(InkMLStroke, AStartTimeChangesNoTimeThatIsKnown) {
  ReadOptions options;
  options.start_time_ms = 1600000000000;
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0</trace>"), options);
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0");
}

TEST(InkMLStroke, TimesThatAreDatesAreTakenAsSuch) {
  const Reading reading =
      ReadDocument(TraceDocument("1 1 1700000000123, 2 2 1700000000130", kTimeChannel));
  EXPECT_EQ(FirstTimes(reading), "1700000000123 +0 +7");
  EXPECT_TRUE(reading.Lost("times without a timestamp; milliseconds since 1970 taken"));
}

TEST(InkMLStroke, TimesThatRunBackwardsKeepTheirOrder) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>", "<trace>1 1 10, 2 2 5, 3 3 20</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000005 +5 +0 +15");
}

TEST(InkMLStroke, ATimeThatCantBeHeldIsDroppedAndTold) {
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 0, 2 2 9e9</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0 -");
  EXPECT_TRUE(reading.Lost("times of points out of reach of their stroke's start: 1"));
  const Reading before = ReadDocument(Timed("<timestamp time='-5'/>", "<trace>1 1 0</trace>"));
  EXPECT_EQ(FirstTimes(before), "0 -");
  EXPECT_TRUE(before.Lost("strokes with a time before 1970 or after 9999; the time dropped: 1"));
}

TEST(InkMLStroke, AChannelMayCountFromATimestampOfItsOwn) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>",
            "<definitions><timestamp xml:id='other' time='1600000000000'/></definitions>"
            "<trace timeOffset='500'>1 1 3</trace>",
            "<channel name='T' respectTo='#other'/>"));
  EXPECT_EQ(FirstTimes(reading), "1600000000003 +0");
}

TEST(InkMLStroke, AChannelWithoutAUnitTakesTheOthersAndThatIsTold) {
  const Reading reading = ReadDocument(WithChannels("units='mm'", "", "", "1 2"));
  EXPECT_EQ(FirstPositions(reading), "1000,2000");
  EXPECT_TRUE(reading.Lost("Y without a unit; that of the other taken"));
}

TEST(InkMLStroke, InkTooLargeForPixelsIsTakenAsHimetric) {
  const Reading reading = ReadDocument(Document("<trace>0 0, 20000 10000</trace>"));
  EXPECT_EQ(FirstPositions(reading), "0,0 200000,100000");
  EXPECT_TRUE(reading.Lost("X and Y without a unit; himetric taken"));
}

TEST(InkMLStroke, InkOfNoPlausibleUnitIsScaledToAHandsWidth) {
  const Reading reading = ReadDocument(Document("<trace>0 0, 1 0.5</trace>"));
  EXPECT_EQ(FirstPositions(reading), "0,0 100000,50000");
}

TEST(InkMLStroke, TheUnitOfUnitlessInkCanBeGiven) {
  ReadOptions options;
  options.unit_um = 1000;
  EXPECT_EQ(FirstPositions(ReadDocument(Document("<trace>1 2</trace>"), options)), "1000,2000");
}

TEST(InkMLStroke, ForceIsScaledFromItsRange) {
  const Reading reading = ReadDocument(
      TraceDocument("1 1 0, 2 2 500, 3 3 1000", "<channel name='F' min='0' max='1000'/>"));
  const std::vector<Stf2Sample> samples = reading.Strokes()[0].samples;
  EXPECT_EQ(samples[1].force, 0);
  EXPECT_EQ(samples[2].force, 32768);
  EXPECT_EQ(samples[3].force, 65535);
}

TEST(InkMLStroke, ForceWithoutARangeIsTakenToFillTheNextCommonOne) {
  const Reading reading =
      ReadDocument(TraceDocument("1 1 0.5, 2 2 1", "<channel name='F' type='decimal'/>"));
  EXPECT_EQ(reading.Strokes()[0].samples[2].force, 65535);
  EXPECT_TRUE(reading.Lost("force without a range; 0 to 1 taken"));
  EXPECT_TRUE(ReadDocument(TraceDocument("1 1 700", "<channel name='F'/>"))
                  .Lost("force without a range; 0 to 1023 taken"));
}

TEST(InkMLStroke, ForceBeyondItsRangeIsCutAndTold) {
  const Reading reading =
      ReadDocument(TraceDocument("1 1 200, 2 2 -5", "<channel name='F' max='100'/>"));
  EXPECT_EQ(reading.Strokes()[0].samples[1].force, 65535);
  EXPECT_EQ(reading.Strokes()[0].samples[2].force, 0);
  EXPECT_TRUE(reading.Lost("forces beyond the stated range cut: 2"));
}

TEST(InkMLStroke, APositionOutOfReachIsRefused) {
  EXPECT_EQ(ReadDocument(TraceDocument("1 2, 3e6 4")).refusal,
            "line 1, column 188: point 2 of the trace is 3000 m away; ink reaches 2147 m from the "
            "page's corner");
  EXPECT_THAT(ReadDocument(TraceDocument("1 2, 3 -1e300")).refusal,
              HasSubstr("point 2 of the trace"));
}

TEST(InkMLStroke, AMissingForceIsThatOfThePointBefore) {
  const Reading reading =
      ReadDocument(TraceDocument("1 1 ?, 2 2 100, 3 3 ?", "<channel name='F' max='100'/>"));
  EXPECT_EQ(Forces(reading.Strokes()[0]), "0 65535 65535");
  EXPECT_TRUE(reading.Lost("points without a force; that of the point before taken: 2"));
}

TEST(InkMLStroke, ForceWhoseRangeIsEmptyIsNone) {
  const Reading reading =
      ReadDocument(TraceDocument("1 1 7, 2 2 7", "<channel name='F' min='7' max='7'/>"));
  EXPECT_EQ(Forces(reading.Strokes()[0]), "0 0");
}

// A document in seconds says 1.001, which is not quite 1001 thousandths in binary.
TEST(InkMLStroke, SecondsOfThreeDecimalsAreNotRounded) {
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 1.001, 2 2 4.35</trace>",
                         "<channel name='T' units='s'/>"));
  EXPECT_EQ(FirstTimes(reading), "1700000001001 +0 +3349");
  EXPECT_TRUE(reading.losses.empty());
}

TEST(InkMLStroke, ATimeBeforeTheTracesOffsetMovesItsStart) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='1700000000000'/>", "<trace timeOffset='250'>1 1 5, 2 2 -50</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000200 +55 +0");
}

// Pauses between strokes survive where nobody knows the date.
TEST(InkMLStroke, WithoutADateTimeOffsetsCountFromOneInstant) {
  const Reading reading = ReadDocument(Timed(
      "", "<trace timeOffset='250'>1 1 5, 2 2 12</trace><trace timeOffset='900'>1 1 0</trace>"));
  EXPECT_EQ(TimesOf(reading.Strokes()[0]), "0 +255 +262");
  EXPECT_EQ(TimesOf(reading.Strokes()[1]), "0 +900");
}

TEST(InkMLStroke, TimesBeyondAllNumbersAreNone) {
  const Reading reading =
      ReadDocument(Timed("<timestamp time='1700000000000'/>", "<trace>1 1 1e300</trace>"));
  EXPECT_EQ(FirstTimes(reading), "1700000000000 +0");
  EXPECT_TRUE(reading.Lost("points without a time but the first of each stroke"));
}

const char kExact[] =
    "<channel name='T'/><channel name='SampleType'/><channel name='SampleFlags'/>";

TEST(InkMLStroke, SamplesThatAreSpelledOutStayAsTheyAre) {
  const Reading reading = ReadDocument(
      Timed("<timestamp time='0'/>",
            "<trace timeOffset='18446744073709551615'>1 2 7 3 0, 3 4 4294967295 255 255</trace>",
            kExact));
  ASSERT_EQ(reading.refusal, "");
  const Stroke stroke = reading.Strokes().at(0);
  EXPECT_EQ(stroke.start_time_ms, 18446744073709551615u);  // no date, but 64 bits
  EXPECT_TRUE(SameSamples(stroke.samples, {Sample(3, 1000, 2000, 0, 7, 0),
                                           Sample(255, 3000, 4000, 0, 4294967295, 255)}));
}

TEST(InkMLStroke, WhatASpelledOutSampleLeavesOutIsZero) {
  const Reading reading = ReadDocument(Timed("", "<trace>1 2 ? ? ?</trace>", kExact));
  EXPECT_TRUE(SameSamples(reading.Strokes().at(0).samples, {Sample(0, 1000, 2000)}));
}

TEST(InkMLStroke, ASpelledOutSampleOutOfRangeIsRefused) {
  for (const char* bad : {"1 2 0 256 0", "1 2 0 1 -1", "1 2 4294967296 1 0", "1 2 -1 1 0"}) {
    const Reading reading =
        ReadDocument(Timed("", "<trace>1 2 0 1 0," + std::string(bad) + "</trace>", kExact));
    EXPECT_THAT(reading.refusal, HasSubstr("sample 2 of the trace is out of range")) << bad;
  }
  EXPECT_THAT(ReadDocument(Timed("", "<trace timeOffset='-1'>1 2 0 1 0</trace>", kExact)).refusal,
              HasSubstr("the trace's time is out of range"));
}

}  // namespace
}  // namespace TalvoInk
