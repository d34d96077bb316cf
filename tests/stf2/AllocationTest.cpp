// What the calls cost in memory, and that running out of it is a status.

#include <gtest/gtest.h>

#include <functional>

#include "AllocationControl.h"
#include "Model.h"

namespace {

// Ten pages of 100 strokes of 64 samples: 1,024,000 bytes of samples.
Bytes TenPages() {
  const std::vector<Stf2Sample> samples(64, Coordinate(1, 2, 3));
  std::vector<ItemModel> items = {PropertyModel("title", "t")};
  for (int i = 0; i < 1000; ++i) {
    items.push_back(StrokeModel("1.2.3." + std::to_string(i % 10), 1, samples));
  }
  return Write(MakeInk(7, items));
}

TEST(Cost, OpeningCopiesNothing) {
  const Bytes bytes = TenPages();
  InkDataHandle* ink = nullptr;
  const AllocationCount count;
  ASSERT_EQ(Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &ink),
            STF2_SUCCESS);
  EXPECT_EQ(count.blocks(), 1u);
  EXPECT_LT(count.bytes(), 200u);
  Stf2InkDataFreeHandle(&ink);
}

TEST(Cost, TheListOfItemsIsOneAllocation) {
  const Bytes bytes = TenPages();
  const Ink ink = Parse(bytes);
  InkItemHandle** items = nullptr;
  std::uint32_t item_count = 0;
  const AllocationCount count;
  ASSERT_EQ(Stf2InkDataGetItems(ink.get(), &items, &item_count), STF2_SUCCESS);
  EXPECT_EQ(count.blocks(), 1u);
  Stf2InkItemFreeHandles(&items);
}

TEST(Cost, TheSamplesOfAStrokeAreOneAllocationAndTheirViewNone) {
  const Bytes bytes = TenPages();
  const Ink ink = Parse(bytes);
  InkItemHandle** items = nullptr;
  std::uint32_t size = 0;
  ASSERT_EQ(Stf2InkDataGetItems(ink.get(), &items, &size), STF2_SUCCESS);
  SampleHandle** samples = nullptr;
  const Stf2Sample* view = nullptr;
  const AllocationCount count;
  ASSERT_EQ(Stf2StrokeItemViewSamples(items[1], &view, &size), STF2_SUCCESS);
  EXPECT_EQ(count.blocks(), 0u);
  ASSERT_EQ(Stf2StrokeItemGetSamples(items[1], &samples, &size), STF2_SUCCESS);
  EXPECT_EQ(count.blocks(), 1u);
  std::uint64_t time = 0;
  for (std::uint32_t i = 0; i < size; ++i) {
    Stf2CoordinateGetTime(samples[i], &time);
    Stf2SampleFreeHandle(&samples[i]);
  }
  EXPECT_EQ(count.blocks(), 1u);
  Stf2SampleFreeHandles(&samples);
  Stf2InkItemFreeHandles(&items);
}

TEST(Cost, SplittingCopiesNoSample) {
  const Bytes bytes = TenPages();
  const Ink ink = Parse(bytes);
  InkDataHandle** parts = nullptr;
  std::uint32_t part_count = 0;
  const AllocationCount count;
  ASSERT_EQ(Stf2InkDataSplit(ink.get(), &parts, &part_count), STF2_SUCCESS);
  EXPECT_LT(count.bytes(), 32u * 1001 + 10000);
  for (std::uint32_t i = 0; i < part_count; ++i) Stf2InkDataFreeHandle(&parts[i]);
  Stf2InkDataFreeHandles(&parts);
}

// A list of its own for each part would be 5,000,000 entries.
TEST(Cost, PartsShareTheListOfProperties) {
  std::vector<ItemModel> items(1000, PropertyModel("k", std::nullopt));
  for (int i = 0; i < 5000; ++i) items.push_back(StrokeModel(std::to_string(i), 1));
  const Bytes bytes = Write(MakeInk(7, items));
  const Ink ink = Parse(bytes);
  InkDataHandle** parts = nullptr;
  std::uint32_t part_count = 0;
  const AllocationCount count;
  ASSERT_EQ(Stf2InkDataSplit(ink.get(), &parts, &part_count), STF2_SUCCESS);
  EXPECT_LT(count.bytes(), 5000u * 300);
  for (std::uint32_t i = 0; i < part_count; ++i) Stf2InkDataFreeHandle(&parts[i]);
  Stf2InkDataFreeHandles(&parts);
}

// The block that the part is built in is asked for in one call and is what the caller gets.
TEST(Cost, WritingAPartTakesLittleMoreThanThePart) {
  const Bytes bytes = TenPages();
  const std::vector<Ink> parts = Split(Parse(bytes));
  void* data = nullptr;
  std::uint32_t size = 0;
  const AllocationCount count;
  ASSERT_EQ(Stf2WriterWriteDataHandle(parts[0].get(), &data, &size), STF2_SUCCESS);
  EXPECT_GT(size, 100u * 64 * sizeof(Stf2Sample));
  EXPECT_LT(count.largest_block(), size + size / 10);
  EXPECT_LT(count.bytes() - count.largest_block(), 2000u);
  Stf2WriterFreeData(data);
}

// Ink is made stroke by stroke: what each costs beside its samples and its page is small.
TEST(Cost, AddingAnItemTakesLittleMoreThanTheItem) {
  const Ink ink = MakeInk(7, {PropertyModel("title", "t")});
  const std::vector<Stf2Sample> samples(64, Coordinate(1, 2, 3));
  const AllocationCount count;
  ASSERT_EQ(Stf2InkDataAddStroke(ink.get(), "1.2.3.4", 1, samples.data(), 64, 5, 6), STF2_SUCCESS);
  EXPECT_LT(count.largest_block(), 64 * sizeof(Stf2Sample) + 300);
  EXPECT_LT(count.bytes(), 64 * sizeof(Stf2Sample) + 450);
}

// Calls the function with the first, the second, .. allocation failing, until it gets by.
void FailEveryAllocation(const std::function<int()>& call, std::size_t at_least) {
  for (std::size_t allowed = 0;; ++allowed) {
    int status = STF2_SUCCESS;
    bool failed = false;
    {
      const AllocationFailure failure(allowed);
      status = call();
      failed = failure.happened();
    }
    if (!failed) {
      EXPECT_EQ(status, STF2_SUCCESS);
      EXPECT_GE(allowed, at_least);
      return;
    }
    ASSERT_EQ(status, STF2_OUT_OF_MEMORY) << "allocation " << allowed;
  }
}

struct OutOfMemory : testing::Test {
  Bytes bytes = Write(MakeInk(7, {PropertyModel("title", "t"), MarkerModel("1.1.1.1", 1, "m"),
                                  StrokeModel("1.1.1.1", 1, {Coordinate(1, 2, 3)}),
                                  StrokeModel("2.2.2.2", 1, {Coordinate(1, 2, 3)})}));
};

TEST_F(OutOfMemory, OpeningSaysSo) {
  Bytes misaligned(bytes.size() + 1);
  std::copy(bytes.begin(), bytes.end(), misaligned.begin() + 1);
  FailEveryAllocation(
      [&] {
        InkDataHandle* ink = nullptr;
        const int status = Stf2InkDataInitialize(misaligned.data() + 1,
                                                 static_cast<std::uint32_t>(bytes.size()), &ink);
        EXPECT_EQ(ink != nullptr, status == STF2_SUCCESS);
        Stf2InkDataFreeHandle(&ink);
        return status;
      },
      2);
}

TEST_F(OutOfMemory, ReadingSaysSo) {
  const Ink ink = Parse(bytes);
  FailEveryAllocation(
      [&] {
        char* pen = nullptr;
        const int status = Stf2InkDataGetPenIdAsString(ink.get(), &pen);
        EXPECT_EQ(pen != nullptr, status == STF2_SUCCESS);
        Stf2FreeString(&pen);
        return status;
      },
      1);
  FailEveryAllocation(
      [&] {
        InkItemHandle** items = nullptr;
        std::uint32_t count = 0;
        const int status = Stf2InkDataGetItems(ink.get(), &items, &count);
        EXPECT_EQ(items != nullptr, status == STF2_SUCCESS);
        EXPECT_EQ(count, status == STF2_SUCCESS ? 4u : 0u);
        Stf2InkItemFreeHandles(&items);
        return status;
      },
      1);
}

TEST_F(OutOfMemory, ReadingAnItemSaysSo) {
  const Ink ink = Parse(bytes);
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(Stf2InkDataGetItems(ink.get(), &items, &count), STF2_SUCCESS);
  FailEveryAllocation(
      [&] {
        char* page = nullptr;
        const int status = Stf2StrokeItemGetPageAddressAsString(items[2], &page);
        Stf2FreeString(&page);
        return status;
      },
      1);
  FailEveryAllocation(
      [&] {
        SampleHandle** samples = nullptr;
        const int status = Stf2StrokeItemGetSamples(items[2], &samples, &count);
        EXPECT_EQ(samples != nullptr, status == STF2_SUCCESS);
        Stf2SampleFreeHandles(&samples);
        return status;
      },
      1);
  Stf2InkItemFreeHandles(&items);
}

TEST_F(OutOfMemory, SplittingSaysSoAndLeavesNothing) {
  const Ink ink = Parse(bytes);
  FailEveryAllocation(
      [&] {
        InkDataHandle** parts = nullptr;
        std::uint32_t count = 0;
        const int status = Stf2InkDataSplit(ink.get(), &parts, &count);
        EXPECT_EQ(count, status == STF2_SUCCESS ? 2u : 0u);
        for (std::uint32_t i = 0; i < count; ++i) Stf2InkDataFreeHandle(&parts[i]);
        Stf2InkDataFreeHandles(&parts);
        return status;
      },
      5);
}

TEST_F(OutOfMemory, MakingSaysSo) {
  FailEveryAllocation(
      [] {
        InkDataHandle* ink = nullptr;
        const int status = Stf2InkDataCreate(7, &ink);
        Stf2InkDataFreeHandle(&ink);
        return status;
      },
      1);
}

TEST_F(OutOfMemory, AddingAndMergingLeaveTheInkAsItWas) {
  const Ink ink = Parse(bytes);
  const auto before = ItemsOf(ink);
  FailEveryAllocation(
      [&] {
        const Stf2Sample sample = Coordinate(1, 2, 3);
        return Stf2InkDataAddStroke(ink.get(), "3.3.3.3", 1, &sample, 1, 0, 0);
      },
      3);
  EXPECT_EQ(ItemsOf(ink).size(), before.size() + 1);
  const Ink base = Parse(bytes);
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(Stf2InkDataGetItems(ink.get(), &items, &count), STF2_SUCCESS);
  FailEveryAllocation([&] { return Stf2InkDataMergeInkItems(base.get(), items, count); }, 3);
  EXPECT_EQ(ItemsOf(base).size(), before.size() + count);
  Stf2InkItemFreeHandles(&items);
}

TEST_F(OutOfMemory, WritingSaysSo) {
  const Ink ink = Parse(bytes);
  FailEveryAllocation(
      [&] {
        void* data = nullptr;
        std::uint32_t size = 0;
        const int status = Stf2WriterWriteDataHandle(ink.get(), &data, &size);
        EXPECT_EQ(data != nullptr, status == STF2_SUCCESS);
        Stf2WriterFreeData(data);
        return status;
      },
      2);
}

}  // namespace
