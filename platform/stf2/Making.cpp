// Making ink, adding to it, and writing it. What is added is first written as STF2 data of its own,
// which the handle keeps, so that it is read and written like ink that was parsed.

#include <algorithm>
#include <cstring>

#include "Ink.h"
#include "Text.h"
#include "Writer.h"

namespace Talvo::Stf2 {
namespace {

// Appends the items of the data; the ink is unchanged if this throws.
void Append(InkDataHandle& ink, Data data) {
  const StoredItems* items = Format::GetInkData(data.bytes.get())->items();
  if (!items) return;
  if (!ink.additions) ink.additions = std::make_shared<Additions>();
  Additions& additions = *ink.additions;
  const std::size_t before = additions.items.size();
  try {
    for (const Item* item : *items) additions.items.push_back(item);
    additions.data.push_back(std::move(data));
  } catch (...) {
    additions.items.resize(before);
    throw;
  }
}

template <class Values>
int Add(InkDataHandle& ink, const Values& values) {
  return Guarded([&] {
    Writer writer(WrittenSize(values), 1);
    writer.Write(values);
    Append(ink, writer.Finish(ink.pen));
    return STF2_SUCCESS;
  });
}

std::string_view ViewOf(const char* string) {
  return string ? std::string_view(string) : std::string_view();
}

Data Write(const InkDataHandle& ink) {
  std::uint64_t written_size = 0;
  ForEachItem(ink, [&](const Item& item) { written_size += WrittenSize(item); });
  Writer writer(written_size, CountItems(ink));
  ForEachItem(ink, [&](const Item& item) { writer.Write(item); });
  return writer.Finish(ink.pen);
}

Data Write(InkItemHandle* const* items, std::uint32_t count) {
  std::uint64_t written_size = 0;
  for (std::uint32_t i = 0; i < count; ++i) written_size += WrittenSize(*FromHandle(items[i]));
  Writer writer(written_size, count);
  for (std::uint32_t i = 0; i < count; ++i) writer.Write(*FromHandle(items[i]));
  return writer.Finish(0);
}

}  // namespace
}  // namespace Talvo::Stf2

using namespace Talvo::Stf2;

int Stf2InkDataCreate(uint64_t pen, InkDataHandle** out) {
  if (!out) return STF2_INVALID_ARGUMENT;
  *out = nullptr;
  return Guarded([&] {
    auto ink = std::make_unique<InkDataHandle>();
    ink->pen = pen;
    *out = ink.release();
    return STF2_SUCCESS;
  });
}

int Stf2InkDataAddProperty(InkDataHandle* ink, const char* key, const char* value) {
  const PropertyValues values{ViewOf(key), ViewOf(value)};
  if (!ink || !key || !IsText(values.key) || !IsText(values.value)) return STF2_INVALID_ARGUMENT;
  return Add(*ink, values);
}

int Stf2InkDataAddMarker(InkDataHandle* ink, const char* page, uint64_t time_ms, const char* name) {
  const MarkerValues values{ViewOf(page), time_ms, ViewOf(name)};
  if (!ink || !IsText(values.page) || !IsText(values.name)) return STF2_INVALID_ARGUMENT;
  return Add(*ink, values);
}

int Stf2InkDataAddStroke(InkDataHandle* ink, const char* page, uint64_t start_time_ms,
                         const Stf2Sample* samples, uint32_t count, uint32_t color,
                         uint32_t width_um) {
  const StrokeValues values{ViewOf(page), start_time_ms, samples, count, color, width_um};
  if (!ink || !IsText(values.page)) return STF2_INVALID_ARGUMENT;
  if (count != 0 && !samples) return STF2_INVALID_ARGUMENT;
  return Add(*ink, values);
}

int Stf2InkDataMergeInkItems(InkDataHandle* ink, InkItemHandle* const* items, uint32_t count) {
  if (!ink || (!items && count != 0)) return STF2_INVALID_ARGUMENT;
  if (std::find(items, items + count, nullptr) != items + count) return STF2_INVALID_ARGUMENT;
  if (count == 0) return STF2_SUCCESS;
  return Guarded([&] {
    Append(*ink, Write(items, count));
    return STF2_SUCCESS;
  });
}

int Stf2WriterWriteDataHandle(const InkDataHandle* ink, void** out, uint32_t* size) {
  if (out) *out = nullptr;
  if (size) *size = 0;
  if (!ink || !out || !size) return STF2_INVALID_ARGUMENT;
  return Guarded([&] {
    Data data = Write(*ink);
    *size = data.size;
    *out = data.bytes.release();
    return STF2_SUCCESS;
  });
}
