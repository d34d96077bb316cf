// Writing ink, merging, and reading again what was written.

#include <gmock/gmock.h>

#include <cstring>

#include "Model.h"

namespace {

using testing::ElementsAre;

std::vector<ItemModel> MixedItems() {
  return {PropertyModel("title", "t"),
          StrokeModel("1.1.1.1", 1700000000000, {PenDown(), Coordinate(0, 1, 2), PenUp()},
                      0xFF0000FF, 500),
          MarkerModel("1.1.1.1", 1700000000500, "page turned"),
          StrokeModel("2.2.2.2", 0, {TimelessCoordinate(3, 4)}),
          StrokeModel(std::nullopt, 1700000001000),
          PropertyModel("empty", "")};
}

TEST(Writing, WhatIsWrittenReadsAsTheSameItems) {
  const Bytes bytes = Write(MakeInk(7, MixedItems()));
  EXPECT_EQ(ItemsOf(Parse(bytes)), MixedItems());
}

TEST(Writing, WritingWhatWasReadGivesTheSameBytes) {
  const Bytes first = Write(MakeInk(7, MixedItems()));
  const Bytes second = Write(Parse(first));
  EXPECT_EQ(first, second);
}

// Ink of a later version passes through programs of this one.
TEST(Writing, SamplesOfUnknownTypesAndFlagsAreMadeAsTheyAre) {
  std::vector<Stf2Sample> samples = {PenDown(), Coordinate(1, 2, 3), PenUp()};
  for (const int type : {0, 4, 255}) {
    samples.push_back(Coordinate(4, 5, 6));
    samples.back().type = static_cast<std::uint8_t>(type);
    samples.back().flags = 0xFF;
  }
  const std::vector<ItemModel> items = {StrokeModel("1.1.1.1", 5, samples)};
  EXPECT_EQ(ItemsOf(Parse(Write(MakeInk(7, items)))), items);
}

TEST(Writing, EmptyInkIsWrittenAndRead) {
  const Bytes bytes = Write(MakeInk(0, {}));
  const Ink ink = Parse(bytes);
  EXPECT_TRUE(ItemsOf(ink).empty());
  EXPECT_EQ(Write(ink), bytes);
}

TEST(Writing, APartWritesAndReadsAsItself) {
  const Bytes whole = Write(MakeInk(7, MixedItems()));
  for (const Ink& part : Split(Parse(whole))) {
    const Bytes bytes = Write(part);
    const Ink again = Parse(bytes);
    EXPECT_EQ(ItemsOf(again), ItemsOf(part));
    EXPECT_EQ(Split(again).size(), 1u);
    EXPECT_EQ(Write(again), bytes);
  }
}

// So that it can be read in place wherever it lies at an aligned address.
TEST(Writing, WhatIsWrittenIsAMultipleOfEightBytesAtAnAlignedAddress) {
  for (int samples = 0; samples < 8; ++samples) {
    const Ink ink =
        MakeInk(0, {StrokeModel("1.1.1.1", 0, std::vector<Stf2Sample>(samples, PenDown()))});
    void* data = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(Stf2WriterWriteDataHandle(ink.get(), &data, &size), STF2_SUCCESS);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 8, 0u);
    EXPECT_EQ(size % 8, 0u);
    Stf2WriterFreeData(data);
  }
}

// One that is longer than any real one is not: shared by all strokes it would stand for more text
// than a reader takes from a file of that size.
TEST(Writing, APageAddressIsStoredOnce) {
  const auto size_with = [](std::size_t length) {
    const std::vector<ItemModel> items(50, StrokeModel(std::string(length, '1'), 1));
    return Write(MakeInk(7, items)).size();
  };
  EXPECT_LT(size_with(64), size_with(1) + 100);
  EXPECT_GT(size_with(65), size_with(1) + 50 * 60);
}

TEST(Writing, ManyStrokesOnPagesOfAnyLengthCanBeReadAgain) {
  for (const std::size_t length : {1, 64, 65, 200, 1000}) {
    const std::vector<ItemModel> items(1000, StrokeModel(std::string(length, '1'), 1));
    const auto written = Write(MakeInk(7, items));
    InkDataHandle* ink = nullptr;
    EXPECT_EQ(
        Stf2InkDataInitialize(written.data(), static_cast<std::uint32_t>(written.size()), &ink),
        STF2_SUCCESS)
        << length;
    Stf2InkDataFreeHandle(&ink);
  }
}

TEST(Writing, AThousandRandomlyMixedItemsSurvive) {
  std::uint32_t state = 12345;
  const auto next = [&state] { return state = state * 1664525 + 1013904223, state >> 8; };
  std::vector<ItemModel> items;
  for (int i = 0; i < 1000; ++i) {
    const std::string text(next() % 40, static_cast<char>('a' + next() % 26));
    const auto maybe = next() % 3 ? std::optional<std::string>(text) : std::nullopt;
    switch (next() % 3) {
      case 0:
        items.push_back(PropertyModel(text, maybe));
        break;
      case 1:
        items.push_back(MarkerModel(maybe, next() % 2 * next(), text));
        break;
      default:
        items.push_back(StrokeModel(maybe, next() % 2 * next(),
                                    std::vector<Stf2Sample>(next() % 9, Coordinate(next(), 1, 2)),
                                    next() % 2 ? next() : 0xFF000000, next() % 2 * next()));
    }
  }
  const Bytes bytes = Write(MakeInk(7, items));
  EXPECT_EQ(ItemsOf(Parse(bytes)), items);
  EXPECT_EQ(Write(Parse(bytes)), bytes);
}

TEST(Merging, ItemsAreAppendedInTheirOrder) {
  const Bytes base_bytes = Write(MakeInk(7, {StrokeModel("1.1.1.1", 1)}));
  const Bytes other_bytes = Write(MakeInk(8, {PropertyModel("k", "v"), StrokeModel("2.2.2.2", 2)}));
  const Ink base = Parse(base_bytes);
  ASSERT_EQ(MergeAll(base, Parse(other_bytes)), STF2_SUCCESS);
  EXPECT_THAT(ItemsOf(base), ElementsAre(StrokeModel("1.1.1.1", 1), PropertyModel("k", "v"),
                                         StrokeModel("2.2.2.2", 2)));
}

TEST(Merging, ThePenIsThatOfTheBase) {
  const Ink base = MakeInk(7, {});
  ASSERT_EQ(MergeAll(base, MakeInk(8, {StrokeModel("2.2.2.2", 2)})), STF2_SUCCESS);
  std::uint64_t pen = 0;
  Stf2InkDataGetPenId(base.get(), &pen);
  EXPECT_EQ(pen, 7u);
}

// The service unmaps every merged file before it writes the base.
TEST(Merging, NothingOfTheMergedInkIsReferredToAfterwards) {
  const std::vector<ItemModel> items = MixedItems();
  const Ink base = MakeInk(7, {});
  {
    Bytes bytes = Write(MakeInk(7, items));
    ASSERT_EQ(MergeAll(base, Parse(bytes)), STF2_SUCCESS);
    std::memset(bytes.data(), 0xAA, bytes.size());
  }
  const Bytes written = Write(base);
  EXPECT_EQ(ItemsOf(Parse(written)), items);
}

TEST(Merging, InkCanBeMergedIntoItself) {
  const Ink ink = MakeInk(7, {PropertyModel("a", "1"), PropertyModel("b", "2")});
  ASSERT_EQ(MergeAll(ink, ink), STF2_SUCCESS);
  EXPECT_THAT(ItemsOf(ink), ElementsAre(PropertyModel("a", "1"), PropertyModel("b", "2"),
                                        PropertyModel("a", "1"), PropertyModel("b", "2")));
}

TEST(Merging, SplittingAndMergingAgainKeepsEveryStroke) {
  std::vector<ItemModel> items;
  for (int i = 0; i < 60; ++i) {
    items.push_back(StrokeModel("1.1.1." + std::to_string(i % 7), 1, {Coordinate(1, i, 2)}));
  }
  const Bytes bytes = Write(MakeInk(7, items));
  std::vector<Ink> parts = Split(Parse(bytes));
  for (std::size_t i = 1; i < parts.size(); ++i) {
    ASSERT_EQ(MergeAll(parts[0], parts[i]), STF2_SUCCESS);
  }
  EXPECT_THAT(ItemsOf(parts[0]), testing::UnorderedElementsAreArray(items));
}

}  // namespace
