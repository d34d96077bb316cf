#include "ink/Stf2Fault.h"

#include <vector>

#include "ink/Text.h"
#include "stf2_generated.h"

namespace TalvoInk {
namespace {

using Talvo::Stf2::Format::InkData;
using Talvo::Stf2::Format::Item;

constexpr std::uint64_t kMostText = 4;  // times the file's size, as in the library
const char kTogether[] = "items: together they claim more than a file of this size can hold";

// The list of items, when the way to it lies within the buffer.
const flatbuffers::Vector<flatbuffers::Offset<Item>>* ItemsOf(const std::uint8_t* data,
                                                              flatbuffers::Verifier& verifier) {
  if (!verifier.Verify<flatbuffers::uoffset_t>(0)) return nullptr;
  if (verifier.VerifyOffset(0) == 0) return nullptr;
  const auto* ink = flatbuffers::GetRoot<InkData>(data);
  const auto* table = reinterpret_cast<const flatbuffers::Table*>(ink);
  if (!table->VerifyTableStart(verifier)) return nullptr;
  if (!table->VerifyOffset(verifier, InkData::VT_ITEMS)) return nullptr;
  if (!table->VerifyField<std::uint64_t>(verifier, InkData::VT_PEN, 8)) return nullptr;
  const auto* items = ink->items();
  return verifier.VerifyVector(items) ? items : nullptr;
}

bool IsText(const flatbuffers::String* string) {
  if (string == nullptr) return true;
  const std::string text = string->str();
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = text[at] == '\0' ? 0 : Utf8Length(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

bool HasKnownBody(const Item& item) {
  return item.body_as_Property() != nullptr || item.body_as_Marker() != nullptr ||
         item.body_as_Stroke() != nullptr;
}

// Of an item with a known body.
std::vector<const flatbuffers::String*> StringsOf(const Item& item) {
  if (const auto* property = item.body_as_Property()) return {property->key(), property->value()};
  if (const auto* marker = item.body_as_Marker()) return {marker->page(), marker->name()};
  return {item.body_as_Stroke()->page()};
}

}  // namespace

std::string FaultOf(const std::string& bytes) {
  const std::string malformed = ": no well-formed STF2 ink";
  if (bytes.size() < 8) return "header" + malformed;
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  flatbuffers::Verifier verifier(data, bytes.size());
  const auto* items = ItemsOf(data, verifier);
  if (items == nullptr) return "header" + malformed;
  // Items may share a string; what they claim is looked at no longer than honest ink would need.
  std::uint64_t text_left = kMostText * bytes.size();
  for (flatbuffers::uoffset_t i = 0; i < items->size(); ++i) {
    const std::string place = "item " + std::to_string(i + 1);
    flatbuffers::Verifier fresh(data, bytes.size());
    const Item* item = items->Get(i);
    if (!item->Verify(fresh)) return place + malformed;
    if (!HasKnownBody(*item)) return place + ": none of property, marker and stroke";
    for (const auto* string : StringsOf(*item)) {
      const std::uint64_t size = string == nullptr ? 0 : string->size();
      if (size > text_left) return kTogether;
      text_left -= size;
      if (!IsText(string)) return place + ": a string that is not UTF-8, or holds a zero byte";
    }
  }
  return kTogether;
}

}  // namespace TalvoInk
