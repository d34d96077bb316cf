#include "ink/drawing/SvgText.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(SvgText, ALeafIsShownAtItsOwnSizeOnWhitePaper) {
  const Leaf leaf{0, 1, 210000, 5};
  const std::string root =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"210.000mm\" height=\"0.005mm\" "
      "viewBox=\"0 0 210000 5\" fill-rule=\"nonzero\">\n";
  EXPECT_EQ(BeginSvg(leaf, true), root);
  EXPECT_EQ(BeginSvg(leaf, false),
            root + "<rect width=\"100%\" height=\"100%\" fill=\"#FFFFFF\"/>\n");
}

TEST(SvgText, ASheetIsClippedInItsPlace) {
  Placed placed;
  placed.sheet.width = 300;
  placed.sheet.height = 400;
  placed.left = 10;
  placed.top = -20;
  EXPECT_EQ(BeginSheet(placed, 7),
            "<clipPath id=\"page7\"><rect width=\"300\" height=\"400\"/></clipPath>\n"
            "<g transform=\"translate(10 -20)\" clip-path=\"url(#page7)\">\n");
}

TEST(SvgText, OpaqueInkHasAColourAlone) {
  EXPECT_EQ(FillAttributes({0xFF1B2A6B, false}, false), " fill=\"#1B2A6B\"");
  EXPECT_EQ(FillAttributes({0xFF1B2A6B, false}, true), " fill=\"#1B2A6B\"");
}

TEST(SvgText, TranslucentInkHasAnOpacityOfThreeDigits) {
  EXPECT_EQ(FillAttributes({0x80000000, false}, false), " fill=\"#000000\" fill-opacity=\"0.502\"");
  EXPECT_EQ(FillAttributes({0xFE000000, false}, false), " fill=\"#000000\" fill-opacity=\"0.996\"");
  EXPECT_EQ(FillAttributes({0x01000000, false}, false), " fill=\"#000000\" fill-opacity=\"0.004\"");
  EXPECT_EQ(FillAttributes({0x00000000, false}, false), " fill=\"#000000\" fill-opacity=\"0.000\"");
}

// The parts of a group show through it as one: its own opacity, not that of each part.
TEST(SvgText, AGroupIsTranslucentAsAWhole) {
  EXPECT_EQ(FillAttributes({0x80FFEE00, true}, true),
            " fill=\"#FFEE00\" opacity=\"0.502\" style=\"mix-blend-mode:multiply\"");
}

TEST(SvgText, APathCountsFromCornerToCornerWithoutNeedlessBlanks) {
  std::string out = "d=\"";
  AppendPath(out, {{10, -20}, {15, -20}, {10, -13}});
  EXPECT_EQ(out, "d=\"M10-20l5 0-5 7z");
  AppendPath(out, {{-1, 2}, {0, 0}});
  EXPECT_EQ(out, "d=\"M10-20l5 0-5 7zM-1 2l1-2z");
}

}  // namespace
}  // namespace TalvoInk
