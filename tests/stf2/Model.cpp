#include "Model.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <utility>

namespace {

std::ostream& Print(std::ostream& stream, const char* name,
                    const std::optional<std::string>& text) {
  return text ? stream << ' ' << name << "=\"" << *text << '"' : stream;
}

// The string that `get` reads from the item.
std::optional<std::string> Text(int (*get)(const InkItemHandle*, char**),
                                const InkItemHandle* item) {
  char* string = nullptr;
  EXPECT_EQ(get(item, &string), STF2_SUCCESS);
  if (!string) return std::nullopt;
  std::string text = string;
  EXPECT_EQ(Stf2FreeString(&string), STF2_SUCCESS);
  return text;
}

ItemModel Model(const InkItemHandle* item) {
  ItemModel model;
  EXPECT_EQ(Stf2InkItemGetType(item, &model.type), STF2_SUCCESS);
  if (model.type == STF2_ITEM_PROPERTY) {
    model.key = Text(Stf2PropertyItemGetKeyAsString, item);
    model.value = Text(Stf2PropertyItemGetValueAsString, item);
  } else if (model.type == STF2_ITEM_MARKER) {
    model.page = Text(Stf2MarkerItemGetPageAddressAsString, item);
    model.name = Text(Stf2MarkerItemGetNameAsString, item);
    EXPECT_EQ(Stf2MarkerItemGetTime(item, &model.time), STF2_SUCCESS);
  } else {
    model.page = Text(Stf2StrokeItemGetPageAddressAsString, item);
    EXPECT_EQ(Stf2StrokeItemGetStartTime(item, &model.time), STF2_SUCCESS);
    EXPECT_EQ(Stf2StrokeItemGetColor(item, &model.color), STF2_SUCCESS);
    EXPECT_EQ(Stf2StrokeItemGetWidth(item, &model.width), STF2_SUCCESS);
    const Stf2Sample* samples = nullptr;
    std::uint32_t count = 0;
    EXPECT_EQ(Stf2StrokeItemViewSamples(item, &samples, &count), STF2_SUCCESS);
    model.samples.assign(samples, samples + count);
  }
  return model;
}

const char* Pointer(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

int Add(InkDataHandle* ink, const ItemModel& item) {
  switch (item.type) {
    case STF2_ITEM_PROPERTY:
      return Stf2InkDataAddProperty(ink, Pointer(item.key), Pointer(item.value));
    case STF2_ITEM_MARKER:
      return Stf2InkDataAddMarker(ink, Pointer(item.page), item.time, Pointer(item.name));
    default:
      return Stf2InkDataAddStroke(ink, Pointer(item.page), item.time, item.samples.data(),
                                  static_cast<std::uint32_t>(item.samples.size()), item.color,
                                  item.width);
  }
}

}  // namespace

bool operator==(const ItemModel& a, const ItemModel& b) {
  return a.type == b.type && a.page == b.page && a.key == b.key && a.value == b.value &&
         a.name == b.name && a.time == b.time && a.color == b.color && a.width == b.width &&
         a.samples.size() == b.samples.size() &&
         (a.samples.empty() || std::memcmp(a.samples.data(), b.samples.data(),
                                           a.samples.size() * sizeof(Stf2Sample)) == 0);
}

std::ostream& operator<<(std::ostream& stream, const ItemModel& item) {
  stream << "{type " << item.type;
  Print(stream, "page", item.page);
  Print(stream, "key", item.key);
  Print(stream, "value", item.value);
  Print(stream, "name", item.name);
  return stream << " time " << item.time << " color " << item.color << " width " << item.width
                << " samples " << item.samples.size() << '}';
}

ItemModel PropertyModel(const std::string& key, std::optional<std::string> value) {
  ItemModel item;
  item.type = STF2_ITEM_PROPERTY;
  item.key = key;
  item.value = std::move(value);
  return item;
}

ItemModel MarkerModel(std::optional<std::string> page, std::uint64_t time,
                      std::optional<std::string> name) {
  ItemModel item;
  item.type = STF2_ITEM_MARKER;
  item.page = std::move(page);
  item.time = time;
  item.name = std::move(name);
  return item;
}

ItemModel StrokeModel(std::optional<std::string> page, std::uint64_t start_time,
                      std::vector<Stf2Sample> samples, std::uint32_t color, std::uint32_t width) {
  ItemModel item;
  item.type = STF2_ITEM_STROKE;
  item.page = std::move(page);
  item.time = start_time;
  item.samples = std::move(samples);
  item.color = color;
  item.width = width;
  return item;
}

Stf2Sample Coordinate(std::uint32_t time_offset_ms, std::int32_t x_um, std::int32_t y_um,
                      std::uint16_t force) {
  return {time_offset_ms, x_um, y_um, force, STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME};
}

Stf2Sample TimelessCoordinate(std::int32_t x_um, std::int32_t y_um) {
  return {0, x_um, y_um, 1000, STF2_SAMPLE_COORDINATE, 0};
}

Stf2Sample PenDown() {
  return {0, 0, 0, 0, STF2_SAMPLE_PEN_DOWN, 0};
}

Stf2Sample PenUp() {
  return {0, 0, 0, 0, STF2_SAMPLE_PEN_UP, 0};
}

Ink& Ink::operator=(Ink&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

Ink MakeInk(std::uint64_t pen, const std::vector<ItemModel>& items) {
  Ink ink;
  EXPECT_EQ(Stf2InkDataCreate(pen, ink.out()), STF2_SUCCESS);
  for (const ItemModel& item : items) EXPECT_EQ(Add(ink.get(), item), STF2_SUCCESS);
  return ink;
}

Ink Parse(const Bytes& bytes) {
  Ink ink;
  EXPECT_EQ(
      Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(bytes.size()), ink.out()),
      STF2_SUCCESS);
  return ink;
}

std::vector<ItemModel> ItemsOf(const Ink& ink) {
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(Stf2InkDataGetItems(ink.get(), &items, &count), STF2_SUCCESS);
  std::vector<ItemModel> models;
  for (std::uint32_t i = 0; i < count; ++i) {
    models.push_back(Model(items[i]));
    EXPECT_EQ(Stf2InkItemFreeHandle(&items[i]), STF2_SUCCESS);
  }
  EXPECT_EQ(Stf2InkItemFreeHandles(&items), STF2_SUCCESS);
  return models;
}

std::vector<Ink> Split(const Ink& ink) {
  InkDataHandle** handles = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(Stf2InkDataSplit(ink.get(), &handles, &count), STF2_SUCCESS);
  std::vector<Ink> parts;
  for (std::uint32_t i = 0; i < count; ++i) parts.emplace_back(handles[i]);
  EXPECT_EQ(Stf2InkDataFreeHandles(&handles), STF2_SUCCESS);
  return parts;
}

Bytes Write(const Ink& ink) {
  void* data = nullptr;
  std::uint32_t size = 0;
  EXPECT_EQ(Stf2WriterWriteDataHandle(ink.get(), &data, &size), STF2_SUCCESS);
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  Bytes copy(bytes, bytes + size);
  EXPECT_EQ(Stf2WriterFreeData(data), STF2_SUCCESS);
  return copy;
}

int MergeAll(const Ink& into, const Ink& from) {
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  EXPECT_EQ(Stf2InkDataGetItems(from.get(), &items, &count), STF2_SUCCESS);
  const int status = Stf2InkDataMergeInkItems(into.get(), items, count);
  Stf2InkItemFreeHandles(&items);
  return status;
}

int StatusOf(const Bytes& bytes) {
  Ink ink;
  return Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(bytes.size()), ink.out());
}
