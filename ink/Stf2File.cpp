#include "ink/Stf2File.h"

#include <limits>
#include <memory>

#include "ink/InkError.h"
#include "ink/SealedInfo.h"
#include "ink/Stf2Fault.h"

namespace TalvoInk {
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
    case STF2_OUT_OF_MEMORY:
      return "out of memory";
    default:
      return "unknown status of the STF2 library";
  }
}

void Check(int status, const std::string& place) {
  if (status != STF2_SUCCESS) throw InkError(place, StatusText(status));
}

std::string ItemPlace(std::size_t index) {
  return "item " + std::to_string(index + 1);
}

// A string of an item; none if the item has none.
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
  if (type != STF2_ITEM_STROKE) throw InkError(place, "unknown type of item");
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
    throw InkError("larger than an STF2 file can be");
  }
  InkDataHandle* handle = nullptr;
  const int status =
      Stf2InkDataInitialize(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &handle);
  if (status == STF2_MALFORMED) {
    if (!HasIdentifier(bytes, "STF2")) throw InkError("neither STF2, InkML, .xopp nor SVG");
    throw InkError(FaultOf(bytes));
  }
  if (status == STF2_ENCRYPTED) {
    if (!ReadSealedInfo(bytes)) throw InkError("no well-formed sealed ink");
    throw SealedInkError();
  }
  if (status != STF2_SUCCESS) throw InkError(StatusText(status));
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

bool HasIdentifier(const std::string& bytes, const char* identifier) {
  return bytes.size() >= 8 && bytes.compare(4, 4, identifier) == 0;
}

Ink ReadStf2(const std::string& bytes) {
  return ReadHandle(OpenBuffer(bytes).get());
}

void WriteStf2(const Ink& ink, const Sink& sink) {
  void* bytes = nullptr;
  std::uint32_t size = 0;
  {
    InkDataHandle* handle = nullptr;
    Check(Stf2InkDataCreate(ink.pen, &handle), "pen");
    const InkData data(handle);
    for (std::size_t i = 0; i < ink.items.size(); ++i) {
      Check(AddItem(data.get(), ink.items[i]), ItemPlace(i));
    }
    Check(Stf2WriterWriteDataHandle(data.get(), &bytes, &size), "writing STF2");
  }
  const std::unique_ptr<void, int (*)(void*)> owner(bytes, Stf2WriterFreeData);
  sink({static_cast<const char*>(bytes), size});
}

std::string WriteStf2(const Ink& ink) {
  std::string out;
  WriteStf2(ink, [&](std::string_view bytes) { out = bytes; });
  return out;
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

}  // namespace TalvoInk
