#include "ink/inkml/InkMLMapping.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::IsEmpty;

// One trace of 10 20, 30 40 in millimetres; `x` is inside the channel X, `context` in the context.
Reading Mapped(const std::string& x, const std::string& context, const std::string& before = "") {
  return ReadDocument(Document("<definitions>" + before +
                               "</definitions><context><traceFormat><channel name='X' units='mm'>" +
                               x + "</channel><channel name='Y' units='mm'/></traceFormat>" +
                               context + "</context><trace>10 20, 30 40</trace>"));
}

std::string Drawn(const Reading& reading) {
  EXPECT_EQ(reading.refusal, "");
  EXPECT_THAT(reading.losses, IsEmpty());
  return Positions(reading.Strokes().at(0));
}

std::string Canvas(const std::string& mapping) {
  return "<canvasTransform>" + mapping + "</canvasTransform>";
}

TEST(InkMLMapping, ACanvasWhoseYGrowsUpwardIsTurned) {
  EXPECT_EQ(Drawn(Mapped("", Canvas("<mapping type='affine'><affine>1 0 0, 0 -1 100</affine>"
                                    "</mapping>"))),
            "10000,80000 30000,60000");
}

TEST(InkMLMapping, AMatrixMayBeWrittenInAllItsForms) {
  for (const char* mapping :
       {"<mapping type='affine'>0 2 1, 3 0 5</mapping>",
        "<mapping type='affine'><matrix>0 2 1,\n3 0 5</matrix></mapping>",
        "<mapping type='affine'><affine>0 2 1, 3 0 5, 0 0 1</affine></mapping>",
        "<mapping type='identity'/><mapping type='affine'>0 2 1 3 0 5</mapping>"}) {
    EXPECT_EQ(Drawn(Mapped("", Canvas(mapping))), "41000,35000 81000,95000") << mapping;
  }
}

TEST(InkMLMapping, ACanvasCanHaveAUnitOfItsOwn) {
  EXPECT_EQ(Drawn(Mapped("",
                         "<canvas><traceFormat><channel name='X' units='cm'/><channel name='Y' "
                         "units='cm'/></traceFormat></canvas>" +
                             Canvas("<mapping type='affine'>0.1 0 0, 0 0.1 1</mapping>"))),
            "10000,30000 30000,50000");
}

TEST(InkMLMapping, ATransformMayBeReferredTo) {
  EXPECT_EQ(
      ReadDocument(Document("<definitions><canvasTransform xml:id='t'><mapping "
                            "type='affine'>1 0 0, 0 -1 5</mapping></canvasTransform><context "
                            "xml:id='c' canvasTransformRef='#t'><traceFormat><channel "
                            "name='X' units='mm'/><channel name='Y' units='mm'/></traceFormat>"
                            "</context></definitions><trace contextRef='#c'>1 2</trace>"))
          .Strokes()
          .at(0)
          .samples[1]
          .y_um,
      3000);
}

TEST(InkMLMapping, AChannelCanBeScaledAndShifted) {
  EXPECT_EQ(Drawn(Mapped("<mapping type='affine'>0.5 2</mapping>", "")), "7000,20000 17000,40000");
  const Reading force = ReadDocument(
      TraceDocument("1 2 10",
                    "<channel name='F' min='0' max='100'><mapping type='affine'><affine>"
                    "-1 100</affine></mapping></channel>"));
  EXPECT_EQ(Forces(force.Strokes().at(0)), "58982");
}

TEST(InkMLMapping, WhatChangesNothingIsNoLoss) {
  EXPECT_EQ(Drawn(Mapped("<mapping type='identity'/>", Canvas("<mapping type='identity'/>"))),
            "10000,20000 30000,40000");
  EXPECT_EQ(Drawn(Mapped("<mapping type='unknown'/>", "")), "10000,20000 30000,40000");
}

TEST(InkMLMapping, WhatCantBeAppliedIsTold) {
  const std::string lost = kMappingsLost;
  EXPECT_TRUE(Mapped("<mapping type='lookup'>1 2, 3 4</mapping>", "").Lost(lost));
  EXPECT_TRUE(Mapped("<mapping type='affine'>1</mapping>", "").Lost(lost));
  for (const char* mapping :
       {"<mapping type='mathml'/>", "<mapping type='affine'>1 0 0, 0 x 1</mapping>",
        "<mapping type='affine'>1 0 0, 0 1 0, 1 1 1</mapping>",
        "<mapping type='affine'><bind source='Y' column='1'/><affine>1 0 0, 0 1 "
        "0</affine></mapping>",
        "<mapping type='product'><mapping type='affine'>1 0 0, 0 1 0</mapping></mapping>"}) {
    EXPECT_TRUE(Mapped("", Canvas(mapping)).Lost(lost)) << mapping;
  }
}

TEST(InkMLMapping, AMappingBeyondAllNumbersIsRefused) {
  EXPECT_NE(Mapped("", Canvas("<mapping type='affine'>1e308 0 0, 0 1e308 0</mapping>")).refusal,
            "");
}

}  // namespace
}  // namespace TalvoInk
