// Splitting ink by page.

#include <gmock/gmock.h>

#include <thread>

#include "Model.h"

namespace {

using testing::ElementsAre;

// The items of every part.
std::vector<std::vector<ItemModel>> PartsOf(const std::vector<ItemModel>& items) {
  std::vector<std::vector<ItemModel>> parts;
  for (const Ink& part : Split(MakeInk(7, items))) parts.push_back(ItemsOf(part));
  return parts;
}

TEST(Splitting, PagesComeInTheOrderInWhichTheyFirstAppear) {
  const auto b1 = StrokeModel("2.2.2.2", 1);
  const auto a1 = StrokeModel("1.1.1.1", 2);
  const auto b2 = StrokeModel("2.2.2.2", 3);
  const auto c1 = StrokeModel("0.0.0.0", 4);
  EXPECT_THAT(PartsOf({b1, a1, b2, c1}),
              ElementsAre(ElementsAre(b1, b2), ElementsAre(a1), ElementsAre(c1)));
}

TEST(Splitting, APagesStrokesAndMarkersKeepTheirOrder) {
  const auto early = MarkerModel("1.1.1.1", 1, "early");
  const auto first = StrokeModel("1.1.1.1", 2);
  const auto other = StrokeModel("2.2.2.2", 3);
  const auto middle = MarkerModel("1.1.1.1", 4, "middle");
  const auto second = StrokeModel("1.1.1.1", 5);
  EXPECT_THAT(PartsOf({early, first, other, middle, second}),
              ElementsAre(ElementsAre(early, first, middle, second), ElementsAre(other)));
}

TEST(Splitting, PropertiesGoToEveryPartAndKeepTheirPlace) {
  const auto title = PropertyModel("title", "t");
  const auto a1 = StrokeModel("1.1.1.1", 1);
  const auto b1 = StrokeModel("2.2.2.2", 2);
  const auto paper = PropertyModel("paper", "p");
  const auto a2 = StrokeModel("1.1.1.1", 3);
  EXPECT_THAT(PartsOf({title, a1, b1, paper, a2}),
              ElementsAre(ElementsAre(title, a1, paper, a2), ElementsAre(title, b1, paper)));
}

TEST(Splitting, MarkersOnPagesWithoutStrokesOrWithoutPageGoToEveryPart) {
  const auto elsewhere = MarkerModel("9.9.9.9", 1, "elsewhere");
  const auto nowhere = MarkerModel(std::nullopt, 2, "nowhere");
  const auto empty = MarkerModel("", 3, "empty");
  const auto a = StrokeModel("1.1.1.1", 4);
  const auto b = StrokeModel("2.2.2.2", 5);
  EXPECT_THAT(PartsOf({elsewhere, a, nowhere, b, empty}),
              ElementsAre(ElementsAre(elsewhere, a, nowhere, empty),
                          ElementsAre(elsewhere, nowhere, b, empty)));
}

// Without strokes that have no page, a marker without a page would otherwise belong to none.
TEST(Splitting, AMarkerWithoutAPageGoesToEveryPartAlsoBesideStrokesWithoutOne) {
  const auto marker = MarkerModel("", 1, "m");
  const auto a = StrokeModel("1.1.1.1", 2);
  const auto bare = StrokeModel(std::nullopt, 3);
  EXPECT_THAT(PartsOf({marker, a, bare}),
              ElementsAre(ElementsAre(marker, a), ElementsAre(marker, bare)));
}

TEST(Splitting, StrokesWithoutAPageAddressGoTogetherIntoOnePart) {
  const auto absent = StrokeModel(std::nullopt, 1);
  const auto paged = StrokeModel("1.1.1.1", 2);
  const auto empty = StrokeModel("", 3);
  EXPECT_THAT(PartsOf({absent, paged, empty}),
              ElementsAre(ElementsAre(absent, empty), ElementsAre(paged)));
}

TEST(Splitting, InkWithoutStrokesSplitsIntoNoPart) {
  const Ink ink = MakeInk(7, {PropertyModel("k", "v"), MarkerModel("1.1.1.1", 1, "m")});
  InkDataHandle** parts = reinterpret_cast<InkDataHandle**>(1);
  std::uint32_t count = 9;
  EXPECT_EQ(Stf2InkDataSplit(ink.get(), &parts, &count), STF2_SUCCESS);
  EXPECT_EQ(parts, nullptr);
  EXPECT_EQ(count, 0u);
}

TEST(Splitting, PageAddressesAreComparedAsTheyAreWritten) {
  const auto plain = StrokeModel("1.2.3.4", 1);
  const auto padded = StrokeModel("1.2.3.04", 2);
  EXPECT_THAT(PartsOf({plain, padded}), ElementsAre(ElementsAre(plain), ElementsAre(padded)));
}

TEST(Splitting, EveryPartHasThePen) {
  for (const Ink& part :
       Split(MakeInk(77, {StrokeModel("1.1.1.1", 1), StrokeModel("2.2.2.2", 1)}))) {
    std::uint64_t pen = 0;
    EXPECT_EQ(Stf2InkDataGetPenId(part.get(), &pen), STF2_SUCCESS);
    EXPECT_EQ(pen, 77u);
  }
}

TEST(Splitting, PartsOutliveTheHandleThatTheyWereSplitFrom) {
  const std::vector<ItemModel> items = {PropertyModel("k", "v"),
                                        StrokeModel("1.1.1.1", 1, {Coordinate(1, 2, 3)})};
  std::vector<Ink> made = Split(MakeInk(7, items));
  EXPECT_EQ(ItemsOf(made[0]), items);
  const Bytes bytes = Write(made[0]);
  std::vector<Ink> parsed = Split(Parse(bytes));
  EXPECT_EQ(ItemsOf(parsed[0]), items);
}

TEST(Splitting, APartCanBeAddedToAndSplitAgain) {
  const auto title = PropertyModel("title", "t");
  const auto a = StrokeModel("1.1.1.1", 1);
  const auto b = StrokeModel("2.2.2.2", 2);
  std::vector<Ink> parts = Split(MakeInk(7, {title, a, b}));
  ASSERT_EQ(Stf2InkDataAddStroke(parts[0].get(), "3.3.3.3", 3, nullptr, 0, 0xFF000000, 0),
            STF2_SUCCESS);
  EXPECT_THAT(ItemsOf(parts[0]), ElementsAre(title, a, StrokeModel("3.3.3.3", 3)));
  EXPECT_THAT(ItemsOf(parts[1]), ElementsAre(title, b));
  std::vector<Ink> again = Split(parts[0]);
  parts.clear();
  ASSERT_EQ(again.size(), 2u);
  EXPECT_THAT(ItemsOf(again[0]), ElementsAre(title, a));
  EXPECT_THAT(ItemsOf(again[1]), ElementsAre(title, StrokeModel("3.3.3.3", 3)));
}

TEST(Splitting, TheSamplesOfAPartAreThoseOfTheBuffer) {
  const Bytes bytes = Write(MakeInk(7, {StrokeModel("1.1.1.1", 1, {Coordinate(1, 2, 3)})}));
  const Ink ink = Parse(bytes);
  const auto parts = Split(ink);
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(Stf2InkDataGetItems(parts[0].get(), &items, &count), STF2_SUCCESS);
  const Stf2Sample* samples = nullptr;
  ASSERT_EQ(Stf2StrokeItemViewSamples(items[0], &samples, &count), STF2_SUCCESS);
  EXPECT_GE(reinterpret_cast<const std::uint8_t*>(samples), bytes.data());
  EXPECT_LT(reinterpret_cast<const std::uint8_t*>(samples), bytes.data() + bytes.size());
  Stf2InkItemFreeHandles(&items);
}

TEST(Splitting, AHundredThousandPagesWithPropertiesAreSplit) {
  constexpr std::uint32_t kPages = 100000;
  const Ink ink = MakeInk(7, {});
  for (int i = 0; i < 10; ++i) Stf2InkDataAddProperty(ink.get(), "key", "value");
  for (std::uint32_t i = 0; i < kPages + 1000; ++i) {
    const std::string page = "1.2.3." + std::to_string(i % kPages);
    ASSERT_EQ(Stf2InkDataAddStroke(ink.get(), page.c_str(), i + 1, nullptr, 0, 0, 0), STF2_SUCCESS);
  }
  const auto parts = Split(ink);
  ASSERT_EQ(parts.size(), kPages);
  const auto items = ItemsOf(parts[777]);
  ASSERT_EQ(items.size(), 12u);
  EXPECT_EQ(items[10], StrokeModel("1.2.3.777", 778, {}, 0));
  EXPECT_EQ(items[11], StrokeModel("1.2.3.777", kPages + 778, {}, 0));
}

// Every part repeats the properties: 20,000 pages with a property of 64 KiB would be 1.3 GB.
TEST(Splitting, PartsThatWouldRepeatMoreThanAGibibyteAreRefused) {
  const Ink ink = MakeInk(7, {PropertyModel("key", std::string(65536, 'x'))});
  for (int i = 0; i < 20000; ++i) {
    const std::string page = "1.2.3." + std::to_string(i);
    ASSERT_EQ(Stf2InkDataAddStroke(ink.get(), page.c_str(), 1, nullptr, 0, 0, 0), STF2_SUCCESS);
  }
  InkDataHandle** parts = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(Stf2InkDataSplit(ink.get(), &parts, &count), STF2_OUT_OF_MEMORY);
  EXPECT_EQ(parts, nullptr);
  EXPECT_EQ(count, 0u);
}

// 1024 pages that each repeat a property of 1 MiB, counted with all that belongs to an item.
TEST(Splitting, PartsThatRepeatExactlyAGibibyteAreMade) {
  constexpr std::size_t kPages = 1024;
  constexpr std::size_t kOverhead = 88;  // of a property beside its two texts, at the most
  const std::string key = "key";
  for (const std::size_t beyond : {0u, 1u}) {
    const std::string value((1u << 20) - kOverhead - key.size() + beyond, 'x');
    const Ink ink = MakeInk(7, {PropertyModel(key, value)});
    for (std::size_t i = 0; i < kPages; ++i) {
      const std::string page = "1.2.3." + std::to_string(i);
      ASSERT_EQ(Stf2InkDataAddStroke(ink.get(), page.c_str(), 1, nullptr, 0, 0, 0), STF2_SUCCESS);
    }
    InkDataHandle** parts = nullptr;
    std::uint32_t count = 0;
    EXPECT_EQ(Stf2InkDataSplit(ink.get(), &parts, &count),
              beyond == 0 ? STF2_SUCCESS : STF2_OUT_OF_MEMORY);
    EXPECT_EQ(count, beyond == 0 ? kPages : 0u);
    for (std::uint32_t i = 0; i < count; ++i) Stf2InkDataFreeHandle(&parts[i]);
    Stf2InkDataFreeHandles(&parts);
  }
}

// The parts of one buffer, each read, added to, written and released on a thread of its own.
TEST(Splitting, PartsOfOneBufferMayBeUsedOnDifferentThreads) {
  std::vector<ItemModel> items = {PropertyModel("title", "t")};
  for (int i = 0; i < 400; ++i) {
    items.push_back(StrokeModel("1.2.3." + std::to_string(i % 4), 1, {Coordinate(1, i, 3)}));
  }
  const Bytes bytes = Write(MakeInk(7, items));
  std::vector<Ink> parts = Split(Parse(bytes));
  ASSERT_EQ(parts.size(), 4u);
  std::vector<std::size_t> written(parts.size());
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    threads.emplace_back([&written, i, part = std::move(parts[i])] {
      Stf2InkDataAddProperty(part.get(), "thread", "own");
      const Bytes copy = Write(part);
      written[i] = ItemsOf(Parse(copy)).size();
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(written, testing::Each(102u));
}

}  // namespace
