// Reading ink: what the functions say of well-formed items.

#include <gmock/gmock.h>

#include "Model.h"

namespace {

using testing::ElementsAre;

// The items of ink, released with the object.
class Items {
 public:
  explicit Items(const Ink& ink) {
    EXPECT_EQ(Stf2InkDataGetItems(ink.get(), &items_, &count_), STF2_SUCCESS);
  }
  ~Items() { Stf2InkItemFreeHandles(&items_); }

  const InkItemHandle* operator[](std::uint32_t i) const { return items_[i]; }
  std::uint32_t count() const { return count_; }

 private:
  InkItemHandle** items_ = nullptr;
  std::uint32_t count_ = 0;
};

// The times that a stroke's samples have one by one, 999 if the function refuses.
std::vector<std::uint64_t> TimesOf(std::uint64_t start_time, std::vector<Stf2Sample> stroke) {
  const Ink ink = MakeInk(1, {StrokeModel("1.2.3.4", start_time, std::move(stroke))});
  const Items items(ink);
  SampleHandle** samples = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(Stf2StrokeItemGetSamples(items[0], &samples, &count), STF2_SUCCESS);
  std::vector<std::uint64_t> times;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint64_t time = 999;
    const int status = Stf2CoordinateGetTime(samples[i], &time);
    times.push_back(status == STF2_SUCCESS ? time : 999);
    EXPECT_EQ(Stf2SampleFreeHandle(&samples[i]), STF2_SUCCESS);
    EXPECT_EQ(samples[i], nullptr);
  }
  EXPECT_EQ(Stf2SampleFreeHandles(&samples), STF2_SUCCESS);
  EXPECT_EQ(samples, nullptr);
  return times;
}

TEST(Reading, ThePenIsItsNumberAndItsTextForm) {
  const Bytes bytes = Write(MakeInk(81985529216486895u, {}));
  const Ink ink = Parse(bytes);
  std::uint64_t pen = 0;
  EXPECT_EQ(Stf2InkDataGetPenId(ink.get(), &pen), STF2_SUCCESS);
  EXPECT_EQ(pen, 81985529216486895u);
  char* text = nullptr;
  EXPECT_EQ(Stf2InkDataGetPenIdAsString(ink.get(), &text), STF2_SUCCESS);
  EXPECT_STREQ(text, "0123-4567-89AB-CDEF");
  EXPECT_EQ(Stf2FreeString(&text), STF2_SUCCESS);
  EXPECT_EQ(text, nullptr);
}

TEST(Reading, EveryValueOfEveryTypeComesBack) {
  const std::vector<ItemModel> items = {
      PropertyModel("Title", "Ärger \xF0\x9F\x96\x8B"),
      MarkerModel("1.2.3.4", 1700000000123, "start"),
      StrokeModel("1.2.3.4", 1700000000456,
                  {PenDown(), Coordinate(0, -5, 7, 65535), Coordinate(4294967295, 2147483647, 0, 0),
                   PenUp()},
                  0x80112233, 350)};
  const Bytes bytes = Write(MakeInk(7, items));
  EXPECT_EQ(ItemsOf(Parse(bytes)), items);
}

TEST(Reading, AbsentAndEmptyStringsDiffer) {
  const std::vector<ItemModel> items = {
      PropertyModel("", std::nullopt),  PropertyModel("a", ""),
      MarkerModel(std::nullopt, 0, ""), MarkerModel("", 0, std::nullopt),
      StrokeModel(std::nullopt, 0),     StrokeModel("", 0)};
  const Bytes bytes = Write(MakeInk(7, items));
  EXPECT_EQ(ItemsOf(Parse(bytes)), items);
}

TEST(Reading, InkWithoutItemsGivesNoArray) {
  const Ink ink = MakeInk(7, {});
  InkItemHandle** items = reinterpret_cast<InkItemHandle**>(1);
  std::uint32_t count = 9;
  EXPECT_EQ(Stf2InkDataGetItems(ink.get(), &items, &count), STF2_SUCCESS);
  EXPECT_EQ(items, nullptr);
  EXPECT_EQ(count, 0u);
}

TEST(Reading, AStrokeWithoutSamplesGivesNoArray) {
  const Ink ink = MakeInk(7, {StrokeModel("1.2.3.4", 5)});
  const Items items(ink);
  SampleHandle** samples = reinterpret_cast<SampleHandle**>(1);
  std::uint32_t count = 9;
  EXPECT_EQ(Stf2StrokeItemGetSamples(items[0], &samples, &count), STF2_SUCCESS);
  EXPECT_EQ(samples, nullptr);
  EXPECT_EQ(count, 0u);
  const Stf2Sample* view = reinterpret_cast<const Stf2Sample*>(1);
  count = 9;
  EXPECT_EQ(Stf2StrokeItemViewSamples(items[0], &view, &count), STF2_SUCCESS);
  EXPECT_EQ(view, nullptr);
  EXPECT_EQ(count, 0u);
}

TEST(Reading, ATimeIsTheStartTimePlusTheOffset) {
  EXPECT_THAT(TimesOf(1700000000000, {Coordinate(0, 1, 1), Coordinate(8, 1, 1)}),
              ElementsAre(1700000000000u, 1700000000008u));
}

TEST(Reading, ASampleWithoutTheTimeFlagHasNoTime) {
  EXPECT_THAT(TimesOf(1700000000000, {TimelessCoordinate(1, 1)}), ElementsAre(0u));
}

TEST(Reading, AStrokeWithoutAStartTimeHasNoTimes) {
  EXPECT_THAT(TimesOf(0, {Coordinate(8, 1, 1)}), ElementsAre(0u));
}

TEST(Reading, ATimeBeyond64BitsCountsAsNone) {
  EXPECT_THAT(TimesOf(UINT64_MAX, {Coordinate(0, 1, 1), Coordinate(1, 1, 1), Coordinate(9, 1, 1)}),
              ElementsAre(UINT64_MAX, 0u, 0u));
}

TEST(Reading, OnlyCoordinatesHaveTimePositionAndForce) {
  EXPECT_THAT(TimesOf(5, {PenDown(), Coordinate(1, 1, 1), PenUp()}), ElementsAre(999, 6, 999));
}

TEST(Reading, SamplesSayTypePositionAndForce) {
  const Ink ink = MakeInk(7, {StrokeModel("1.2.3.4", 5, {PenDown(), Coordinate(1, -20, 30, 400)})});
  const Items items(ink);
  SampleHandle** samples = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(Stf2StrokeItemGetSamples(items[0], &samples, &count), STF2_SUCCESS);
  ASSERT_EQ(count, 2u);
  std::uint32_t type = 0;
  EXPECT_EQ(Stf2SampleGetType(samples[0], &type), STF2_SUCCESS);
  EXPECT_EQ(type, std::uint32_t{STF2_SAMPLE_PEN_DOWN});
  EXPECT_EQ(Stf2SampleGetType(samples[1], &type), STF2_SUCCESS);
  EXPECT_EQ(type, std::uint32_t{STF2_SAMPLE_COORDINATE});
  std::int32_t x = 0;
  std::int32_t y = 0;
  EXPECT_EQ(Stf2CoordinateGetPosition(samples[1], &x, &y), STF2_SUCCESS);
  EXPECT_EQ(x, -20);
  EXPECT_EQ(y, 30);
  std::uint16_t force = 0;
  EXPECT_EQ(Stf2CoordinateGetForce(samples[1], &force), STF2_SUCCESS);
  EXPECT_EQ(force, 400);
  EXPECT_EQ(Stf2CoordinateGetPosition(samples[0], &x, &y), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(x, 0);
  EXPECT_EQ(Stf2CoordinateGetForce(samples[0], &force), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(force, 0);
  Stf2SampleFreeHandles(&samples);
}

TEST(Reading, AnItemRefusesTheQuestionsOfOtherTypes) {
  const Ink ink = MakeInk(
      7, {PropertyModel("k", "v"), MarkerModel("1.2.3.4", 1, "n"), StrokeModel("1.2.3.4", 5)});
  const Items items(ink);
  char* text = nullptr;
  std::uint64_t time = 9;
  std::uint32_t number = 9;
  EXPECT_EQ(Stf2StrokeItemGetPageAddressAsString(items[0], &text), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2StrokeItemGetPageAddressAsString(items[1], &text), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2MarkerItemGetPageAddressAsString(items[2], &text), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2MarkerItemGetNameAsString(items[0], &text), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2PropertyItemGetKeyAsString(items[1], &text), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2PropertyItemGetValueAsString(items[2], &text), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2MarkerItemGetTime(items[2], &time), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(time, 0u);
  EXPECT_EQ(Stf2StrokeItemGetStartTime(items[1], &time), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(Stf2StrokeItemGetColor(items[0], &number), STF2_INVALID_ARGUMENT);
  EXPECT_EQ(number, 0u);
  EXPECT_EQ(Stf2StrokeItemGetWidth(items[1], &number), STF2_INVALID_ARGUMENT);
}

// The samples' view is in the caller's own buffer.
TEST(Reading, SamplesAreReadInPlace) {
  const Bytes bytes = Write(MakeInk(7, {StrokeModel("1.2.3.4", 5, {Coordinate(1, 2, 3)})}));
  const Ink ink = Parse(bytes);
  const Items items(ink);
  const Stf2Sample* view = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(Stf2StrokeItemViewSamples(items[0], &view, &count), STF2_SUCCESS);
  const auto* place = reinterpret_cast<const std::uint8_t*>(view);
  EXPECT_GE(place, bytes.data());
  EXPECT_LE(place + sizeof *view, bytes.data() + bytes.size());
}

TEST(Reading, ItemHandlesStayValidWhileInkIsAddedTo) {
  const Ink ink = MakeInk(7, {PropertyModel("first", "value")});
  const Items items(ink);
  for (int i = 0; i < 1000; ++i) Stf2InkDataAddProperty(ink.get(), "further", "value");
  char* key = nullptr;
  EXPECT_EQ(Stf2PropertyItemGetKeyAsString(items[0], &key), STF2_SUCCESS);
  EXPECT_STREQ(key, "first");
  Stf2FreeString(&key);
  EXPECT_EQ(items.count(), 1u);
}

}  // namespace
