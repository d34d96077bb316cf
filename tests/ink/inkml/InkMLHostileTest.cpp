// Documents that are damaged or mean harm: each is read or refused with its place and reason, and
// none costs more than its size justifies.

#include <gmock/gmock.h>

#include <random>

#include "ink/InkSupport.h"
#include "ink/Stf2File.h"
#include "support/TestRoot.h"

namespace TalvoInk {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::string RefusalOf(const std::string& bytes) {
  return ReadDocument(bytes).refusal;
}

std::string Repeated(const std::string& text, std::size_t times) {
  std::string out;
  for (std::size_t i = 0; i < times; ++i) out += text;
  return out;
}

TEST(InkMLHostile, DamagedXmlIsRefusedWithLineAndColumn) {
  EXPECT_THAT(RefusalOf("<ink>\n  <trace>1 2</trac>\n</ink>"),
              StartsWith("line 2, column 15: not well-formed XML: "));
}

TEST(InkMLHostile, AFaultInATraceIsRefusedWithLineAndColumn) {
  EXPECT_EQ(RefusalOf("<ink>\n <trace>1 2,\n  3 oops</trace>\n</ink>"),
            "line 3, column 5: not a value of a trace");
}

TEST(InkMLHostile, ColumnsCountCharactersNotBytes) {
  EXPECT_EQ(RefusalOf("<ink><annotation>\xC3\xA4\xC3\xB6</annotation><trace>?x</trace></ink>"),
            "line 1, column 41: not a value of a trace");
}

TEST(InkMLHostile, OtherXmlIsRefused) {
  EXPECT_EQ(RefusalOf("<?xml version='1.0'?>\n<svg/>"),
            "line 2, column 2: not InkML: the root element is <svg>");
}

TEST(InkMLHostile, ADocumentWithoutElementsIsRefused) {
  EXPECT_THAT(RefusalOf("<!-- nothing -->"), HasSubstr("not well-formed XML"));
}

TEST(InkMLHostile, EntitiesAreNotExpandedButRefused) {
  EXPECT_EQ(RefusalOf("<!DOCTYPE ink [\n <!ENTITY a 'aaaa'>\n <!ENTITY b '&a;&a;'>]>"
                      "<ink><trace>&b;</trace></ink>"),
            "line 2, column 2: declares entities; they are not read");
}

TEST(InkMLHostile, GroupsNestedTooDeepAreRefused) {
  const std::string deep =
      Document(Repeated("<traceGroup>", 100000) + Repeated("</traceGroup>", 100000));
  EXPECT_THAT(RefusalOf(deep), HasSubstr("groups nested deeper than 64"));
}

TEST(InkMLHostile, ForeignElementsNestedDeepAreReadOver) {
  const std::string deep =
      Document("<annotationXML>" + Repeated("<a>", 100000) + Repeated("</a>", 100000) +
               "</annotationXML><trace>10 20</trace>");
  EXPECT_EQ(ReadDocument(deep).Strokes().size(), 1u);
}

TEST(InkMLHostile, ViewsThatShowOneAnotherEnd) {
  const Reading reading =
      ReadDocument(Document("<definitions><traceView xml:id='a' traceDataRef='#b'/>"
                            "<traceView xml:id='b' traceDataRef='#a'/></definitions>"
                            "<traceView traceDataRef='#a'/>"));
  EXPECT_EQ(reading.Strokes().size(), 0u);
}

TEST(InkMLHostile, DefinitionsThatReferToThemselvesEnd) {
  const Reading reading = ReadDocument(
      Document("<definitions><context xml:id='c' contextRef='#c'/><brush xml:id='b' brushRef='#b'/>"
               "<timestamp xml:id='t' timestampRef='#t'/></definitions>"
               "<context xml:id='d' contextRef='#c' timestampRef='#t'/>"
               "<trace contextRef='#d' brushRef='#b'>10 20</trace>"));
  EXPECT_EQ(reading.Strokes().size(), 1u);
  EXPECT_TRUE(reading.Lost("contexts that refer to one another without end"));
  EXPECT_TRUE(reading.Lost("brushes that refer to one another without end"));
  EXPECT_TRUE(reading.Lost("timestamps that refer to one another without end"));
}

// Also in the middle of the chain, and whichever is asked for first.
TEST(InkMLHostile, DefinitionsThatReferOnAndOnAreFollowedToTheirEnd) {
  std::string body;
  const int last = 20000;
  for (int i = 0; i < last; ++i) {
    const auto element = [&](const std::string& name) {
      return "<" + name + " xml:id='" + name + std::to_string(i) + "' " + name + "Ref='#" + name +
             std::to_string(i + 1) + "'/>";
    };
    body += element("context") + element("brush") + element("timestamp");
  }
  const std::string end = std::to_string(last) + "'";
  body += "<context xml:id='context" + end + "><traceFormat><channel name='X' units='cm'/>" +
          "<channel name='Y' units='cm'/></traceFormat></context><brush xml:id='brush" + end +
          "><brushProperty name='color' value='#010203'/></brush><timestamp xml:id='timestamp" +
          end + " time='5000'/>";
  body = "<definitions>" + body + "</definitions>";
  for (const char* start : {"0", "10000", "19999"}) {
    body += std::string("<context contextRef='#context") + start + "' timestampRef='#timestamp" +
            start + "'/><trace brushRef='#brush" + start + "'>1 2</trace>";
  }
  const Reading reading = ReadDocument(Document(body));
  ASSERT_EQ(reading.Strokes().size(), 3u);
  for (const Stroke& stroke : reading.Strokes()) {
    EXPECT_EQ(Positions(stroke), "10000,20000");
    EXPECT_EQ(stroke.color, 0xFF010203u);
    EXPECT_EQ(stroke.start_time_ms, 5000u);
  }
}

// Each of these takes hours where a definition is gone through again for everyone who names it.
TEST(InkMLHostile, LargeDefinitionsThatManyNameAreReadOnce) {
  const std::string many = Repeated("<x/>", 30000);
  const std::string users = Repeated(
      "<context contextRef='#c' inkSourceRef='#s' canvasTransformRef='#m'/>"
      "<trace brushRef='#b'>1 2</trace>",
      10000);
  const Reading reading = ReadDocument(Document(
      "<definitions><context xml:id='c'>" + many + "</context><inkSource xml:id='s'>" + many +
      "</inkSource><canvasTransform xml:id='m'>" + many + "</canvasTransform><brush xml:id='b'>" +
      Repeated("<brushProperty name='height' value='1'/>", 30000) + "</brush></definitions>" +
      users));
  EXPECT_EQ(reading.Strokes().size(), 10000u);
}

TEST(InkMLHostile, ManyViewsOfATraceThatStandsDeepEnd) {
  const Reading reading = ReadDocument(
      Document("<trace>1 2</trace>" + Repeated("<a>", 50000) + "<trace xml:id='t'>1 2</trace>" +
               Repeated("</a>", 50000) + Repeated("<traceView traceDataRef='#t'/>", 50000)));
  EXPECT_EQ(reading.Strokes().size(), 1u);
}

TEST(InkMLHostile, ManyDifferentLossesAreToldInPart) {
  std::string traces;
  for (int i = 0; i < 1000; ++i) {
    traces += "<trace brushRef='#" + std::to_string(i) + "'>1 2</trace>";
  }
  EXPECT_LT(ReadDocument(Document(traces)).losses.size(), 60u);
}

TEST(InkMLHostile, APenThatIsNoneIsRefused) {
  EXPECT_EQ(RefusalOf("<ink><annotation type='pen'>Bic</annotation></ink>"),
            "line 1, column 7: pen 'Bic' is not of the form 0123-4567-89AB-CDEF");
}

TEST(InkMLHostile, TextThatInkCantHoldIsRefusedWithItsPlace) {
  const std::string reason = ": text that is not UTF-8, or holds a zero byte";
  EXPECT_EQ(RefusalOf("<ink>\n<traceGroup page='1%00'><trace>1 2</trace></traceGroup></ink>"),
            "line 2, column 2" + reason);
  EXPECT_EQ(RefusalOf("<ink><annotation type='property' key='%FF'/></ink>"),
            "line 1, column 7" + reason);
  EXPECT_EQ(RefusalOf("<ink><annotation type='a'>&#xD800;</annotation></ink>"),
            "line 1, column 7" + reason);
}

TEST(InkMLHostile, ADocumentCutAnywhereIsReadOrRefused) {
  const std::string whole = ReadFile(SAMPLES_FOLDER "/note.inkml");
  ASSERT_GT(whole.size(), 10000u);
  for (std::size_t size = 0; size + 8 < whole.size(); size += 1 + size / 40) {
    EXPECT_NE(RefusalOf(whole.substr(0, size)), "") << size;
  }
}

TEST(InkMLHostile, AThousandDamagedDocumentsAreReadOrRefused) {
  const std::string whole =
      ReadFile(SAMPLES_FOLDER "/note.inkml").substr(0, 6000) + "</trace></traceGroup></ink>";
  std::mt19937 random(5);
  const std::string bytes = "<>&\"'/=#!?*,-. 0123456789eTFx\n";
  std::size_t refused = 0;
  for (int i = 0; i < 1000; ++i) {
    std::string damaged = whole;
    for (int k = 0; k < 3; ++k) damaged[random() % damaged.size()] = bytes[random() % bytes.size()];
    const Reading reading = ReadDocument(damaged);
    if (reading.refusal.empty()) {
      EXPECT_EQ(ReadStf2(WriteStf2(reading.ink)), reading.ink);
    } else {
      ++refused;
    }
  }
  EXPECT_GT(refused, 100u);
  EXPECT_LT(refused, 1000u);
}

}  // namespace
}  // namespace TalvoInk
