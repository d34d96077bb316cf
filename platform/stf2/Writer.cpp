#include "Writer.h"

#include <algorithm>
#include <stdexcept>

namespace Talvo::Stf2 {
namespace {

// Upper bounds, padding included.
constexpr std::uint64_t kStringOverhead = 12;  // length, terminator
constexpr std::uint64_t kVectorOverhead = 8;
constexpr std::uint64_t kItemOverhead = 24;  // slot in the list, Item table
constexpr std::uint64_t kBodyOverhead = 40;  // the largest body, a stroke
constexpr std::uint64_t kInkOverhead = 128;  // identifier, root, list, notes of the builder
// The layouts of an item and its body, which items share: there are no more than 50 different ones.
constexpr std::uint64_t kLayoutOverhead = 40;
constexpr std::uint64_t kLayouts = 50;

constexpr std::size_t kMaxSharedPage = 64;

std::uint64_t WrittenString(std::string_view string) {
  return string.data() ? kStringOverhead + string.size() : 0;
}

PropertyValues ValuesOf(const Format::Property& property) {
  return {View(property.key()), View(property.value())};
}

MarkerValues ValuesOf(const Format::Marker& marker) {
  return {View(marker.page()), marker.time(), View(marker.name())};
}

StrokeValues ValuesOf(const Format::Stroke& stroke) {
  std::uint32_t count = 0;
  const Stf2Sample* samples = Samples(stroke, count);
  return {View(stroke.page()), stroke.start_time(), samples, count, stroke.color(), stroke.width()};
}

std::size_t Capacity(std::uint64_t written_size, std::uint64_t count) {
  const std::uint64_t capacity =
      written_size + kInkOverhead + kLayoutOverhead * std::min(count, kLayouts);
  if (capacity >= FLATBUFFERS_MAX_BUFFER_SIZE) throw std::length_error("ink of 2 GiB or more");
  return static_cast<std::size_t>(capacity);
}

}  // namespace

std::uint64_t WrittenSize(const PropertyValues& property) {
  return kItemOverhead + kBodyOverhead + WrittenString(property.key) +
         WrittenString(property.value);
}

std::uint64_t WrittenSize(const MarkerValues& marker) {
  return kItemOverhead + kBodyOverhead + WrittenString(marker.page) + WrittenString(marker.name);
}

std::uint64_t WrittenSize(const StrokeValues& stroke) {
  return kItemOverhead + kBodyOverhead + WrittenString(stroke.page) + kVectorOverhead +
         std::uint64_t{stroke.count} * sizeof(Stf2Sample);
}

std::uint64_t WrittenSize(const Item& item) {
  if (const auto* property = item.body_as_Property()) return WrittenSize(ValuesOf(*property));
  if (const auto* marker = item.body_as_Marker()) return WrittenSize(ValuesOf(*marker));
  return WrittenSize(ValuesOf(*item.body_as_Stroke()));
}

Writer::Writer(std::uint64_t written_size, std::uint64_t count)
    : builder_(Capacity(written_size, count), &allocator_) {
  items_.reserve(static_cast<std::size_t>(count));
  // The buffer's start is aligned for 64-bit fields even if it holds none, so that what was
  // written can always be read in place.
  builder_.TrackMinAlign(sizeof(std::uint64_t));
}

void Writer::Write(const PropertyValues& property) {
  const auto key = WriteString(property.key);
  const auto value = WriteString(property.value);
  AddItem(ItemBody::Property, Format::CreateProperty(builder_, key, value).Union());
}

void Writer::Write(const MarkerValues& marker) {
  const auto page = WritePage(marker.page);
  const auto name = WriteString(marker.name);
  AddItem(ItemBody::Marker, Format::CreateMarker(builder_, page, marker.time, name).Union());
}

void Writer::Write(const StrokeValues& stroke) {
  const auto page = WritePage(stroke.page);
  flatbuffers::Offset<flatbuffers::Vector<const Format::Sample*>> samples;
  if (stroke.count) {
    samples = builder_.CreateVectorOfStructs(
        reinterpret_cast<const Format::Sample*>(stroke.samples), stroke.count);
  }
  AddItem(ItemBody::Stroke, Format::CreateStroke(builder_, page, stroke.start_time, samples,
                                                 stroke.color, stroke.width)
                                .Union());
}

void Writer::Write(const Item& item) {
  if (const auto* property = item.body_as_Property()) return Write(ValuesOf(*property));
  if (const auto* marker = item.body_as_Marker()) return Write(ValuesOf(*marker));
  Write(ValuesOf(*item.body_as_Stroke()));
}

Data Writer::Finish(std::uint64_t pen) {
  flatbuffers::Offset<StoredItems> items;
  if (!items_.empty()) items = builder_.CreateVector(items_);
  Format::FinishInkDataBuffer(builder_, Format::CreateInkData(builder_, pen, items));
  return TakeData(builder_);
}

flatbuffers::Offset<flatbuffers::String> Writer::WriteString(std::string_view string) {
  if (!string.data()) return 0;
  return builder_.CreateString(string.data(), string.size());
}

flatbuffers::Offset<flatbuffers::String> Writer::WritePage(std::string_view page) {
  if (!page.data()) return 0;
  // Longer ones could share more text than a reader grants a buffer of that size.
  if (page.size() > kMaxSharedPage) return WriteString(page);
  return builder_.CreateSharedString(page.data(), page.size());
}

void Writer::AddItem(ItemBody type, flatbuffers::Offset<void> body) {
  items_.push_back(Format::CreateItem(builder_, type, body));
}

}  // namespace Talvo::Stf2
