// Documents that change what holds as they go on: contexts, formats and brushes between the traces.

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

TEST(InkMLCurrent, AContextThatChangesOnlyTheBrushKeepsTheFormat) {
  EXPECT_EQ(Drawn("<context>" + std::string(kMillimetres) +
                  "</context><trace>1 2</trace><context>" + kRed + "</context><trace>3 4</trace>"),
            "1000,2000 black; 3000,4000 red");
}

TEST(InkMLCurrent, AContextThatChangesOnlyTheFormatKeepsTheBrush) {
  EXPECT_EQ(Drawn("<context>" + std::string(kRed) + "</context><context>" + kMillimetres +
                  "</context><trace>1 2</trace>"),
            "1000,2000 red");
}

TEST(InkMLCurrent, AContextThatRefersToABrushKeepsTheFormat) {
  EXPECT_EQ(Drawn("<definitions><brush xml:id='b'><brushProperty name='color' value='red'/></brush>"
                  "</definitions>" +
                  std::string(kMillimetres) + "<context brushRef='#b'/><trace>1 2</trace>"),
            "1000,2000 red");
}

TEST(InkMLCurrent, AContextThatATraceNamesKeepsWhatItSaysNothingOf) {
  EXPECT_EQ(Drawn("<definitions><context xml:id='red'>" + std::string(kRed) +
                  "</context></definitions><context>" + kMillimetres +
                  "</context><trace contextRef='#red'>1 2</trace><trace>1 2</trace>"),
            "1000,2000 red; 1000,2000 black");
}

TEST(InkMLCurrent, AContextThatBuildsOnTheOnlyOneDefinedKeepsItsFormat) {
  const Reading reading = ReadDocument(
      Document("<definitions><context>" + std::string(kMillimetres) + "</context></definitions>" +
               "<context>" + kRed + "</context><trace>1 2</trace>"));
  EXPECT_EQ(Drawn(reading), "1000,2000 red");
  EXPECT_TRUE(reading.Lost("traces without a context; the document's only one taken"));
}

TEST(InkMLCurrent, EachFormatHoldsFromWhereItStands) {
  EXPECT_EQ(Drawn(std::string(kMillimetres) + "<trace>1 2</trace>" + kCentimetresTurned +
                  "<trace>1 2</trace>" + kMillimetres + "<trace>1 2</trace>"),
            "1000,2000 black; 20000,10000 black; 1000,2000 black");
}

TEST(InkMLCurrent, AFormatBehindATraceDoesNotHoldForIt) {
  const Reading reading = ReadDocument(
      Document("<trace>96 192</trace>" + std::string(kMillimetres) + "<trace>1 2</trace>"));
  EXPECT_EQ(Drawn(reading), "25400,50800 black; 1000,2000 black");
  EXPECT_TRUE(reading.Lost("X and Y without a unit; px taken"));
}

TEST(InkMLCurrent, AFormatBetweenTracesKeepsTheBrush) {
  EXPECT_EQ(
      Drawn("<context>" + std::string(kRed) + "</context>" + kMillimetres + "<trace>1 2</trace>"),
      "1000,2000 red");
}

TEST(InkMLCurrent, EachBrushHoldsFromWhereItStands) {
  EXPECT_EQ(Drawn(kMillimetres + std::string("<trace>1 2</trace>") + kRed + "<trace>1 2</trace>" +
                  kBlue + "<trace>1 2</trace><traceGroup><trace>1 2</trace></traceGroup>"),
            "1000,2000 black; 1000,2000 red; 1000,2000 blue; 1000,2000 blue");
}

TEST(InkMLCurrent, ABrushThatATraceNamesHoldsForItAlone) {
  EXPECT_EQ(Drawn("<definitions><brush xml:id='b'><brushProperty name='color' value='blue'/>"
                  "</brush></definitions>" +
                  std::string(kMillimetres) + kRed +
                  "<trace brushRef='#b'>1 2</trace><trace>1 2</trace>"),
            "1000,2000 blue; 1000,2000 red");
}

TEST(InkMLCurrent, WhatAGroupChangesEndsWithIt) {
  EXPECT_EQ(Drawn(kMillimetres + std::string("<traceGroup>") + kRed +
                  "<trace>1 2</trace></traceGroup><trace>1 2</trace>"),
            "1000,2000 red; 1000,2000 black");
}

TEST(InkMLCurrent, AnInkSourceBetweenTracesBringsItsFormatAndResolution) {
  EXPECT_EQ(Drawn("<inkSource><traceFormat><channel name='X'/><channel name='Y'/></traceFormat>"
                  "<channelProperties>"
                  "<channelProperty channel='X' name='resolution' value='10' units='1/mm'/>"
                  "<channelProperty channel='Y' name='resolution' value='10' units='1/mm'/>"
                  "</channelProperties></inkSource><trace>10 20</trace>"),
            "1000,2000 black");
}

TEST(InkMLCurrent, AContextsOwnFormatIsMeasuredByItsSource) {
  EXPECT_EQ(Drawn("<context><inkSource><channelProperties>"
                  "<channelProperty channel='X' name='resolution' value='10' units='1/mm'/>"
                  "<channelProperty channel='Y' name='resolution' value='10' units='1/mm'/>"
                  "</channelProperties></inkSource><traceFormat><channel name='Y'/>"
                  "<channel name='X'/></traceFormat></context><trace>10 20</trace>"),
            "2000,1000 black");
}

TEST(InkMLCurrent, TheDefaultContextCanBeNamedThoughNobodyDefinesIt) {
  const Reading reading =
      ReadDocument(Document("<context>" + std::string(kCentimetresTurned) + kRed +
                            "</context><trace contextRef='#DefaultContext'>96 192</trace>"
                            "<trace brushRef='#DefaultBrush'>1 2</trace>"));
  EXPECT_EQ(Drawn(reading), "25400,50800 black; 20000,10000 black");
  EXPECT_THAT(reading.losses, Not(Contains("contextRef '#DefaultContext' to nothing")));
}

TEST(InkMLCurrent, ATimestampBetweenTracesDatesAllBehindIt) {
  const Reading reading = ReadDocument(Document(
      kMillimetres +
      std::string(
          "<context><timestamp time='1700000000000'/></context><trace>1 2</trace><context>") +
      kRed + "</context><trace>1 2</trace>"));
  ASSERT_EQ(reading.Strokes().size(), 2u);
  EXPECT_EQ(reading.Strokes()[0].start_time_ms, 1700000000000u);
  EXPECT_EQ(reading.Strokes()[1].start_time_ms, 1700000000000u);
}

TEST(InkMLCurrent, AReferenceToAnElementOfAnotherKindIsToNothing) {
  EXPECT_TRUE(ReadDocument(Document("<definitions><brush xml:id='b'/></definitions>"
                                    "<trace contextRef='#b'>10 20</trace>"))
                  .Lost("contextRef '#b' to nothing"));
}

}  // namespace
}  // namespace TalvoInk
