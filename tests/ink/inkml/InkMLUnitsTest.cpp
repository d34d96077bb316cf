// The unit of ink that states none, and where such ink is put.

#include "ink/inkml/InkMLUnits.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/inkml/InkMLReader.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

// A line of writing: `count` letters of `size` counts each, beside one another from (left, top).
std::string Writing(double size, int count, double left = 0, double top = 0) {
  std::string traces;
  for (int i = 0; i < count; ++i) {
    const double x = left + 1.5 * size * i;
    traces += "<trace>" + std::to_string(x) + " " + std::to_string(top) + ", " +
              std::to_string(x + size / 2) + " " + std::to_string(top + size) + ", " +
              std::to_string(x + size) + " " + std::to_string(top) + "</trace>";
  }
  return Document(traces);
}

std::string Assumed(const std::string& document) {
  const Reading reading = ReadDocument(document);
  const std::string begin = "X and Y without a unit; ";
  for (const std::string& loss : reading.losses) {
    if (loss.compare(0, begin.size(), begin) == 0) return loss.substr(begin.size());
  }
  return reading.refusal;
}

TEST(InkMLUnits, LettersOfAScreenArePixels) {
  EXPECT_EQ(Assumed(Writing(12, 20)), "px taken");
  EXPECT_EQ(Assumed(Writing(100, 5)), "px taken");
}

TEST(InkMLUnits, ALongLineOnAScreenStaysLegible) {
  // Wider than a poster in pixels; in hundredths of a millimetre its letters would be 1 mm.
  EXPECT_EQ(Assumed(Writing(100, 24)), "px taken");
}

TEST(InkMLUnits, LettersOfATabletAreHundredthsOfAMillimetre) {
  EXPECT_EQ(Assumed(Writing(600, 12)), "himetric taken");
  EXPECT_EQ(Assumed(Writing(1500, 1)), "himetric taken");
}

TEST(InkMLUnits, LettersTooSmallInPixelsAreMillimetres) {
  EXPECT_EQ(Assumed(Writing(5, 20)), "mm taken");
}

TEST(InkMLUnits, ALargeSpiralOfAScreenIsNotSqueezedIntoAnInch) {
  std::string trace;
  for (int i = 0; i < 400; ++i) {
    const double angle = i / 10.0;
    trace += std::to_string(300 + 7 * angle * std::cos(angle)) + " " +
             std::to_string(300 + 7 * angle * std::sin(angle)) + ",";
  }
  EXPECT_EQ(Assumed(Document("<trace>" + trace + "</trace>")), "px taken");
}

TEST(InkMLUnits, InkThatWasScaledToOneIsAHandWide) {
  EXPECT_EQ(Assumed(Document("<trace>0 0, 1 0.5</trace>")),
            "scaled so that the ink is 100 mm large");
  EXPECT_EQ(Assumed(Writing(0.01, 66)), "scaled so that most strokes are 8 mm large");
}

TEST(InkMLUnits, TheWidthOfThePenCounts) {
  const auto with_pen = [](const char* width) {
    return Assumed(Document("<brush><brushProperty name='width' units='mm' value='" +
                            std::string(width) + "'/></brush><trace>0 0, 3 15, 9 0</trace>"));
  };
  EXPECT_EQ(with_pen("0.3"), "px taken");
  EXPECT_EQ(with_pen("2"), "mm taken");
}

TEST(InkMLUnits, DocumentsOfOneRunAgree) {
  const std::string small = Writing(5, 20), large = Writing(9, 2);
  EXPECT_EQ(Assumed(large), "px taken");
  UnitEvidence evidence = MeasureInkML(small);
  evidence.Merge(MeasureInkML(large));
  ReadOptions options;
  options.assumed_unit = evidence.Judge();
  ASSERT_TRUE(options.assumed_unit.has_value());
  EXPECT_EQ(options.assumed_unit->um, 1000);
  EXPECT_TRUE(ReadDocument(large, options).Lost("X and Y without a unit; mm taken"));
}

// Its letters alone would be pixels, but no canvas is three metres wide.
// A folder holds ink of different programs: a tablet's in hundredths of a millimetre, a screen's in
// pixels, and one that was scaled to 1. What would be a blob in the unit of the others has its own.
TEST(InkMLUnits, ADocumentOfAnotherKindHasAUnitOfItsOwn) {
  const auto beside = [](double um, const std::string& document) {
    return MeasureInkML(document).JudgeBeside(AssumedUnit{um, "agreed"})->told;
  };
  const double himetric = 10, pixel = 25400.0 / 96;
  EXPECT_THAT(beside(himetric, Writing(12, 20)), HasSubstr("px taken"));
  EXPECT_EQ(beside(himetric, Writing(60, 4)), "agreed");  // smaller than most, and legible
  EXPECT_THAT(beside(pixel, Writing(600, 12)), HasSubstr("himetric taken"));
  EXPECT_THAT(beside(himetric, Writing(0.1, 9)), HasSubstr("scaled so that"));
  EXPECT_EQ(beside(1000, Writing(0.3, 9)), "agreed");  // of no plausible unit either
  EXPECT_EQ(beside(himetric, Document("<trace>1 2</trace>")), "agreed");
}

TEST(InkMLUnits, TheLargestDocumentOfARunMustFit) {
  UnitEvidence evidence = MeasureInkML(Writing(12, 20));
  EXPECT_NEAR(evidence.Judge()->um, 264.6, 0.1);
  evidence.Merge(MeasureInkML(Writing(12, 600)));
  EXPECT_EQ(evidence.Judge()->told,
            "X and Y without a unit; scaled so that most strokes are 8 mm large");
}

TEST(InkMLUnits, InkWithAUnitTellsNothing) {
  EXPECT_FALSE(MeasureInkML(TraceDocument("1 2, 3 4")).Judge().has_value());
}

TEST(InkMLUnits, InkFarFromThePageIsMovedToItsCorner) {
  const Reading reading = ReadDocument(Writing(40, 4, 100, 4600));
  const std::vector<Stf2Sample> points = PositionsOf(reading.Strokes().at(0));
  EXPECT_EQ(points[0].x_um, 10000);
  EXPECT_EQ(points[0].y_um, 10000);
  EXPECT_THAT(
      reading.losses.at(1),
      HasSubstr("X and Y without a unit; moved to the page's corner by -16.4583, -1207.08"));
}

TEST(InkMLUnits, InkThatIsOnThePageStaysWhereItIs) {
  EXPECT_EQ(ReadDocument(Writing(40, 4, 100, 300)).Strokes().at(0).samples[0].y_um, 79375);
}

TEST(InkMLUnits, InkWhoseUnitTheCallerKnowsStaysWhereItIs) {
  ReadOptions options;
  options.unit_um = 1000;
  EXPECT_EQ(ReadDocument(Writing(40, 4, 100, 4600), options).Strokes().at(0).samples[0].y_um,
            4600000);
}

}  // namespace
}  // namespace TalvoInk
