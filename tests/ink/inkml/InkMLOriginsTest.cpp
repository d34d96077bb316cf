// Documents as different programs write them: each is read whole, with the right strokes and
// points, and comes back the same from STF2 by way of InkML.

#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/inkml/InkMLWriter.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Lines = std::vector<std::string>;

// The positions of each stroke, after a check that the ink survives the way to InkML and back.
Lines StrokesOf(const Reading& reading) {
  EXPECT_EQ(reading.refusal, "");
  EXPECT_EQ(ReadDocument(WriteInkML(reading.ink)).ink, reading.ink);
  Lines lines;
  for (const Stroke& stroke : reading.Strokes()) lines.push_back(Positions(stroke));
  return lines;
}

TEST(InkMLOrigins, AnOfficeProgramsPrefixedDocument) {
  const Reading reading = ReadDocument(
      "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n"
      "<inkml:ink xmlns:inkml=\"http://www.w3.org/2003/InkML\"><inkml:definitions>"
      "<inkml:context xml:id=\"ctx0\"><inkml:inkSource xml:id=\"inkSrc0\"><inkml:traceFormat>"
      "<inkml:channel name=\"X\" type=\"integer\" max=\"21136\" units=\"cm\"/>"
      "<inkml:channel name=\"Y\" type=\"integer\" max=\"15900\" units=\"cm\"/>"
      "<inkml:channel name=\"F\" type=\"integer\" max=\"255\" units=\"dev\"/>"
      "</inkml:traceFormat><inkml:channelProperties>"
      "<inkml:channelProperty channel=\"X\" name=\"resolution\" value=\"1000\" units=\"1/cm\"/>"
      "<inkml:channelProperty channel=\"Y\" name=\"resolution\" value=\"1000\" units=\"1/cm\"/>"
      "<inkml:channelProperty channel=\"F\" name=\"resolution\" value=\"0\" units=\"1/dev\"/>"
      "</inkml:channelProperties></inkml:inkSource>"
      "<inkml:timestamp xml:id=\"ts0\" timeString=\"2023-11-14T22:13:20.000Z\"/></inkml:context>"
      "<inkml:brush xml:id=\"br0\"><inkml:brushProperty name=\"width\" value=\"0.05\" "
      "units=\"cm\"/>"
      "<inkml:brushProperty name=\"height\" value=\"0.05\" units=\"cm\"/>"
      "<inkml:brushProperty name=\"color\" value=\"#E71224\"/></inkml:brush></inkml:definitions>"
      "<inkml:trace contextRef=\"#ctx0\" brushRef=\"#br0\">2000 1000 0,'-2'0'255,\"1\"1 -1\r\n"
      "</inkml:trace></inkml:ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("20000,10000 19980,10000 19970,10010"));
  EXPECT_EQ(Forces(reading.Strokes()[0]), "0 65535 65278");
  EXPECT_EQ(reading.Strokes()[0].color, 0xFFE71224u);
  EXPECT_EQ(reading.Strokes()[0].width_um, 500u);
  EXPECT_EQ(reading.Strokes()[0].start_time_ms, 1700000000000u);
}

TEST(InkMLOrigins, AFormulaCorpusWithTracesBelowALabelTree) {
  const Reading reading = ReadDocument(
      "<ink xmlns=\"http://www.w3.org/2003/InkML\">\n<traceFormat>\n<channel name=\"X\" "
      "type=\"decimal\"/>\n<channel name=\"Y\" type=\"decimal\"/>\n</traceFormat>\n"
      "<annotation type=\"truth\">$x$</annotation>\n<annotation type=\"UI\">2011_IVC</annotation>\n"
      "<annotationXML type=\"truth\" encoding=\"Content-MathML\"><math xmlns='urn:m'><mi>x</mi>"
      "</math></annotationXML>\n"
      "<trace id=\"0\">\n9 10, 9 12, 100 90\n</trace>\n<trace id=\"1\">\n20 9, 18 11\n</trace>\n"
      "<traceGroup xml:id=\"2\"><annotation type=\"truth\">Segmentation</annotation>"
      "<traceGroup xml:id=\"3\"><annotation type=\"truth\">x</annotation>"
      "<traceView traceDataRef=\"0\"/><traceView traceDataRef=\"1\"/><annotationXML href=\"x_1\"/>"
      "</traceGroup></traceGroup></ink>\n");
  EXPECT_THAT(StrokesOf(reading),
              ElementsAre("2381,2646 2381,3175 26458,23813", "5292,2381 4763,2910"));
  EXPECT_EQ(std::get<Property>(reading.ink.items[0]), (Property{"truth", "$x$"}));
}

TEST(InkMLOrigins, TheRecommendationsStreamOfDifferencesAndBooleans) {
  const Reading reading = ReadDocument(
      "<ink xmlns='http://www.w3.org/2003/InkML'><definitions><traceFormat xml:id='f'>"
      "<channel name='X' type='integer' units='himetric'/><channel name='Y' type='integer' "
      "units='himetric'/><intermittentChannels><channel name='S1' type='boolean' default='F'/>"
      "<channel name='S2' type='boolean' default='F'/></intermittentChannels></traceFormat>"
      "<context xml:id='c' traceFormatRef='#f'/></definitions>"
      "<trace contextRef='#c'>1125 18432,'23'43,\"7\"-8,3-5,7 -3,6 2,6 8,3 6 T,2 4*T,3 6,3-6 F F"
      "</trace></ink>");
  EXPECT_THAT(StrokesOf(reading),
              ElementsAre("11250,184320 11480,184750 11780,185100 12110,185400 12510,185670 "
                          "12970,185960 13490,186330 14040,186760 14610,187230 15210,187760 "
                          "15840,188230"));
  EXPECT_TRUE(reading.Lost("channel S1 dropped"));
  EXPECT_TRUE(reading.Lost("channel S2 dropped"));
}

TEST(InkMLOrigins, HexadecimalCountsOfADriver) {
  const Reading reading = ReadDocument(
      "<ink><definitions><inkSource id='s'><traceFormat><channel name='X' type='integer' "
      "units='dev'/><channel name='Y' type='integer' units='dev'/><channel name='F' "
      "type='integer' min='0' max='15'/></traceFormat><channelProperties>"
      "<channelProperty channel='X' name='resolution' value='2540' units='1/in'/>"
      "<channelProperty channel='Y' name='resolution' value='2540' units='1/in'/>"
      "</channelProperties></inkSource><context id='c' inkSourceRef='#s'/></definitions>"
      "<trace contextRef='#c'>#64#C8#F,#65#c9#0,-#A #0 #8</trace></ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000 1010,2010 -100,0"));
  EXPECT_EQ(Forces(reading.Strokes()[0]), "65535 0 34952");
}

TEST(InkMLOrigins, ABareListOfTracesInALibrarysExport) {
  const Reading reading = ReadDocument(
      "<ink>\n <trace>10 0, 9 14,8 28 , 7 42,</trace>\n <trace>130 155</trace>\n"
      " <trace/>\n</ink>");
  EXPECT_THAT(StrokesOf(reading),
              ElementsAre("2646,0 2381,3704 2117,7408 1852,11113", "34396,41010"));
  EXPECT_TRUE(reading.Lost("traces without points left out: 1"));
}

TEST(InkMLOrigins, ATabletStreamWithItsFormatsInBetween) {
  const Reading reading = ReadDocument(
      "<ink xmlns='http://www.w3.org/2003/InkML'><traceFormat><channel name='X' units='mm'/>"
      "<channel name='Y' units='mm'/></traceFormat><brush><brushProperty name='color' "
      "value='rgb(0,0,255)'/></brush><trace>1 1, 2 2</trace><traceFormat><channel name='T' "
      "units='s'/><channel name='X' units='in'/><channel name='Y' units='in'/></traceFormat>"
      "<context><timestamp time='1700000000000'/></context><trace>0.5 1 1, .75 2 2</trace></ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,1000 2000,2000", "25400,25400 50800,50800"));
  EXPECT_EQ(Times(reading.Strokes()[1]), "1700000000500 1700000000750");
  EXPECT_EQ(reading.Strokes()[1].color, 0xFF0000FFu);
}

TEST(InkMLOrigins, AnArchiveWhoseTracesAreShownByViews) {
  const Reading reading = ReadDocument(
      "<ink><definitions><context xml:id='c'><traceFormat><channel name='X' units='mm'/>"
      "<channel name='Y' units='mm'/></traceFormat></context>"
      "<traceGroup xml:id='word' contextRef='#c'><trace xml:id='a'>1 2, 3 4</trace>"
      "<trace xml:id='b'>5 6</trace></traceGroup></definitions>"
      "<traceView><traceView traceDataRef='#word'/><traceView traceDataRef='#a'/></traceView>"
      "<traceView traceDataRef='#b'/></ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000 3000,4000", "5000,6000"));
}

TEST(InkMLOrigins, TimestampsThatCountFromOneAnother) {
  const Reading reading = ReadDocument(
      "<ink><definitions><timestamp xml:id='t0' timeString='2023-11-14T23:13:20+01:00'/>"
      "<timestamp xml:id='t1' timestampRef='#t0' timeOffset='60000'/>"
      "<traceFormat xml:id='f'><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
      "<channel name='T' units='ms' respectTo='#t0'/></traceFormat>"
      "<context xml:id='plain'><traceFormat><channel name='X' units='mm'/><channel name='Y' "
      "units='mm'/><channel name='T'/></traceFormat></context>"
      "<context xml:id='c1' contextRef='#plain' timestampRef='#t1'/>"
      "<context xml:id='c2' traceFormatRef='#f'/></definitions>"
      "<trace contextRef='#c1' timeOffset='5'>1 2 0, 3 4 9</trace>"
      "<trace contextRef='#c2'>1 2 7, 3 4 8</trace></ink>");
  EXPECT_EQ(StrokesOf(reading).size(), 2u);
  EXPECT_EQ(Times(reading.Strokes()[0]), "1700000060005 1700000060014");
  EXPECT_EQ(Times(reading.Strokes()[1]), "1700000000007 1700000000008");
  EXPECT_THAT(reading.losses, IsEmpty());
}

TEST(InkMLOrigins, PointsWithMissingAndRepeatedValues) {
  const Reading reading = ReadDocument(
      TraceDocument("1 2 5, * 3 ?, 4 * *, ? 9 1, !5'1 7", "<channel name='F' max='10'/>"));
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000 1000,3000 4000,3000 5000,10000"));
  EXPECT_EQ(Forces(reading.Strokes()[0]), "32768 32768 32768 45875");
  EXPECT_TRUE(reading.Lost("points without a position left out: 1"));
}

TEST(InkMLOrigins, ANamespaceThatIsWrongAndPrefixesThatAreMixed) {
  const Reading reading = ReadDocument(
      "<?xml version='1.0'?><!DOCTYPE ink><a:ink xmlns:a='http://example.org/ink' "
      "xmlns:b='http://www.w3.org/TR/InkML'><b:traceFormat><a:channel name='X' units='pt'/>"
      "<a:channel name='Y' units='pt'/></b:traceFormat><!-- ink --><b:trace>72 144<![CDATA[, 36 "
      "72]]></b:trace></a:ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("25400,50800 12700,25400"));
}

TEST(InkMLOrigins, AMobileAppWithTiltAzimuthAndItsOwnTime) {
  const Reading reading = ReadDocument(
      "<ink xmlns='http://www.w3.org/2003/InkML'><definitions><context xml:id='ctx'><traceFormat>"
      "<channel name='T' type='integer' units='ms'/><channel name='X' type='decimal' units='px'/>"
      "<channel name='Y' type='decimal' units='px'/><channel name='OA' type='decimal' "
      "units='deg'/><channel name='OE' type='decimal' units='deg'/><channel name='F' "
      "type='decimal' min='0' max='1'/></traceFormat></context></definitions>"
      "<trace contextRef='#ctx'>1700000000000 96 192 45 60 0.5, 1700000000008 97 193 45.1 60.2 1"
      "</trace></ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("25400,50800 25665,51065"));
  EXPECT_EQ(Times(reading.Strokes()[0]), "1700000000000 1700000000008");
  EXPECT_EQ(Forces(reading.Strokes()[0]), "32768 65535");
  EXPECT_TRUE(reading.Lost("channel OA dropped"));
  EXPECT_TRUE(reading.Lost("channel OE dropped"));
}

TEST(InkMLOrigins, AWhiteboardWhoseYGrowsUpwardAndWhoseUnitsAreSpelledOut) {
  const Reading reading = ReadDocument(
      "<ink><context><traceFormat><channel name='x' units='Inches'/><channel name='y' "
      "units='Inches' orientation='-ve'/></traceFormat></context><trace>1 1, 2 -2.5E-1</trace>"
      "</ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("25400,-25400 50800,6350"));
}

TEST(InkMLOrigins, AnEarlyDraftsRegularChannels) {
  const Reading reading = ReadDocument(
      "<ink><definitions><traceFormat id='f'><regularChannels><channel name='X' units='mm'/>"
      "<channel name='Y' units='mm'/><channel name='F' max='100'/></regularChannels>"
      "<intermittentChannels><channel name='B1' type='boolean'/></intermittentChannels>"
      "</traceFormat></definitions><trace>1 2 50 T, 3 4 100</trace></ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000 3000,4000"));
  EXPECT_EQ(Forces(reading.Strokes()[0]), "32768 65535");
  EXPECT_TRUE(reading.Lost("traces without a context; the document's only trace format taken"));
}

TEST(InkMLOrigins, PenUpAndContinuedTracesOfADigitiser) {
  const Reading reading = ReadDocument(
      Document("<traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
               "</traceFormat><trace xml:id='a' type='penDown' continuation='begin'>1 2</trace>"
               "<trace type='penUp'>9 9</trace>"
               "<trace type='penDown' continuation='end' priorRef='#a'>3 4</trace>"));
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000 3000,4000"));
  EXPECT_THAT(reading.losses, ElementsAre("traces of a lifted pen left out: 1"));
}

TEST(InkMLOrigins, AStrokeThatADigitiserSendsInThreeTraces) {
  const Reading reading = ReadDocument(Document(
      "<traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
      "<channel name='T'/></traceFormat><context><timestamp time='1700000000000'/></context>"
      "<trace xml:id='a' continuation='begin'>1 2 0, 2 2 10</trace>"
      "<trace xml:id='other'>9 9 15</trace>"
      "<trace xml:id='b' continuation='middle' priorRef='#a'>3 4 20</trace>"
      "<trace xml:id='c' continuation='end' priorRef='#b'>5 6 40</trace>"));
  EXPECT_THAT(StrokesOf(reading),
              ElementsAre("1000,2000 2000,2000 3000,4000 5000,6000", "9000,9000"));
  EXPECT_EQ(Times(reading.Strokes()[0]), "1700000000000 1700000000010 1700000000020 1700000000040");
  EXPECT_THAT(reading.losses, IsEmpty());
}

TEST(InkMLOrigins, AContinuationOfNothingIsAStrokeOfItsOwnAndTold) {
  const Reading reading = ReadDocument(
      Document("<traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/>"
               "</traceFormat><trace>1 2</trace><trace continuation='end' priorRef='#a'>3 4</trace>"
               "<trace continuation='middle'>5 6</trace>"));
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000", "3000,4000 5000,6000"));
  EXPECT_TRUE(reading.Lost("continued traces kept as strokes of their own"));
}

TEST(InkMLOrigins, GroupsInGroupsThatChangeContextAndBrush) {
  const Reading reading = ReadDocument(
      "<ink><definitions><context xml:id='mm'><traceFormat><channel name='X' units='mm'/><channel "
      "name='Y' units='mm'/></traceFormat></context><context xml:id='red'><brush><brushProperty "
      "name='color' value='red'/></brush></context></definitions><traceGroup contextRef='#mm'>"
      "<trace>1 2</trace><traceGroup contextRef='#red'><traceGroup><trace>3 4</trace></traceGroup>"
      "</traceGroup><trace>5 6</trace></traceGroup></ink>");
  EXPECT_THAT(StrokesOf(reading), ElementsAre("1000,2000", "3000,4000", "5000,6000"));
  EXPECT_EQ(reading.Strokes()[1].color, 0xFFFF0000u);
  EXPECT_EQ(reading.Strokes()[2].color, kBlack);
}

}  // namespace
}  // namespace TalvoInk
