#include "ink/svg/SvgTransform.h"

#include <gmock/gmock.h>

namespace TalvoInk {
namespace {

using testing::DoubleNear;
using testing::Pair;

auto Near(double x, double y) {
  return Pair(DoubleNear(x, 1e-6), DoubleNear(y, 1e-6));
}

std::pair<double, double> Mapped(const std::string& transform, double x, double y) {
  const auto affine = ParseSvgTransform(transform);
  EXPECT_TRUE(affine.has_value()) << transform;
  return affine.value_or(Affine()).Map(x, y);
}

TEST(SvgTransform, EachKindIsRead) {
  EXPECT_THAT(Mapped("translate(10)", 1, 2), Near(11, 2));
  EXPECT_THAT(Mapped("translate(10, 20)", 1, 2), Near(11, 22));
  EXPECT_THAT(Mapped("scale(2)", 1, 2), Near(2, 4));
  EXPECT_THAT(Mapped("scale(2 -1)", 1, 2), Near(2, -2));
  EXPECT_THAT(Mapped("rotate(90)", 1, 2), Near(-2, 1));
  EXPECT_THAT(Mapped("rotate(90, 1, 1)", 1, 2), Near(0, 1));
  EXPECT_THAT(Mapped("skewX(45)", 1, 2), Near(3, 2));
  EXPECT_THAT(Mapped("skewY(45)", 1, 2), Near(1, 3));
  EXPECT_THAT(Mapped("matrix(1 2 3 4 5 6)", 1, 2), Near(12, 16));
}

TEST(SvgTransform, AListMapsTheLastFirst) {
  EXPECT_THAT(Mapped(" translate(10,0) , scale(2)\n", 1, 2), Near(12, 4));
  EXPECT_THAT(Mapped("", 1, 2), Near(1, 2));
}

TEST(SvgTransform, WhatIsNoTransformIsNone) {
  for (const char* bad :
       {"translate", "translate()", "scale(1,2,3)", "spin(3)", "scale(x)", "scale(2) 7", ")("}) {
    EXPECT_FALSE(ParseSvgTransform(bad).has_value()) << bad;
  }
}

TEST(SvgTransform, LengthsHaveUnitsOrArePixels) {
  EXPECT_EQ(ParseSvgLength("10mm"), 10000);
  EXPECT_EQ(ParseSvgLength(" 1.5e1 in "), 381000);
  EXPECT_NEAR(*ParseSvgLength("96"), 25400, 1e-6);
  for (const char* bad : {"", "100%", "mm", "3 furlongs"}) {
    EXPECT_FALSE(ParseSvgLength(bad).has_value()) << bad;
  }
}

std::pair<double, double> OnCanvas(const std::string& attributes, double x, double y) {
  pugi::xml_document document;
  document.load_string(("<svg " + attributes + "/>").c_str());
  return ReadSvgCanvas(document.document_element()).to_um.Map(x, y);
}

TEST(SvgTransform, TheViewBoxFillsTheCanvas) {
  EXPECT_THAT(OnCanvas("width='96' height='96'", 96, 48), Near(25400, 12700));
  EXPECT_THAT(OnCanvas("width='100mm' height='50mm' viewBox='10 20 200 100'", 10, 20), Near(0, 0));
  EXPECT_THAT(OnCanvas("width='100mm' height='50mm' viewBox='10 20 200 100'", 210, 120),
              Near(100000, 50000));
  EXPECT_THAT(OnCanvas("viewBox='0 0 96 96'", 96, 0), Near(25400, 0));
  EXPECT_THAT(OnCanvas("width='10mm' viewBox='0 0 100 50'", 100, 50), Near(10000, 5000));
}

TEST(SvgTransform, ABoxOfAnotherShapeStandsInTheMiddle) {
  EXPECT_THAT(OnCanvas("width='100mm' height='50mm' viewBox='0 0 10 10'", 0, 0), Near(25000, 0));
  EXPECT_THAT(OnCanvas("width='100mm' height='50mm' viewBox='0 0 10 10' preserveAspectRatio='none'",
                       10, 10),
              Near(100000, 50000));
}

}  // namespace
}  // namespace TalvoInk
