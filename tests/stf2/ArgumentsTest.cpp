// Null is an invalid argument if a pointer is needed; releasing null does nothing.

#include <gtest/gtest.h>

#include "Model.h"

namespace {

constexpr int kInvalid = STF2_INVALID_ARGUMENT;

struct Fixture : testing::Test {
  Fixture()
      : ink(MakeInk(7, {PropertyModel("k", "v"), MarkerModel("1.2.3.4", 1, "n"),
                        StrokeModel("1.2.3.4", 5, {Coordinate(1, 2, 3)})})) {
    EXPECT_EQ(Stf2InkDataGetItems(ink.get(), &items, &count), STF2_SUCCESS);
    EXPECT_EQ(Stf2StrokeItemGetSamples(items[2], &samples, &sample_count), STF2_SUCCESS);
  }
  ~Fixture() override {
    Stf2SampleFreeHandles(&samples);
    Stf2InkItemFreeHandles(&items);
  }

  Ink ink;
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  SampleHandle** samples = nullptr;
  std::uint32_t sample_count = 0;
};

struct Arguments : Fixture {};

TEST_F(Arguments, OpeningNeedsDataAndAPlaceForTheHandle) {
  const Bytes bytes = Write(ink);
  InkDataHandle* handle = reinterpret_cast<InkDataHandle*>(1);
  EXPECT_EQ(Stf2InkDataInitialize(nullptr, 100, &handle), kInvalid);
  EXPECT_EQ(handle, nullptr);
  EXPECT_EQ(Stf2InkDataInitialize(bytes.data(), 100, nullptr), kInvalid);
}

TEST_F(Arguments, InkIsNeeded) {
  std::uint64_t pen = 9;
  char* text = nullptr;
  InkDataHandle** parts = nullptr;
  InkItemHandle** list = nullptr;
  void* data = nullptr;
  std::uint32_t number = 9;
  EXPECT_EQ(Stf2InkDataGetPenId(nullptr, &pen), kInvalid);
  EXPECT_EQ(pen, 0u);
  EXPECT_EQ(Stf2InkDataGetPenIdAsString(nullptr, &text), kInvalid);
  EXPECT_EQ(Stf2InkDataSplit(nullptr, &parts, &number), kInvalid);
  EXPECT_EQ(number, 0u);
  EXPECT_EQ(Stf2InkDataGetItems(nullptr, &list, &number), kInvalid);
  EXPECT_EQ(Stf2WriterWriteDataHandle(nullptr, &data, &number), kInvalid);
  EXPECT_EQ(Stf2InkDataAddProperty(nullptr, "k", "v"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddMarker(nullptr, "p", 1, "n"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddStroke(nullptr, "p", 1, nullptr, 0, 0, 0), kInvalid);
  EXPECT_EQ(Stf2InkDataMergeInkItems(nullptr, items, count), kInvalid);
}

TEST_F(Arguments, APlaceForTheResultIsNeeded) {
  InkDataHandle** parts = nullptr;
  InkItemHandle** list = nullptr;
  void* data = nullptr;
  std::uint32_t number = 9;
  EXPECT_EQ(Stf2InkDataCreate(1, nullptr), kInvalid);
  EXPECT_EQ(Stf2InkDataGetPenId(ink.get(), nullptr), kInvalid);
  EXPECT_EQ(Stf2InkDataGetPenIdAsString(ink.get(), nullptr), kInvalid);
  EXPECT_EQ(Stf2InkDataSplit(ink.get(), nullptr, &number), kInvalid);
  EXPECT_EQ(Stf2InkDataSplit(ink.get(), &parts, nullptr), kInvalid);
  EXPECT_EQ(Stf2InkDataGetItems(ink.get(), nullptr, &number), kInvalid);
  EXPECT_EQ(Stf2InkDataGetItems(ink.get(), &list, nullptr), kInvalid);
  EXPECT_EQ(Stf2WriterWriteDataHandle(ink.get(), nullptr, &number), kInvalid);
  EXPECT_EQ(Stf2WriterWriteDataHandle(ink.get(), &data, nullptr), kInvalid);
  EXPECT_EQ(parts, nullptr);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(data, nullptr);
}

TEST_F(Arguments, AnItemAndAPlaceForItsValueAreNeeded) {
  char* text = nullptr;
  std::uint64_t time = 0;
  std::uint32_t number = 0;
  const Stf2Sample* view = nullptr;
  SampleHandle** list = nullptr;
  EXPECT_EQ(Stf2InkItemGetType(nullptr, &number), kInvalid);
  EXPECT_EQ(Stf2InkItemGetType(items[0], nullptr), kInvalid);
  EXPECT_EQ(Stf2PropertyItemGetKeyAsString(nullptr, &text), kInvalid);
  EXPECT_EQ(Stf2PropertyItemGetKeyAsString(items[0], nullptr), kInvalid);
  EXPECT_EQ(Stf2PropertyItemGetValueAsString(items[0], nullptr), kInvalid);
  EXPECT_EQ(Stf2MarkerItemGetPageAddressAsString(items[1], nullptr), kInvalid);
  EXPECT_EQ(Stf2MarkerItemGetNameAsString(items[1], nullptr), kInvalid);
  EXPECT_EQ(Stf2MarkerItemGetTime(nullptr, &time), kInvalid);
  EXPECT_EQ(Stf2MarkerItemGetTime(items[1], nullptr), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetPageAddressAsString(nullptr, &text), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetPageAddressAsString(items[2], nullptr), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetStartTime(items[2], nullptr), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetColor(items[2], nullptr), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetWidth(items[2], nullptr), kInvalid);
  EXPECT_EQ(Stf2StrokeItemViewSamples(items[2], nullptr, &number), kInvalid);
  EXPECT_EQ(Stf2StrokeItemViewSamples(items[2], &view, nullptr), kInvalid);
  EXPECT_EQ(view, nullptr);
  EXPECT_EQ(Stf2StrokeItemGetSamples(nullptr, &list, &number), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetSamples(items[2], nullptr, &number), kInvalid);
  EXPECT_EQ(Stf2StrokeItemGetSamples(items[2], &list, nullptr), kInvalid);
}

TEST_F(Arguments, ASampleAndAPlaceForItsValueAreNeeded) {
  std::uint32_t type = 0;
  std::uint64_t time = 0;
  std::int32_t x = 0;
  std::uint16_t force = 0;
  EXPECT_EQ(Stf2SampleGetType(nullptr, &type), kInvalid);
  EXPECT_EQ(Stf2SampleGetType(samples[0], nullptr), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetTime(nullptr, &time), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetTime(samples[0], nullptr), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetPosition(nullptr, &x, &x), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetPosition(samples[0], nullptr, &x), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetPosition(samples[0], &x, nullptr), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetForce(nullptr, &force), kInvalid);
  EXPECT_EQ(Stf2CoordinateGetForce(samples[0], nullptr), kInvalid);
}

TEST_F(Arguments, APropertyNeedsAKeyAndAStrokeWithACountItsSamples) {
  EXPECT_EQ(Stf2InkDataAddProperty(ink.get(), nullptr, "v"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddStroke(ink.get(), "p", 1, nullptr, 1, 0, 0), kInvalid);
  EXPECT_EQ(ItemsOf(ink).size(), 3u);
}

TEST_F(Arguments, StringsThatAreNotUtf8AreRefused) {
  EXPECT_EQ(Stf2InkDataAddProperty(ink.get(), "\xFF", "v"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddProperty(ink.get(), "k", "\xC0\xAF"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddMarker(ink.get(), "\xED\xA0\x80", 1, "n"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddMarker(ink.get(), "p", 1, "\x80"), kInvalid);
  EXPECT_EQ(Stf2InkDataAddStroke(ink.get(), "\xF4\x90\x80\x80", 1, nullptr, 0, 0, 0), kInvalid);
  EXPECT_EQ(ItemsOf(ink).size(), 3u);
}

TEST_F(Arguments, MergingNeedsEveryItem) {
  EXPECT_EQ(Stf2InkDataMergeInkItems(ink.get(), nullptr, 1), kInvalid);
  InkItemHandle* holed[] = {items[0], nullptr, items[2]};
  EXPECT_EQ(Stf2InkDataMergeInkItems(ink.get(), holed, 3), kInvalid);
  EXPECT_EQ(ItemsOf(ink).size(), 3u);
  EXPECT_EQ(Stf2InkDataMergeInkItems(ink.get(), nullptr, 0), STF2_SUCCESS);
  EXPECT_EQ(ItemsOf(ink).size(), 3u);
}

TEST(Releasing, NothingIsReleasedAsNothing) {
  InkDataHandle* ink = nullptr;
  InkDataHandle** parts = nullptr;
  InkItemHandle* item = nullptr;
  InkItemHandle** items = nullptr;
  SampleHandle* sample = nullptr;
  SampleHandle** samples = nullptr;
  char* text = nullptr;
  EXPECT_EQ(Stf2InkDataFreeHandle(&ink), STF2_SUCCESS);
  EXPECT_EQ(Stf2InkDataFreeHandles(&parts), STF2_SUCCESS);
  EXPECT_EQ(Stf2InkItemFreeHandle(&item), STF2_SUCCESS);
  EXPECT_EQ(Stf2InkItemFreeHandles(&items), STF2_SUCCESS);
  EXPECT_EQ(Stf2SampleFreeHandle(&sample), STF2_SUCCESS);
  EXPECT_EQ(Stf2SampleFreeHandles(&samples), STF2_SUCCESS);
  EXPECT_EQ(Stf2FreeString(&text), STF2_SUCCESS);
  EXPECT_EQ(Stf2WriterFreeData(nullptr), STF2_SUCCESS);
}

TEST(Releasing, TheAddressOfTheVariableIsNeeded) {
  EXPECT_EQ(Stf2InkDataFreeHandle(nullptr), kInvalid);
  EXPECT_EQ(Stf2InkDataFreeHandles(nullptr), kInvalid);
  EXPECT_EQ(Stf2InkItemFreeHandle(nullptr), kInvalid);
  EXPECT_EQ(Stf2InkItemFreeHandles(nullptr), kInvalid);
  EXPECT_EQ(Stf2SampleFreeHandle(nullptr), kInvalid);
  EXPECT_EQ(Stf2SampleFreeHandles(nullptr), kInvalid);
  EXPECT_EQ(Stf2FreeString(nullptr), kInvalid);
}

}  // namespace
