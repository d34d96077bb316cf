#include "Stf2Fault.h"

#include "stf2_generated.h"

namespace InkTool {
namespace {

using Talvo::Stf2::Format::InkData;

// The list of items, when the way to it lies within the buffer.
const flatbuffers::Vector<flatbuffers::Offset<Talvo::Stf2::Format::Item>>* ItemsOf(
    const std::uint8_t* data, flatbuffers::Verifier& verifier) {
  if (!verifier.Verify<flatbuffers::uoffset_t>(0)) return nullptr;
  if (verifier.VerifyOffset(0) == 0) return nullptr;
  const auto* ink = flatbuffers::GetRoot<InkData>(data);
  const auto* table = reinterpret_cast<const flatbuffers::Table*>(ink);
  if (!table->VerifyTableStart(verifier)) return nullptr;
  if (!table->VerifyOffset(verifier, InkData::VT_ITEMS)) return nullptr;
  const auto* items = ink->items();
  return verifier.VerifyVector(items) ? items : nullptr;
}

}  // namespace

std::string PlaceOfFault(const std::string& bytes) {
  if (bytes.size() < 8) return "header";
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  flatbuffers::Verifier verifier(data, bytes.size());
  const auto* items = ItemsOf(data, verifier);
  if (items == nullptr) return "header";
  for (flatbuffers::uoffset_t i = 0; i < items->size(); ++i) {
    flatbuffers::Verifier fresh(data, bytes.size());
    const auto* item = items->Get(i);
    if (!item->Verify(fresh) || item->body() == nullptr) return "item " + std::to_string(i + 1);
  }
  return {};
}

}  // namespace InkTool
