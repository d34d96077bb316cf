#include "support/InkFile.h"

#include <TalvoEncryption/Encryption.h>

#include <stdexcept>

namespace {

void Check(int status, const char* what) {
  if (status != 0) throw std::runtime_error(std::string(what) + ": " + std::to_string(status));
}

Stf2Sample Sample(std::uint8_t type, std::uint32_t offset_ms, std::uint8_t flags) {
  return {offset_ms, 20000, 30000, 32768, type, flags};
}

std::string Taken(void* data, std::uint32_t size) {
  return std::string(static_cast<const char*>(data), size);
}

StrokeInInk Read(const InkItemHandle* item) {
  StrokeInInk stroke;
  char* page = nullptr;
  Check(Stf2StrokeItemGetPageAddressAsString(item, &page), "page address");
  if (page != nullptr) stroke.page = page;
  Stf2FreeString(&page);
  Check(Stf2StrokeItemGetStartTime(item, &stroke.start_time_ms), "start time");
  return stroke;
}

}  // namespace

InkFile::InkFile(std::uint64_t pen) {
  Check(Stf2InkDataCreate(pen, &ink_), "creating ink");
}

InkFile::~InkFile() {
  Stf2InkDataFreeHandle(&ink_);
}

InkFile& InkFile::AddStroke(const char* page, std::uint64_t start_time_ms) {
  return AddStroke(
      page, start_time_ms,
      {Sample(STF2_SAMPLE_PEN_DOWN, 0, 0), Sample(STF2_SAMPLE_COORDINATE, 0, STF2_SAMPLE_HAS_TIME),
       Sample(STF2_SAMPLE_COORDINATE, 10, STF2_SAMPLE_HAS_TIME),
       Sample(STF2_SAMPLE_PEN_UP, 10, 0)});
}

InkFile& InkFile::AddStroke(const char* page, std::uint64_t start_time_ms,
                            const std::vector<Stf2Sample>& samples) {
  Check(Stf2InkDataAddStroke(ink_, page, start_time_ms, samples.data(),
                             static_cast<std::uint32_t>(samples.size()), 0xFF000000, 0),
        "adding a stroke");
  return *this;
}

InkFile& InkFile::AddProperty(const char* key, const char* value) {
  Check(Stf2InkDataAddProperty(ink_, key, value), "adding a property");
  return *this;
}

InkFile& InkFile::AddMarker(const char* page, std::uint64_t time_ms, const char* name) {
  Check(Stf2InkDataAddMarker(ink_, page, time_ms, name), "adding a marker");
  return *this;
}

std::string InkFile::bytes() const {
  void* data = nullptr;
  std::uint32_t size = 0;
  Check(Stf2WriterWriteDataHandle(ink_, &data, &size), "writing ink");
  const std::string bytes = Taken(data, size);
  Stf2WriterFreeData(data);
  return bytes;
}

std::string Seal(const std::string& ink) {
  std::uint8_t public_key[TALVO_KEY_BYTES];
  std::uint8_t secret_key[TALVO_KEY_BYTES];
  Check(CreateKeyPair(public_key, secret_key), "making keys");
  std::uint8_t* data = nullptr;
  std::uint32_t size = 0;
  Check(SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()), public_key, &data, &size),
        "sealing ink");
  const std::string bytes = Taken(data, size);
  FreeBuffer(&data);
  return bytes;
}

std::vector<StrokeInInk> StrokesOf(const std::string& ink) {
  InkDataHandle* handle = nullptr;
  Check(Stf2InkDataInitialize(ink.data(), static_cast<std::uint32_t>(ink.size()), &handle),
        "reading ink");
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  Check(Stf2InkDataGetItems(handle, &items, &count), "items");
  std::vector<StrokeInInk> strokes;
  for (std::uint32_t i = 0; i < count; ++i) {
    std::uint32_t type = 0;
    Check(Stf2InkItemGetType(items[i], &type), "item type");
    if (type == STF2_ITEM_STROKE) strokes.push_back(Read(items[i]));
    Stf2InkItemFreeHandle(&items[i]);
  }
  Stf2InkItemFreeHandles(&items);
  Stf2InkDataFreeHandle(&handle);
  return strokes;
}
