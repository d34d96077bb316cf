// Writes items as a complete STF2 buffer. The same items give the same bytes. The buffer is built
// in one block of a size computed beforehand, each sample is copied once, and a page address is
// stored once however many items are on the page.

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "Data.h"
#include "Ink.h"

namespace Talvo::Stf2 {

// The values of items that are not in a buffer yet. A string with null data is absent.
struct PropertyValues {
  std::string_view key;
  std::string_view value;
};
struct MarkerValues {
  std::string_view page;
  std::uint64_t time;
  std::string_view name;
};
struct StrokeValues {
  std::string_view page;
  std::uint64_t start_time;
  const Stf2Sample* samples;
  std::uint32_t count;
  std::uint32_t color;
  std::uint32_t width;
};

// At least the bytes that Write takes for it.
std::uint64_t WrittenSize(const PropertyValues& property);
std::uint64_t WrittenSize(const MarkerValues& marker);
std::uint64_t WrittenSize(const StrokeValues& stroke);
std::uint64_t WrittenSize(const Item& item);

class Writer {
 public:
  // `written_size` is the sum of WrittenSize of all items, `count` their number. Raises
  // std::length_error if that is more than a buffer can hold (2 GiB), std::bad_alloc.
  Writer(std::uint64_t written_size, std::uint64_t count);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Each appends one item. `item` must be a checked one.
  void Write(const PropertyValues& property);
  void Write(const MarkerValues& marker);
  void Write(const StrokeValues& stroke);
  void Write(const Item& item);

  // The buffer; nothing may be written afterwards.
  Data Finish(std::uint64_t pen);

 private:
  flatbuffers::Offset<flatbuffers::String> WriteString(std::string_view string);
  flatbuffers::Offset<flatbuffers::String> WritePage(std::string_view page);
  void AddItem(ItemBody type, flatbuffers::Offset<void> body);

  DataAllocator allocator_;
  flatbuffers::FlatBufferBuilder builder_;
  std::vector<flatbuffers::Offset<Item>> items_;
};

}  // namespace Talvo::Stf2
