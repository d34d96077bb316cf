#include "ink/drawing/Picture.h"

#include <gtest/gtest.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

// Ink on so many pages.
Ink InkOnPages(int count) {
  Ink ink;
  for (int i = 1; i <= count; ++i) ink.items.push_back(StrokeOn("1.1.1." + std::to_string(i)));
  return ink;
}

PictureOptions ContactSheet(int columns, std::optional<double> leaf_mm) {
  PictureOptions options;
  options.layout.page_size = PageSize{210, 297};
  options.arrangement = Arrangement::kContact;
  options.columns = columns;
  options.leaf_mm = leaf_mm;
  return options;
}

TEST(Picture, SheetsStandBelowOneAnother) {
  const Ink ink = InkOnPages(2);
  PictureOptions options;
  options.layout.page_size = PageSize{100, 50};
  const Picture picture = MakePicture({{&ink, ""}}, options);
  ASSERT_EQ(picture.leaves.size(), 1u);
  EXPECT_EQ(picture.leaves[0].height, 103000);
  EXPECT_EQ(picture.sheets[1].top, 53000);
}

TEST(Picture, AContactSheetHasRowsOfSmallPages) {
  const Ink ink = InkOnPages(5);
  const Picture picture = MakePicture({{&ink, ""}}, ContactSheet(2, std::nullopt));
  ASSERT_EQ(picture.leaves.size(), 1u);
  EXPECT_EQ(picture.leaves[0].width, 210000);
  const Placed &first = picture.sheets[0], &second = picture.sheets[1], &third = picture.sheets[2];
  EXPECT_EQ(first.top, second.top);
  EXPECT_GT(second.left, first.left + first.sheet.width);
  EXPECT_EQ(third.left, first.left);
  EXPECT_GT(third.top, first.label_baseline);
  EXPECT_NEAR(first.sheet.scale, double(first.sheet.width) / 210000, 0.001);
  EXPECT_LT(picture.sheets[4].label_baseline, picture.leaves[0].height);
  EXPECT_EQ(first.label, "1.1.1.1");
}

TEST(Picture, AContactSheetOnPaperGoesOnOnTheNextLeaf) {
  const Ink ink = InkOnPages(9);
  const Picture picture = MakePicture({{&ink, ""}}, ContactSheet(2, 297));
  ASSERT_EQ(picture.leaves.size(), 5u);  // a row each: two are higher than the paper
  EXPECT_EQ(picture.leaves[1].begin, 2u);
  EXPECT_EQ(picture.leaves[4].end, 9u);
  for (const Placed& placed : picture.sheets) EXPECT_LT(placed.label_baseline, 297000);
}

TEST(Picture, NamesTellTheDocumentsApart) {
  Ink without_page;
  without_page.items = {StrokeOn(std::nullopt)};
  const Ink one = InkOnPages(1);
  const Picture picture =
      MakePicture({{&one, "a\xFFz"}, {&without_page, "b"}}, ContactSheet(4, std::nullopt));
  EXPECT_EQ(picture.sheets[0].label, "a%FFz  1.1.1.1");  // bytes that no text holds
  EXPECT_EQ(picture.sheets[1].label, "b  page 1");
}

TEST(Picture, ALabelIsCutBeforeItReachesTheNext) {
  const Ink one = InkOnPages(1);
  const std::string name =
      "Gr\xC3\xBC\xC3\x9F"
      "e-aus-dem-Harz-und-von-der-Ostsee";
  const auto label = [&](int columns) {
    return MakePicture({{&one, name}, {&one, "b"}}, ContactSheet(columns, std::nullopt))
        .sheets[0]
        .label;
  };
  EXPECT_EQ(label(2), name + "  1.1.1.1");
  EXPECT_EQ(label(4),
            "Gr\xC3\xBC\xC3\x9F"
            "e-aus-dem-Harz\xE2\x80\xA6  1.1.1.1");
  EXPECT_EQ(label(24), "Gr\xE2\x80\xA6  1.1\xE2\x80\xA6");
}

}  // namespace
}  // namespace TalvoInk
