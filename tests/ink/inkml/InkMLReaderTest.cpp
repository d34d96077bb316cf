#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(InkMLReader, AStrokeIsPenDownItsPointsAndPenUp) {
  const Reading reading = ReadDocument(TraceDocument("1 2, 3 4"));
  ASSERT_EQ(reading.Strokes().size(), 1u);
  EXPECT_TRUE(SameSamples(
      reading.Strokes()[0].samples,
      {Sample(STF2_SAMPLE_PEN_DOWN, 1000, 2000), Sample(STF2_SAMPLE_COORDINATE, 1000, 2000),
       Sample(STF2_SAMPLE_COORDINATE, 3000, 4000), Sample(STF2_SAMPLE_PEN_UP, 3000, 4000)}));
}

TEST(InkMLReader, AThirdValueWithoutADeclaredChannelIsNeverGuessed) {
  const Reading reading = ReadDocument(Document("<trace>10 20 0.5, 30 40 0.9</trace>"));
  EXPECT_EQ(reading.Strokes()[0].samples[0].force, 0);
  EXPECT_TRUE(reading.Lost("values without a declared channel dropped: 2"));
}

TEST(InkMLReader, ColourWidthAndTransparencyComeFromTheBrush) {
  const Reading reading = ReadDocument(
      Document("<definitions><brush xml:id='b'><brushProperty name='width' value='.053' "
               "units='mm'/><brushProperty name='color' value='\\#00AA24'/><brushProperty "
               "name='transparency' value='55'/></brush></definitions>"
               "<trace brushRef='#b'>1 2</trace><trace>3 4</trace>"));
  ASSERT_EQ(reading.Strokes().size(), 2u);
  EXPECT_EQ(reading.Strokes()[0].color, 0xC800AA24u);
  EXPECT_EQ(reading.Strokes()[0].width_um, 53u);
  EXPECT_EQ(reading.Strokes()[1].color, kBlack);
  EXPECT_EQ(reading.Strokes()[1].width_um, 0u);
}

TEST(InkMLReader, GroupsPassTheirContextBrushAndPageDown) {
  const Reading reading = ReadDocument(Document(
      "<definitions><context xml:id='c'><traceFormat><channel name='Y' units='mm'/><channel "
      "name='X' units='mm'/></traceFormat></context><brush xml:id='b'><brushProperty "
      "name='color' value='#FF0000'/></brush></definitions>"
      "<traceGroup contextRef='#c' brushRef='#b'><annotation type='page'>1.2.3.4</annotation>"
      "<traceGroup><trace>1 2</trace></traceGroup></traceGroup>"));
  ASSERT_EQ(reading.Strokes().size(), 1u);
  EXPECT_EQ(Positions(reading.Strokes()[0]), "2000,1000");
  EXPECT_EQ(reading.Strokes()[0].color, 0xFFFF0000u);
  EXPECT_EQ(reading.Strokes()[0].page, "1.2.3.4");
}

TEST(InkMLReader, TheNearestPageCounts) {
  const Reading reading = ReadDocument(Document(
      "<annotation type='page'>1.1.1.1</annotation><trace>1 2</trace>"
      "<traceGroup><annotation type='page'>1.1.1.2</annotation><trace>1 2</trace></traceGroup>"));
  EXPECT_EQ(reading.Strokes()[0].page, "1.1.1.1");
  EXPECT_EQ(reading.Strokes()[1].page, "1.1.1.2");
}

TEST(InkMLReader, PenAndPageCanBeGivenFromOutside) {
  ReadOptions options;
  options.pen = 7;
  options.page.emplace("9.9.9.9");
  const Reading reading =
      ReadDocument(Document("<annotation type='pen'>0123-4567-89AB-CDEF</annotation>"
                            "<annotation type='page'>1.1.1.1</annotation><trace>1 2</trace>"),
                   options);
  EXPECT_EQ(reading.ink.pen, 7u);
  EXPECT_EQ(reading.Strokes()[0].page, "9.9.9.9");
}

TEST(InkMLReader, GroupsCanBeGivenAPageEach) {
  ReadOptions options;
  options.page.emplace("1.2.3.9");
  options.page_for_each_group = true;
  const Reading reading =
      ReadDocument(Document("<traceGroup><trace>1 2</trace></traceGroup>"
                            "<traceGroup><traceGroup><trace>1 2</trace></traceGroup></traceGroup>"),
                   options);
  EXPECT_EQ(reading.Strokes()[0].page, "1.2.3.9");
  EXPECT_EQ(reading.Strokes()[1].page, "1.2.3.10");
}

TEST(InkMLReader, CountedPagesAreTakenByGroupsWithStrokesAndOneByAllLooseStrokes) {
  ReadOptions options;
  options.page.emplace("1.2.3.4");
  options.page_for_each_group = true;
  const Reading reading = ReadDocument(
      Document("<annotation type='page'>9.9.9.9</annotation>"
               "<traceGroup/><traceGroup><trace/><traceGroup/></traceGroup>"
               "<traceGroup><annotation type='page'>8.8.8.8</annotation><trace>1 2</trace>"
               "<traceGroup><annotation type='page'>7.7.7.7</annotation><trace>1 2</trace>"
               "</traceGroup></traceGroup>"
               "<trace>1 2</trace><traceGroup><trace>1 2</trace></traceGroup><trace>1 2</trace>"),
      options);
  std::string pages;
  for (const Stroke& stroke : reading.Strokes()) pages += stroke.page.value_or("none") + " ";
  EXPECT_EQ(pages, "1.2.3.4 1.2.3.4 1.2.3.5 1.2.3.6 1.2.3.5 ");
}

TEST(InkMLReader, GroupsBeyondTheLastPageAreRefused) {
  ReadOptions options;
  options.page.emplace("1.2.3.2147483647");
  options.page_for_each_group = true;
  EXPECT_EQ(ReadDocument(Document("<traceGroup><trace>1 2</trace></traceGroup>\n"
                                  "<traceGroup><trace>1 2</trace></traceGroup>"),
                         options)
                .refusal,
            "line 2, column 14: no page 1 behind 1.2.3.2147483647: the last field goes up to "
            "2147483647");
}

TEST(InkMLReader, ThePenIsReadFromItsAnnotation) {
  EXPECT_EQ(
      ReadDocument(Document("<annotation type='pen'> 0123-4567-89AB-CDEF </annotation>")).ink.pen,
      81985529216486895u);
}

TEST(InkMLReader, AFileWithoutAPenGetsPenZeroAndSaysSo) {
  const Reading reading = ReadDocument(TraceDocument("1 2"));
  EXPECT_EQ(reading.ink.pen, 0u);
  EXPECT_TRUE(reading.is_pen_assumed);
  EXPECT_FALSE(ReadDocument("<ink><annotation type='pen'>0123-4567-89AB-CDEF</annotation>"
                            "<trace>1 2</trace></ink>")
                   .is_pen_assumed);
}

TEST(InkMLReader, AnnotationsOfTheDocumentBecomeProperties) {
  const Reading reading = ReadDocument(
      Document("<annotation type='writer'> Ada &amp; co </annotation><trace>1 2</trace>"));
  ASSERT_FALSE(reading.ink.items.empty());
  EXPECT_EQ(std::get<Property>(reading.ink.items[0]), (Property{"writer", "Ada & co"}));
}

TEST(InkMLReader, PrefixesAndNamespacesOfElementsDontMatter) {
  for (const char* name :
       {"http://www.w3.org/2003/InkML", "http://www.w3.org/TR/InkML", "urn:else"}) {
    const Reading reading =
        ReadDocument("<i:ink xmlns:i='" + std::string(name) + "'><i:trace>10 20</i:trace></i:ink>");
    EXPECT_EQ(reading.Strokes().size(), 1u) << name << reading.refusal;
  }
  EXPECT_EQ(ReadDocument("<ink><trace>10 20</trace></ink>").Strokes().size(), 1u);
}

TEST(InkMLReader, WhatStandsInForeignAnnotationsIsNotInk) {
  const Reading reading = ReadDocument(
      Document("<annotationXML><e:emma><m:context xml:id='c'/><ink><trace>1 2</trace></ink>"
               "</e:emma></annotationXML><trace>10 20</trace>"));
  EXPECT_EQ(reading.Strokes().size(), 1u);
}

TEST(InkMLReader, AByteOrderMarkAndUtf16AreRead) {
  EXPECT_EQ(ReadDocument("\xEF\xBB\xBF<ink><trace>10 20</trace></ink>").Strokes().size(), 1u);
  std::string wide = "\xFF\xFE";
  for (const char c : std::string("<?xml version='1.0' encoding='UTF-16'?><ink><trace>10 "
                                  "20</trace></ink>")) {
    wide += c;
    wide += '\0';
  }
  EXPECT_EQ(ReadDocument(wide).Strokes().size(), 1u) << ReadDocument(wide).refusal;
}

TEST(InkMLReader, EmptyTracesAreLeftOutAndTold) {
  const Reading reading = ReadDocument(Document("<trace/><trace> </trace><trace>10 20</trace>"));
  EXPECT_EQ(reading.Strokes().size(), 1u);
  EXPECT_TRUE(reading.Lost("traces without points left out: 2"));
}

TEST(InkMLReader, ASinglePointIsADot) {
  EXPECT_EQ(FirstPositions(ReadDocument(TraceDocument("1 2"))), "1000,2000");
}

TEST(InkMLReader, CommentsAndCDataInsideATraceDontStopIt) {
  EXPECT_EQ(FirstPositions(ReadDocument(TraceDocument("1 2,<!-- here --> 3 <![CDATA[4, 5 6]]>"))),
            "1000,2000 3000,4000 5000,6000");
}

TEST(InkMLReader, TracesInDefinitionsAreInkWhereAViewShowsThemAndOnlyOnce) {
  const Reading reading = ReadDocument(
      Document("<definitions><trace xml:id='t'>10 20</trace><trace xml:id='u'>1 1</trace>"
               "</definitions><traceView traceDataRef='#t'/>"
               "<traceView><traceView traceDataRef='#t'/></traceView>"));
  EXPECT_EQ(reading.Strokes().size(), 1u);
}

TEST(InkMLReader, AViewOfTracesInTheBodyAddsNothing) {
  const Reading reading =
      ReadDocument(Document("<trace xml:id='t'>10 20</trace><traceView traceDataRef='#t'/>"));
  EXPECT_EQ(reading.Strokes().size(), 1u);
}

TEST(InkMLReader, TracesOfALiftedPenAreLeftOut) {
  const Reading reading = ReadDocument(Document("<trace type='penUp'>1 2</trace>"));
  EXPECT_THAT(reading.Strokes(), IsEmpty());
  EXPECT_TRUE(reading.Lost("traces of a lifted pen left out: 1"));
}

}  // namespace
}  // namespace TalvoInk
