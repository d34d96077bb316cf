// The check that comes before everything else. Afterwards every offset leads into the buffer, every
// string is text, and everything that is done with the ink costs in proportion to the buffer.

#include "Ink.h"
#include "Text.h"

namespace Talvo::Stf2 {
namespace {

// Offsets may lead to the same place any number of times, so a few megabytes can claim to be
// terabytes of ink. Honest ink shares nothing but strings, hence two budgets.
//
// Items and samples: together no larger than the buffer. An item takes at least its slot in the
// list (4), its table (9) and its body (4).
constexpr std::uint64_t kItemBytes = 17;
constexpr std::uint64_t kSampleBytes = sizeof(Stf2Sample);

// Strings, counted for each item that refers to them: at most four times the buffer. An item that
// takes 28 bytes can so share a page address of 112, twice the longest that there is.
constexpr std::uint64_t kStringShare = 4;

class Budget {
 public:
  explicit Budget(std::uint64_t size) : items_left_(size), strings_left_(size * kStringShare) {}

  bool TakeItem(std::uint64_t samples) {
    return Take(items_left_, kItemBytes + samples * kSampleBytes);
  }

  bool TakeString(const flatbuffers::String* string) {
    return !string || (Take(strings_left_, string->size()) && IsText(View(string)));
  }

 private:
  static bool Take(std::uint64_t& left, std::uint64_t amount) {
    if (amount > left) return false;
    left -= amount;
    return true;
  }

  std::uint64_t items_left_;
  std::uint64_t strings_left_;
};

// An item without a body is none of the three.
bool CheckItem(const Item& item, Budget& budget) {
  std::uint32_t samples = 0;
  if (const auto* property = item.body_as_Property()) {
    return budget.TakeItem(0) && budget.TakeString(property->key()) &&
           budget.TakeString(property->value());
  }
  if (const auto* marker = item.body_as_Marker()) {
    return budget.TakeItem(0) && budget.TakeString(marker->page()) &&
           budget.TakeString(marker->name());
  }
  if (const auto* stroke = item.body_as_Stroke()) {
    Samples(*stroke, samples);
    return budget.TakeItem(samples) && budget.TakeString(stroke->page());
  }
  return false;
}

flatbuffers::Verifier::Options VerifierOptions() {
  flatbuffers::Verifier::Options options;
  options.max_depth = 3;                                                    // ink, item, body
  options.max_tables = std::numeric_limits<flatbuffers::uoffset_t>::max();  // the budget's matter
  return options;
}

}  // namespace

int CheckInk(const std::uint8_t* data, std::uint32_t size, const Format::InkData** root) {
  if (size < flatbuffers::kFileIdentifierLength + sizeof(flatbuffers::uoffset_t))
    return STF2_MALFORMED;
  if (flatbuffers::BufferHasIdentifier(data, "STFE")) return STF2_ENCRYPTED;
  if (size >= FLATBUFFERS_MAX_BUFFER_SIZE) return STF2_MALFORMED;
  flatbuffers::Verifier verifier(data, size, VerifierOptions());
  if (!Format::VerifyInkDataBuffer(verifier)) return STF2_MALFORMED;
  const Format::InkData* ink = Format::GetInkData(data);
  if (const StoredItems* items = ink->items()) {
    Budget budget(size);
    for (const Item* item : *items) {
      if (!CheckItem(*item, budget)) return STF2_MALFORMED;
    }
  }
  *root = ink;
  return STF2_SUCCESS;
}

}  // namespace Talvo::Stf2
