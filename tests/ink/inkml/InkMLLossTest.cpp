// What a document says and ink can't hold is told, and what loses all its ink is refused.

#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/Tips.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// What is lost of a document of one timed trace in millimetres with the brush's properties.
std::vector<std::string> LossesOfBrush(const std::string& properties) {
  return ReadDocument(
             Document("<context><traceFormat><channel name='X' units='mm'/><channel name='Y' "
                      "units='mm'/><channel name='T' units='ms'/></traceFormat><timestamp "
                      "time='1700000000000'/><brush>" +
                      properties + "</brush></context><trace>1 2 0, 3 4 5</trace>"))
      .losses;
}

std::string BrushProperty(const std::string& name, const std::string& value,
                          const std::string& units = "mm") {
  return "<brushProperty name='" + name + "' value='" + value + "' units='" + units + "'/>";
}

TEST(InkMLLoss, UnknownBrushPropertiesAreTold) {
  EXPECT_THAT(LossesOfBrush(BrushProperty("tip", "drop") + BrushProperty("glitter", "1")),
              ElementsAre("tips of brushes kept as properties: 1",
                          "brush property glitter kept as a property, not drawn",
                          "brush property tip kept as a property, not drawn"));
  EXPECT_THAT(LossesOfBrush(BrushProperty("glitter", std::string(kLongestBrushWord + 1, 'x'))),
              ElementsAre("brush property glitter dropped"));
  std::string many;
  for (std::size_t i = 0; i <= kMostBrushWords; ++i)
    many += BrushProperty("a" + std::to_string(i), "");
  EXPECT_THAT(LossesOfBrush(many), testing::Contains("brush property a32 dropped"));
}

TEST(InkMLLoss, BrushPropertiesThatSayWhatHoldsAnywayAreNoLoss) {
  EXPECT_THAT(
      LossesOfBrush(BrushProperty("tip", "ellipse") + BrushProperty("rasterOp", "copyPen") +
                    BrushProperty("antiAliased", "true") + BrushProperty("fitToCurve", "1") +
                    BrushProperty("ignorePressure", "0") + BrushProperty("Width", "0.5") +
                    BrushProperty("height", "0.5")),
      IsEmpty());
}

TEST(InkMLLoss, ATipThatStf2CantHoldIsToldAndKeptAsAProperty) {
  EXPECT_THAT(LossesOfBrush(BrushProperty("width", "0.5") + BrushProperty("height", "0.9")),
              ElementsAre("tips of brushes kept as properties: 1"));
  EXPECT_THAT(LossesOfBrush(BrushProperty("height", "0.9")), IsEmpty());
  EXPECT_THAT(LossesOfBrush(BrushProperty("rasterOp", "maskPen")),
              ElementsAre("tips of brushes kept as properties: 1"));
}

TEST(InkMLLoss, BrushValuesThatMeanNothingAreTold) {
  for (const char* width : {"broad", "", "-1", "0", "1e9", "nan"}) {
    EXPECT_THAT(
        LossesOfBrush(BrushProperty("width", width)),
        ElementsAre("width '" + std::string(width) + "' is not a line's; the default width taken"));
  }
  for (const char* transparency : {"half", "-1", "256"}) {
    EXPECT_THAT(LossesOfBrush(BrushProperty("transparency", transparency)),
                ElementsAre("transparency '" + std::string(transparency) +
                            "' is not from 0 to 255; opaque taken"));
  }
  EXPECT_THAT(LossesOfBrush(BrushProperty("color", "mauve")),
              ElementsAre("colour 'mauve' is not known; black taken"));
}

TEST(InkMLLoss, ADurationThatTheTimesDontSayIsTold) {
  const std::string context =
      "<context><traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
      "<channel name='T' units='ms'/></traceFormat><timestamp time='1700000000000'/></context>";
  EXPECT_THAT(ReadDocument(Document(context + "<trace duration='5'>1 2 0, 3 4 5</trace>")).losses,
              IsEmpty());
  EXPECT_THAT(ReadDocument(Document(context + "<trace duration='80'>1 2 0, 3 4 5</trace>")).losses,
              ElementsAre("durations of traces left out: 1"));
  EXPECT_TRUE(ReadDocument(Document("<trace duration='80'>10 20</trace>"))
                  .Lost("durations of traces left out: 1"));
}

TEST(InkMLLoss, RoundedTimesAreTold) {
  const std::string context =
      "<context><traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
      "<channel name='T' units='UNIT'/></traceFormat><timestamp time='1700000000000'/></context>";
  const auto losses = [&](const std::string& unit, const std::string& trace) {
    std::string with_unit = context;
    with_unit.replace(with_unit.find("UNIT"), 4, unit);
    return ReadDocument(Document(with_unit + trace)).losses;
  };
  EXPECT_THAT(losses("ms", "<trace>1 2 0.4, 3 4 5.0, 5 6 7.25</trace>"),
              ElementsAre("times rounded to whole milliseconds: 2"));
  EXPECT_THAT(losses("ms", "<trace timeOffset='10.5'>1 2 0, 3 4 5</trace>"),
              ElementsAre("times rounded to whole milliseconds: 1"));
  EXPECT_THAT(losses("s", "<trace>1 2 0.007, 3 4 0.1, 5 6 1234.567</trace>"), IsEmpty());
}

TEST(InkMLLoss, ARoundedTimestampIsTold) {
  const auto losses = [](const std::string& timestamp) {
    return ReadDocument(
               Document("<context><traceFormat><channel name='X' units='mm'/><channel name='Y' "
                        "units='mm'/><channel name='T'/></traceFormat>" +
                        timestamp + "</context><trace>1 2 0</trace>"))
        .losses;
  };
  EXPECT_THAT(losses("<timestamp time='1700000000000.5'/>"),
              ElementsAre("times rounded to whole milliseconds: 1"));
  EXPECT_THAT(losses("<timestamp timeString='2023-11-14T22:13:20.1234Z'/>"),
              ElementsAre("times rounded to whole milliseconds: 1"));
  EXPECT_THAT(losses("<timestamp timeString='2023-11-14T22:13:20.1230000Z'/>"), IsEmpty());
}

TEST(InkMLLoss, WhatHasNoPlaceInInkIsTold) {
  const Reading reading = ReadDocument(
      Document("stray<trace>10 20<i>30 40</i></trace><page/>"
               "<annotationXML><a/></annotationXML><traceGroup><annotation type='truth'>x"
               "</annotation></traceGroup>"));
  EXPECT_TRUE(reading.Lost("text outside of traces left out"));
  EXPECT_TRUE(reading.Lost("element <i> left out"));
  EXPECT_TRUE(reading.Lost("element <page> left out"));
  EXPECT_TRUE(reading.Lost("annotations in other languages left out: 1"));
  EXPECT_TRUE(reading.Lost("annotations of groups left out: 1"));
}

TEST(InkMLLoss, TracesThatNoViewShowsAreTold) {
  EXPECT_TRUE(ReadDocument(Document("<definitions><trace xml:id='a'>1 2</trace><traceGroup>"
                                    "<trace>3 4</trace></traceGroup></definitions>"
                                    "<traceView traceDataRef='#a'/>"))
                  .Lost("traces in definitions that no view shows left out: 1"));
}

TEST(InkMLLoss, ChannelNamesMayBeInLowerCase) {
  const Reading reading = ReadDocument(
      Document("<traceFormat><channel name='y' units='mm'/><channel name='x' units='mm'/>"
               "<channel name='f' max='10'/></traceFormat><trace>1 2 10</trace>"));
  ASSERT_EQ(reading.Strokes().size(), 1u) << reading.refusal;
  EXPECT_EQ(Positions(reading.Strokes()[0]), "2000,1000");
  EXPECT_EQ(reading.Strokes()[0].samples[1].force, 65535);
}

TEST(InkMLLoss, ADocumentWhoseEveryPointIsLostIsRefused) {
  EXPECT_EQ(ReadDocument(Document("\n<traceFormat><channel name='horizontal'/><channel name='Y'/>"
                                  "</traceFormat><trace>1 2</trace>"))
                .refusal,
            "line 1, column 2: no point has both an X and a Y; the channels are horizontal, Y");
  EXPECT_EQ(ReadDocument(Document("<definitions><trace>1 2</trace></definitions>")).refusal,
            "line 1, column 2: all traces stand in definitions, and no view shows them");
  EXPECT_EQ(ReadDocument(Document("<page><trace>1 2</trace></page>")).refusal,
            "line 1, column 44: no trace but perhaps in the unknown element <page>");
}

TEST(InkMLLoss, TextAroundTheRootElementIsRefused) {
  EXPECT_THAT(ReadDocument("<ink><trace>10 20</trace></ink>\nmore").refusal,
              HasSubstr("line 1, column 32: not well-formed XML: text outside of the root"));
  EXPECT_THAT(ReadDocument("<?xml version='1.0'?>x<ink><trace>10 20</trace></ink>").refusal,
              HasSubstr("text outside of the root"));
  EXPECT_EQ(ReadDocument("<ink><trace>10 20</trace></ink>\n<ink/>").refusal,
            "line 2, column 2: not well-formed XML: a second root element");
  EXPECT_EQ(ReadDocument("<ink><trace>10 20</trace></ink>\n<!-- end -->\n").refusal, "");
}

}  // namespace
}  // namespace TalvoInk
