// Documents that change what holds as they go on: contexts, formats and brushes between the traces.

#include "ink/inkml/InkMLContext.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::Contains;
using testing::Not;

const char kMillimetres[] =
    "<traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/></traceFormat>";
const char kCentimetresTurned[] =
    "<traceFormat><channel name='Y' units='cm'/><channel name='X' units='cm'/></traceFormat>";
const char kRed[] = "<brush><brushProperty name='color' value='#FF0000'/></brush>";
const char kBlue[] = "<brush><brushProperty name='color' value='#0000FF'/></brush>";

// "x,y colour" of each stroke.
std::string Drawn(const Reading& reading) {
  if (!reading.refusal.empty()) return reading.refusal;
  std::string text;
  for (const Stroke& stroke : reading.Strokes()) {
    const char* color = stroke.color == 0xFFFF0000   ? "red"
                        : stroke.color == 0xFF0000FF ? "blue"
                        : stroke.color == kBlack     ? "black"
                                                     : "other";
    text += (text.empty() ? "" : "; ") + Positions(stroke) + " " + color;
  }
  return text;
}

std::string Drawn(const std::string& body) {
  return Drawn(ReadDocument(Document(body)));
}

TEST(InkMLContext, AContextThatChangesOnlyTheBrushKeepsTheFormat) {
  EXPECT_EQ(Drawn("<context>" + std::string(kMillimetres) +
                  "</context><trace>1 2</trace><context>" + kRed + "</context><trace>3 4</trace>"),
            "1000,2000 black; 3000,4000 red");
}

TEST(InkMLContext, AContextThatChangesOnlyTheFormatKeepsTheBrush) {
  EXPECT_EQ(Drawn("<context>" + std::string(kRed) + "</context><context>" + kMillimetres +
                  "</context><trace>1 2</trace>"),
            "1000,2000 red");
}

TEST(InkMLContext, AContextThatRefersToABrushKeepsTheFormat) {
  EXPECT_EQ(Drawn("<definitions><brush xml:id='b'><brushProperty name='color' value='red'/></brush>"
                  "</definitions>" +
                  std::string(kMillimetres) + "<context brushRef='#b'/><trace>1 2</trace>"),
            "1000,2000 red");
}

TEST(InkMLContext, AContextThatATraceNamesKeepsWhatItSaysNothingOf) {
  EXPECT_EQ(Drawn("<definitions><context xml:id='red'>" + std::string(kRed) +
                  "</context></definitions><context>" + kMillimetres +
                  "</context><trace contextRef='#red'>1 2</trace><trace>1 2</trace>"),
            "1000,2000 red; 1000,2000 black");
}

TEST(InkMLContext, AContextThatBuildsOnTheOnlyOneDefinedKeepsItsFormat) {
  const Reading reading = ReadDocument(
      Document("<definitions><context>" + std::string(kMillimetres) + "</context></definitions>" +
               "<context>" + kRed + "</context><trace>1 2</trace>"));
  EXPECT_EQ(Drawn(reading), "1000,2000 red");
  EXPECT_TRUE(reading.Lost("traces without a context; the document's only one taken"));
}

TEST(InkMLContext, EachFormatHoldsFromWhereItStands) {
  EXPECT_EQ(Drawn(std::string(kMillimetres) + "<trace>1 2</trace>" + kCentimetresTurned +
                  "<trace>1 2</trace>" + kMillimetres + "<trace>1 2</trace>"),
            "1000,2000 black; 20000,10000 black; 1000,2000 black");
}

TEST(InkMLContext, AFormatBehindATraceDoesNotHoldForIt) {
  const Reading reading = ReadDocument(
      Document("<trace>96 192</trace>" + std::string(kMillimetres) + "<trace>1 2</trace>"));
  EXPECT_EQ(Drawn(reading), "25400,50800 black; 1000,2000 black");
  EXPECT_TRUE(reading.Lost("X and Y without a unit; px taken"));
}

TEST(InkMLContext, AFormatBetweenTracesKeepsTheBrush) {
  EXPECT_EQ(
      Drawn("<context>" + std::string(kRed) + "</context>" + kMillimetres + "<trace>1 2</trace>"),
      "1000,2000 red");
}

TEST(InkMLContext, EachBrushHoldsFromWhereItStands) {
  EXPECT_EQ(Drawn(kMillimetres + std::string("<trace>1 2</trace>") + kRed + "<trace>1 2</trace>" +
                  kBlue + "<trace>1 2</trace><traceGroup><trace>1 2</trace></traceGroup>"),
            "1000,2000 black; 1000,2000 red; 1000,2000 blue; 1000,2000 blue");
}

TEST(InkMLContext, ABrushThatATraceNamesHoldsForItAlone) {
  EXPECT_EQ(Drawn("<definitions><brush xml:id='b'><brushProperty name='color' value='blue'/>"
                  "</brush></definitions>" +
                  std::string(kMillimetres) + kRed +
                  "<trace brushRef='#b'>1 2</trace><trace>1 2</trace>"),
            "1000,2000 blue; 1000,2000 red");
}

TEST(InkMLContext, WhatAGroupChangesEndsWithIt) {
  EXPECT_EQ(Drawn(kMillimetres + std::string("<traceGroup>") + kRed +
                  "<trace>1 2</trace></traceGroup><trace>1 2</trace>"),
            "1000,2000 red; 1000,2000 black");
}

TEST(InkMLContext, AnInkSourceBetweenTracesBringsItsFormatAndResolution) {
  EXPECT_EQ(Drawn("<inkSource><traceFormat><channel name='X'/><channel name='Y'/></traceFormat>"
                  "<channelProperties>"
                  "<channelProperty channel='X' name='resolution' value='10' units='1/mm'/>"
                  "<channelProperty channel='Y' name='resolution' value='10' units='1/mm'/>"
                  "</channelProperties></inkSource><trace>10 20</trace>"),
            "1000,2000 black");
}

TEST(InkMLContext, AContextsOwnFormatIsMeasuredByItsSource) {
  EXPECT_EQ(Drawn("<context><inkSource><channelProperties>"
                  "<channelProperty channel='X' name='resolution' value='10' units='1/mm'/>"
                  "<channelProperty channel='Y' name='resolution' value='10' units='1/mm'/>"
                  "</channelProperties></inkSource><traceFormat><channel name='Y'/>"
                  "<channel name='X'/></traceFormat></context><trace>10 20</trace>"),
            "2000,1000 black");
}

TEST(InkMLContext, TheDefaultContextCanBeNamedThoughNobodyDefinesIt) {
  const Reading reading =
      ReadDocument(Document("<context>" + std::string(kCentimetresTurned) + kRed +
                            "</context><trace contextRef='#DefaultContext'>96 192</trace>"
                            "<trace brushRef='#DefaultBrush'>1 2</trace>"));
  EXPECT_EQ(Drawn(reading), "25400,50800 black; 20000,10000 black");
  EXPECT_THAT(reading.losses, Not(Contains("contextRef '#DefaultContext' to nothing")));
}

TEST(InkMLContext, ATimestampBetweenTracesDatesAllBehindIt) {
  const Reading reading = ReadDocument(Document(
      kMillimetres +
      std::string(
          "<context><timestamp time='1700000000000'/></context><trace>1 2</trace><context>") +
      kRed + "</context><trace>1 2</trace>"));
  ASSERT_EQ(reading.Strokes().size(), 2u);
  EXPECT_EQ(reading.Strokes()[0].start_time_ms, 1700000000000u);
  EXPECT_EQ(reading.Strokes()[1].start_time_ms, 1700000000000u);
}

TEST(InkMLContext, AReferenceToAnElementOfAnotherKindIsToNothing) {
  EXPECT_TRUE(ReadDocument(Document("<definitions><brush xml:id='b'/></definitions>"
                                    "<trace contextRef='#b'>10 20</trace>"))
                  .Lost("contextRef '#b' to nothing"));
}

TEST(InkMLContext, TheLastContextInTheBodyHoldsForTheTracesBehindIt) {
  const Reading reading =
      ReadDocument(Document("<context><traceFormat><channel name='X' units='mm'/><channel name='Y' "
                            "units='mm'/></traceFormat></context><trace>1 2</trace>"
                            "<context><traceFormat><channel name='X' units='cm'/><channel name='Y' "
                            "units='cm'/></traceFormat></context><trace>1 2</trace>"));
  EXPECT_EQ(Positions(reading.Strokes()[0]), "1000,2000");
  EXPECT_EQ(Positions(reading.Strokes()[1]), "10000,20000");
}

TEST(InkMLContext, AFormatThatStandsAloneHoldsForTracesWithoutAContext) {
  const Reading reading = ReadDocument(
      Document("<traceFormat><channel name='X' units='cm'/><channel name='Y' units='cm'/>"
               "</traceFormat><trace>1 2</trace>"));
  EXPECT_EQ(FirstPositions(reading), "10000,20000");
}

// The time that a number of milliseconds stands for; "none" if it stands for no time.
std::string Milliseconds(const std::string& text, Losses* losses = nullptr) {
  const std::optional<WideMs> time = ParseMilliseconds(text, losses);
  if (!time) return "none";
  const WideMs size = *time < 0 ? -*time : *time;
  return (*time < 0 ? "-" : "") + std::to_string(static_cast<std::uint64_t>(size));
}

TEST(InkMLContext, WholeMillisecondsAreReadExactly) {
  EXPECT_EQ(Milliseconds("18446744073709551615"), "18446744073709551615");
  EXPECT_EQ(Milliseconds(" -18446744073709551615\n"), "-18446744073709551615");
  EXPECT_EQ(Milliseconds("-0"), "0");
}

TEST(InkMLContext, OtherNumbersOfMillisecondsAreRoundedAndTold) {
  Losses losses;
  EXPECT_EQ(Milliseconds("1.7e12", &losses), "1700000000000");
  EXPECT_TRUE(losses.Lines().empty());
  EXPECT_EQ(Milliseconds("-2.5", &losses), "-3");
  EXPECT_THAT(losses.Lines(), Contains("times rounded to whole milliseconds: 1"));
}

TEST(InkMLContext, WhatIsNoTimeIsNone) {
  for (const char* bad : {"", "-", "soon", "1 2", "9.1e18", "-1e300", "nan", "inf"})
    EXPECT_EQ(Milliseconds(bad), "none") << bad;
}

TEST(InkMLContext, ATimestampThatIsNoneIsToldAndDatesNothing) {
  for (const char* bad : {"time='soon'", "timeString='yesterday'"}) {
    const Reading reading = ReadDocument(
        Document("<context><timestamp " + std::string(bad) + "/></context><trace>1 1</trace>"));
    EXPECT_EQ(reading.Strokes().at(0).start_time_ms, 0u);
    const std::string said = std::string(bad).substr(std::string(bad).find('\''));
    EXPECT_TRUE(reading.Lost("timestamp " + said + " is not known")) << bad;
  }
}

TEST(InkMLContext, ATimestampWithoutAZoneIsUtcAndTold) {
  const Reading reading =
      ReadDocument(Document("<context><timestamp timeString='2023-11-14T22:13:20'/></context>"
                            "<trace>1 1</trace>"));
  EXPECT_EQ(reading.Strokes().at(0).start_time_ms, 1700000000000u);
  EXPECT_TRUE(reading.Lost("a timestamp without a time zone; UTC taken"));
}

// If some traces name the document's only context, the others are not meant to look like them.
TEST(InkMLContext, TheOnlyContextLendsItsFormatButNotItsBrush) {
  const std::string defined = "<definitions><context xml:id='c'>" + std::string(kMillimetres) +
                              kRed + "</context></definitions>";
  EXPECT_EQ(Drawn(defined + "<trace>1 2</trace>"), "1000,2000 red");
  EXPECT_EQ(Drawn(defined + "<trace>1 2</trace><trace contextRef='#c'>3 4</trace>"),
            "1000,2000 black; 3000,4000 red");
}

}  // namespace
}  // namespace TalvoInk
