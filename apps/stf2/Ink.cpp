#include "Ink.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>
#include <set>
#include <tuple>

#include "Refusal.h"
#include "SealedInfo.h"
#include "Stf2Fault.h"

namespace InkTool {
namespace {

// An array of handles from the STF2 library, released with all its elements.
template <typename Handle, int (*FreeOne)(Handle**), int (*FreeAll)(Handle***)>
struct HandleArray {
  HandleArray() = default;
  HandleArray(const HandleArray&) = delete;
  HandleArray& operator=(const HandleArray&) = delete;
  ~HandleArray() {
    for (std::uint32_t i = 0; i < count; ++i) FreeOne(&handles[i]);
    FreeAll(&handles);
  }
  Handle** handles = nullptr;
  std::uint32_t count = 0;
};
using Items = HandleArray<InkItemHandle, Stf2InkItemFreeHandle, Stf2InkItemFreeHandles>;
using Parts = HandleArray<InkDataHandle, Stf2InkDataFreeHandle, Stf2InkDataFreeHandles>;

struct FreeInkData {
  void operator()(InkDataHandle* ink) const { Stf2InkDataFreeHandle(&ink); }
};
using InkData = std::unique_ptr<InkDataHandle, FreeInkData>;

const char* StatusText(int status) {
  switch (status) {
    case STF2_INVALID_ARGUMENT:
      return "not accepted by the STF2 library";
    case STF2_ENCRYPTED:
      return "sealed ink; open it first with 'stf2 open'";
    case STF2_OUT_OF_MEMORY:
      return "out of memory";
    default:
      return "unknown status of the STF2 library";
  }
}

void Check(int status, const std::string& place) {
  if (status != STF2_SUCCESS) throw Refusal(place, StatusText(status));
}

std::string ItemPlace(std::size_t index) {
  return "item " + std::to_string(index + 1);
}

// A string of an item, none where the item has none.
std::optional<std::string> StringOf(int (*get)(const InkItemHandle*, char**),
                                    const InkItemHandle* item, const std::string& place) {
  char* text = nullptr;
  Check(get(item, &text), place);
  if (text == nullptr) return std::nullopt;
  std::optional<std::string> result(text);
  Stf2FreeString(&text);
  return result;
}

Stroke ReadStroke(const InkItemHandle* item, const std::string& place) {
  Stroke stroke;
  stroke.page = StringOf(Stf2StrokeItemGetPageAddressAsString, item, place);
  Check(Stf2StrokeItemGetStartTime(item, &stroke.start_time_ms), place);
  Check(Stf2StrokeItemGetColor(item, &stroke.color), place);
  Check(Stf2StrokeItemGetWidth(item, &stroke.width_um), place);
  const Stf2Sample* samples = nullptr;
  std::uint32_t count = 0;
  Check(Stf2StrokeItemViewSamples(item, &samples, &count), place);
  if (count > 0) stroke.samples.assign(samples, samples + count);
  return stroke;
}

Item ReadItem(const InkItemHandle* item, const std::string& place) {
  std::uint32_t type = 0;
  Check(Stf2InkItemGetType(item, &type), place);
  if (type == STF2_ITEM_PROPERTY) {
    Property property;
    property.key = StringOf(Stf2PropertyItemGetKeyAsString, item, place).value_or("");
    property.value = StringOf(Stf2PropertyItemGetValueAsString, item, place);
    return property;
  }
  if (type == STF2_ITEM_MARKER) {
    Marker marker;
    marker.page = StringOf(Stf2MarkerItemGetPageAddressAsString, item, place);
    Check(Stf2MarkerItemGetTime(item, &marker.time_ms), place);
    marker.name = StringOf(Stf2MarkerItemGetNameAsString, item, place);
    return marker;
  }
  if (type != STF2_ITEM_STROKE) throw Refusal(place, "unknown type of item");
  return ReadStroke(item, place);
}

Ink ReadHandle(const InkDataHandle* handle) {
  Ink ink;
  Check(Stf2InkDataGetPenId(handle, &ink.pen), "pen");
  Items items;
  Check(Stf2InkDataGetItems(handle, &items.handles, &items.count), "items");
  ink.items.reserve(items.count);
  for (std::uint32_t i = 0; i < items.count; ++i) {
    ink.items.push_back(ReadItem(items.handles[i], ItemPlace(i)));
  }
  return ink;
}

InkData OpenBuffer(const std::string& bytes) {
  if (bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
    throw Refusal("larger than an STF2 file can be");
  }
  InkDataHandle* handle = nullptr;
  const int status =
      Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &handle);
  if (status == STF2_MALFORMED) {
    if (!HasIdentifier(bytes, "STF2")) throw Refusal("neither STF2 nor InkML");
    throw Refusal(FaultOf(bytes));
  }
  if (status == STF2_ENCRYPTED && !ReadSealedInfo(bytes)) {
    throw Refusal("no well-formed sealed ink");
  }
  if (status != STF2_SUCCESS) throw Refusal(StatusText(status));
  return InkData(handle);
}

const char* OrNull(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

int AddItem(InkDataHandle* ink, const Item& item) {
  if (const auto* property = std::get_if<Property>(&item)) {
    return Stf2InkDataAddProperty(ink, property->key.c_str(), OrNull(property->value));
  }
  if (const auto* marker = std::get_if<Marker>(&item)) {
    return Stf2InkDataAddMarker(ink, OrNull(marker->page), marker->time_ms, OrNull(marker->name));
  }
  const Stroke& stroke = std::get<Stroke>(item);
  return Stf2InkDataAddStroke(ink, OrNull(stroke.page), stroke.start_time_ms, stroke.samples.data(),
                              static_cast<std::uint32_t>(stroke.samples.size()), stroke.color,
                              stroke.width_um);
}

}  // namespace

bool SameSample(const Stf2Sample& a, const Stf2Sample& b) {
  return std::tie(a.time_offset_ms, a.x_um, a.y_um, a.force, a.type, a.flags) ==
         std::tie(b.time_offset_ms, b.x_um, b.y_um, b.force, b.type, b.flags);
}

bool SameSamples(const std::vector<Stf2Sample>& a, const std::vector<Stf2Sample>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), SameSample);
}

bool operator==(const Property& a, const Property& b) {
  return a.key == b.key && a.value == b.value;
}

bool operator==(const Marker& a, const Marker& b) {
  return a.page == b.page && a.time_ms == b.time_ms && a.name == b.name;
}

bool operator==(const Stroke& a, const Stroke& b) {
  return a.page == b.page && a.start_time_ms == b.start_time_ms &&
         SameSamples(a.samples, b.samples) && a.color == b.color && a.width_um == b.width_um;
}

bool operator==(const Ink& a, const Ink& b) {
  return a.pen == b.pen && a.items == b.items;
}

bool HasIdentifier(const std::string& bytes, const char* identifier) {
  return bytes.size() >= 8 && bytes.compare(4, 4, identifier) == 0;
}

Ink ReadStf2(const std::string& bytes) {
  return ReadHandle(OpenBuffer(bytes).get());
}

std::string WriteStf2(const Ink& ink) {
  InkDataHandle* handle = nullptr;
  Check(Stf2InkDataCreate(ink.pen, &handle), "pen");
  const InkData data(handle);
  for (std::size_t i = 0; i < ink.items.size(); ++i) {
    Check(AddItem(data.get(), ink.items[i]), ItemPlace(i));
  }
  void* bytes = nullptr;
  std::uint32_t size = 0;
  Check(Stf2WriterWriteDataHandle(data.get(), &bytes, &size), "writing STF2");
  const std::unique_ptr<void, int (*)(void*)> owner(bytes, Stf2WriterFreeData);
  return std::string(static_cast<const char*>(bytes), size);
}

std::vector<std::pair<std::optional<std::string>, Ink>> SplitByPage(const Ink& ink) {
  const std::string bytes = WriteStf2(ink);
  const InkData data = OpenBuffer(bytes);
  Parts parts;
  Check(Stf2InkDataSplit(data.get(), &parts.handles, &parts.count), "splitting");
  std::vector<std::pair<std::optional<std::string>, Ink>> result;
  for (std::uint32_t i = 0; i < parts.count; ++i) {
    Ink part = ReadHandle(parts.handles[i]);
    std::optional<std::string> page = PagesOf(part).front();
    result.emplace_back(std::move(page), std::move(part));
  }
  return result;
}

std::vector<Stf2Sample> DrawThrough(const std::vector<Stf2Sample>& points) {
  std::vector<Stf2Sample> samples;
  if (points.empty()) return samples;
  samples.reserve(points.size() + 2);
  samples.push_back(points.front());
  samples.back().type = STF2_SAMPLE_PEN_DOWN;
  for (const Stf2Sample& point : points) {
    samples.push_back(point);
    samples.back().type = STF2_SAMPLE_COORDINATE;
  }
  samples.push_back(points.back());
  samples.back().type = STF2_SAMPLE_PEN_UP;
  return samples;
}

std::vector<Stf2Sample> PositionsOf(const Stroke& stroke) {
  std::vector<Stf2Sample> points;
  std::vector<Stf2Sample> touches;
  for (const Stf2Sample& sample : stroke.samples) {
    if (sample.type == STF2_SAMPLE_COORDINATE) points.push_back(sample);
    const bool touch = sample.type == STF2_SAMPLE_PEN_DOWN || sample.type == STF2_SAMPLE_PEN_UP;
    if (touch) touches.push_back(sample);
  }
  return points.empty() ? touches : points;
}

std::vector<std::optional<std::string>> PagesOf(const Ink& ink) {
  std::vector<std::optional<std::string>> pages;
  std::set<std::optional<std::string>> seen;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke != nullptr && seen.insert(stroke->page).second) pages.push_back(stroke->page);
  }
  return pages;
}

void Append(Ink& ink, Ink more) {
  std::set<std::pair<std::string, std::optional<std::string>>> properties;
  std::set<std::tuple<std::optional<std::string>, std::uint64_t, std::optional<std::string>>>
      markers;
  const auto is_new = [&](const Item& item) {
    if (const auto* property = std::get_if<Property>(&item)) {
      return properties.emplace(property->key, property->value).second;
    }
    const auto* marker = std::get_if<Marker>(&item);
    return marker == nullptr || markers.emplace(marker->page, marker->time_ms, marker->name).second;
  };
  for (const Item& item : ink.items) is_new(item);
  for (Item& item : more.items) {
    if (is_new(item)) ink.items.push_back(std::move(item));
  }
}

bool IsPageAddress(const std::string& text) {
  if (text.empty() || text.front() == '.' || text.back() == '.') return false;
  if (text.find_first_not_of("0123456789.*") != std::string::npos) return false;
  if (text.find("..") != std::string::npos) return false;
  const auto dots = std::count(text.begin(), text.end(), '.');
  return dots == 3 || dots == 4;
}

bool IsOnePageAddress(const std::string& text) {
  const char* at = text.data();
  const char* const end = at + text.size();
  int fields = 0;
  for (; fields < 6; ++at) {
    std::uint32_t field = 0;
    const auto result = std::from_chars(at, end, field);
    if (result.ec != std::errc() || field > std::numeric_limits<std::int32_t>::max()) return false;
    ++fields;
    at = result.ptr;
    if (at == end) break;
    if (*at != '.') return false;
  }
  return fields == 4 || fields == 5;
}

}  // namespace InkTool
