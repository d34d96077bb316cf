// The inside of an ink data handle. Every item, wherever it came from, is an Item table of the
// format: one in the caller's buffer, or one in data that the handle owns. So there is one way to
// read an item and one way to write it, and an InkItemHandle is nothing but a pointer to the table.

#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Data.h"
#include "Stf2.h"
#include "stf2_generated.h"

namespace Talvo::Stf2 {

using Format::Item;
using Format::ItemBody;

static_assert(FLATBUFFERS_LITTLEENDIAN, "samples are handed out as they lie in the buffer");
static_assert(sizeof(Stf2Sample) == sizeof(Format::Sample) &&
                  alignof(Stf2Sample) == alignof(Format::Sample),
              "samples are handed out as they lie in the buffer");

typedef flatbuffers::Vector<flatbuffers::Offset<Item>> StoredItems;

// What was added to ink, and the data that it lies in. Items never move.
struct Additions {
  std::vector<const Item*> items;
  std::vector<Data> data;
};

// The outcome of one split, shared by all its parts and unchanging once made: the items that every
// part has, followed by those of each page, page by page. Shared, because an item list of its own
// for each part would cost pages times properties.
struct Pages {
  std::vector<const Item*> items;
  std::vector<std::uint32_t> positions;  // of each item in the ink that was split
  std::vector<std::uint32_t> ends;       // ends[0]: of the common items; ends[n]: of page n
  std::vector<std::shared_ptr<const Additions>> kept;  // what owns the items, if anything does
};

}  // namespace Talvo::Stf2

// The items are those of `stored` or of `pages`, at most one of which is set, and then `additions`.
struct InkDataHandle {
  std::uint64_t pen = 0;
  const Talvo::Stf2::StoredItems* stored = nullptr;
  std::shared_ptr<const Talvo::Stf2::Pages> pages;
  std::uint32_t page = 0;  // which of `pages`, from 1
  std::shared_ptr<Talvo::Stf2::Additions> additions;
};

namespace Talvo::Stf2 {

// Calls visit(const Item&) for each item of the ink in its order. Of a part, the common items and
// the page's own are merged by where they stood.
template <class Visit>
void ForEachItem(const InkDataHandle& ink, Visit&& visit) {
  if (ink.stored) {
    for (const Item* item : *ink.stored) visit(*item);
  }
  if (const Pages* pages = ink.pages.get()) {
    std::uint32_t common = 0;
    const std::uint32_t common_end = pages->ends[0];
    for (std::uint32_t own = pages->ends[ink.page - 1]; own < pages->ends[ink.page]; ++own) {
      for (; common < common_end && pages->positions[common] < pages->positions[own]; ++common) {
        visit(*pages->items[common]);
      }
      visit(*pages->items[own]);
    }
    for (; common < common_end; ++common) visit(*pages->items[common]);
  }
  if (ink.additions) {
    for (const Item* item : ink.additions->items) visit(*item);
  }
}

inline std::uint64_t CountItems(const InkDataHandle& ink) {
  std::uint64_t count = ink.stored ? ink.stored->size() : 0;
  if (const Pages* pages = ink.pages.get()) {
    count += pages->ends[0] + pages->ends[ink.page] - pages->ends[ink.page - 1];
  }
  return count + (ink.additions ? ink.additions->items.size() : 0);
}

inline const Item* FromHandle(const InkItemHandle* item) {
  return reinterpret_cast<const Item*>(item);
}
inline InkItemHandle* ToHandle(const Item* item) {
  return reinterpret_cast<InkItemHandle*>(const_cast<Item*>(item));
}

// A string of an item. One that is absent has null data, an empty one has not.
inline std::string_view View(const flatbuffers::String* string) {
  return string ? std::string_view(string->c_str(), string->size()) : std::string_view();
}

// The samples of a stroke; null if it has none.
inline const Stf2Sample* Samples(const Format::Stroke& stroke, std::uint32_t& count) {
  const auto* samples = stroke.samples();
  count = samples ? samples->size() : 0;
  return count ? reinterpret_cast<const Stf2Sample*>(samples->Data()) : nullptr;
}

// Checks a buffer from its first to its last byte, and that no more is made of it than it holds.
// STF2_SUCCESS and the root, STF2_MALFORMED or STF2_ENCRYPTED. `data` must be aligned to 8 bytes.
int CheckInk(const std::uint8_t* data, std::uint32_t size, const Format::InkData** root);

// Runs the inside of a C function: what it raises becomes a status.
template <class Function>
int Guarded(Function&& function) noexcept {
  try {
    return function();
  } catch (const std::bad_alloc&) {
    return STF2_OUT_OF_MEMORY;
  } catch (const std::length_error&) {
    return STF2_OUT_OF_MEMORY;
  }
}

}  // namespace Talvo::Stf2
