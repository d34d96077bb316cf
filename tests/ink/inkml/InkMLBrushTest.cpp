#include "ink/inkml/InkMLBrush.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/Stf2File.h"
#include "ink/inkml/InkMLWriter.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string BrushOf(const std::string& properties) {
  return "<brush>" + properties + "</brush>";
}

std::string Says(const std::string& name, const std::string& value,
                 const std::string& units = "mm") {
  return "<brushProperty name='" + name + "' value='" + value + "' units='" + units + "'/>";
}

// A trace in millimetres under each of the brushes, one behind the other.
Reading DrawnWith(const std::vector<std::string>& brushes) {
  std::string body =
      "<traceFormat><channel name='X' units='mm'/><channel name='Y' units='mm'/></traceFormat>";
  for (const std::string& brush : brushes) body += BrushOf(brush) + "<trace>1 2, 3 4</trace>";
  return ReadDocument(Document(body));
}

std::uint32_t Alpha(const std::string& transparency) {
  return DrawnWith({Says("transparency", transparency)}).Strokes().at(0).color >> 24;
}

TEST(InkMLBrush, TransparencyIsOf255OrAFraction) {
  EXPECT_EQ(Alpha("0"), 255u);
  EXPECT_EQ(Alpha("255"), 0u);
  EXPECT_EQ(Alpha("127"), 128u);
  EXPECT_EQ(Alpha("0.496"), 129u);
  EXPECT_EQ(Alpha("0.9"), 25u);
}

TEST(InkMLBrush, AHighlightersTipIsKept) {
  const Reading reading = DrawnWith({Says("width", "0.07", "cm") + Says("height", "0.5", "cm") +
                                     Says("tip", "rectangle") + Says("rasterOp", "maskPen") +
                                     Says("color", "#FFEE00") + Says("ignorePressure", "1")});
  const Tip tip = Tips(reading.ink).Of(reading.Strokes().at(0));
  EXPECT_EQ(tip.shape, Tip::Shape::kRectangle);
  EXPECT_EQ(tip.height_um, 5000u);
  EXPECT_TRUE(tip.darkens);
  EXPECT_TRUE(tip.is_constant);
  EXPECT_EQ(reading.Strokes().at(0).width_um, 700u);
  EXPECT_THAT(reading.losses, ElementsAre("tips of brushes kept as properties: 1"));
}

TEST(InkMLBrush, TipsSurviveStf2AndTheWayBackToInkML) {
  const Reading reading = DrawnWith(
      {Says("width", "1") + Says("height", "3"), Says("width", "1"), Says("rasterOp", "maskPen"),
       Says("width", "1") + Says("height", "2") + Says("tip", "rectangle"),
       Says("ignorePressure", "true") + Says("width", "1"),
       Says("width", "1") + Says("tip", "star") + Says("fitToCurve", "false", "") +
           Says("nib=%", "a &lt;b&gt; c", "dev")});
  EXPECT_EQ(ReadStf2(WriteStf2(reading.ink)), reading.ink);
  const Reading again = ReadDocument(WriteInkML(reading.ink));
  EXPECT_EQ(again.ink, reading.ink);
  EXPECT_THAT(again.losses, IsEmpty());
  EXPECT_THAT(WriteInkML(reading.ink), testing::HasSubstr("name=\"rasterOp\" value=\"maskPen\""));
}

TEST(InkMLBrush, BrushesOfOneColourAndWidthAreToldApart) {
  const Reading reading = DrawnWith({Says("width", "1"), Says("width", "1") + Says("height", "3"),
                                     Says("width", "1") + Says("ignorePressure", "1"),
                                     Says("width", "1") + Says("height", "3")});
  const Tips tips(reading.ink);
  const std::vector<Stroke> strokes = reading.Strokes();
  ASSERT_EQ(strokes.size(), 4u);
  EXPECT_TRUE(tips.Of(strokes[0]).IsPlain());
  EXPECT_EQ(tips.Of(strokes[1]).height_um, 3000u);
  EXPECT_TRUE(tips.Of(strokes[2]).is_constant);
  EXPECT_EQ(strokes[3].width_um, strokes[1].width_um);
  EXPECT_LE(strokes[2].width_um, 1002u);
}

TEST(InkMLBrush, AHeightAloneIsARoundTip) {
  const Reading reading = DrawnWith({Says("height", "2")});
  EXPECT_EQ(reading.Strokes().at(0).width_um, 2000u);
  EXPECT_THAT(reading.losses, IsEmpty());
}

}  // namespace
}  // namespace TalvoInk
