#include "ink/Tips.h"

#include <gmock/gmock.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Tip TipOf(const std::string& value) {
  Ink ink;
  ink.items = {Property{kTipKey, value}};
  return Tips(ink).Of(0x80FFEE00, 700);
}

TEST(Tips, AreReadFromTheInksProperties) {
  const Tip tip = TipOf("#80FFEE00 700 rectangle 5000 constant darkening");
  EXPECT_EQ(tip, (Tip{Tip::Shape::kRectangle, 5000, true, true}));
  EXPECT_EQ(TipOf("#80FFEE00 700 ellipse 90"), (Tip{Tip::Shape::kEllipse, 90, false, false}));
  EXPECT_EQ(TipOf("#80FFEE00 700 round constant"), (Tip{Tip::Shape::kRound, 0, true, false}));
}

TEST(Tips, WordsThatNoPictureShowsAreKept) {
  const char value[] = "#80FFEE00 700 round constant tip=star a%20b%3D%25=c%20d=mm";
  const Tip tip = TipOf(value);
  ASSERT_EQ(tip.others.size(), 2u);
  EXPECT_EQ(tip.others[0], (BrushWord{"tip", "star", ""}));
  EXPECT_EQ(tip.others[1], (BrushWord{"a b=%", "c d", "mm"}));
  Tips tips;
  tips.Claim(0x80FFEE00, 700, tip);
  EXPECT_THAT(tips.AsProperties(), ElementsAre(Property{kTipKey, value}));
  EXPECT_TRUE(TipOf("#80FFEE00 700 round =x a=%00 b=" + std::string(999, 'x')).IsPlain());
}

TEST(Tips, OtherColoursAndWidthsArePlain) {
  EXPECT_TRUE(TipOf("#FFFFEE00 700 rectangle 5000").IsPlain());
  EXPECT_TRUE(TipOf("#80FFEE00 701 rectangle 5000").IsPlain());
}

TEST(Tips, APropertyThatDoesNotReadAsATipStatesNone) {
  for (const char* value :
       {"", "#", "80FFEE00 700 round", "#80FFEE00 700", "#80FFEE00 700 square 5",
        "#80FFEE00 700 rectangle", "#80FFEE00 700 rectangle 0",
        "#80FFEE00 700 rectangle 4294967296", "#80FFEE00 x rectangle 5"}) {
    EXPECT_TRUE(TipOf(value).IsPlain()) << value;
  }
}

TEST(Tips, AreWrittenAsTheyAreRead) {
  Tips tips;
  EXPECT_EQ(tips.Claim(0x80FFEE00, 700, {Tip::Shape::kRectangle, 5000, true, true}), 700u);
  EXPECT_EQ(tips.Claim(kBlack, 300, {}), 300u);
  EXPECT_THAT(tips.AsProperties(),
              ElementsAre(Property{kTipKey, "#80FFEE00 700 rectangle 5000 constant darkening"}));
}

TEST(Tips, TwoTipsNeverShareAColourAndAWidth) {
  Tips tips;
  const Tip broad{Tip::Shape::kEllipse, 5000, false, false};
  EXPECT_EQ(tips.Claim(kBlack, 0, {}), 0u);
  EXPECT_EQ(tips.Claim(kBlack, 0, broad), kDefaultWidthUm);
  EXPECT_EQ(tips.Claim(kBlack, kDefaultWidthUm, {}), kDefaultWidthUm + 1);
  EXPECT_EQ(tips.Claim(kBlack, kDefaultWidthUm, broad), kDefaultWidthUm);
}

TEST(Tips, PlainInkNeedsNoProperties) {
  Tips tips;
  tips.Claim(kBlack, 300, {});
  EXPECT_THAT(tips.AsProperties(), IsEmpty());
}

}  // namespace
}  // namespace TalvoInk
