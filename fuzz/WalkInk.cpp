#include "WalkInk.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Stf2.h"
#include "TalvoEncryption/Encryption.h"

// A key pair like any other; its secret key is 0x01, 0x02, .. 0x20.
const std::uint8_t kFuzzSecretKey[32] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                         12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22,
                                         23, 24, 25, 26, 27, 28, 29, 30, 31, 32};
const std::uint8_t kFuzzPublicKey[32] = {
    0x07, 0xa3, 0x7c, 0xbc, 0x14, 0x20, 0x93, 0xc8, 0xb7, 0x55, 0xdc, 0x1b, 0x10, 0xe8, 0x6c, 0xb4,
    0x26, 0x37, 0x4a, 0xd1, 0x6a, 0xa8, 0x53, 0xed, 0x0b, 0xdf, 0xc0, 0xb2, 0xb8, 0x6d, 0x1c, 0x7c};

namespace {

// Parts beyond these are read but not written, so that one input stays quick.
constexpr std::uint32_t kWrittenParts = 16;

void Expect(bool condition, const char* promise) {
  if (condition) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}

// What was read of ink, in one number and a few sums.
struct Reading {
  std::uint64_t hash = 14695981039346656037u;
  std::uint64_t items = 0;
  std::uint64_t strokes = 0;
  std::uint64_t sample_bytes = 0;

  void Add(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 1099511628211u;
  }
  void Add(std::uint64_t number) { Add(&number, sizeof number); }
};

typedef int (*GetString)(const InkItemHandle*, char**);

void ReadString(const InkItemHandle* item, GetString get, Reading& reading) {
  char* string = nullptr;
  Expect(get(item, &string) == STF2_SUCCESS, "a string can be read");
  reading.Add(string != nullptr);
  if (string) reading.Add(string, std::strlen(string) + 1);
  Stf2FreeString(&string);
}

void ReadSample(const SampleHandle* sample, const Stf2Sample& view, Reading& reading) {
  std::uint32_t type = 0;
  std::uint64_t time = 0;
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::uint16_t force = 0;
  Expect(Stf2SampleGetType(sample, &type) == STF2_SUCCESS && type == view.type, "both ways agree");
  const int expected =
      type == STF2_SAMPLE_COORDINATE ? int{STF2_SUCCESS} : int{STF2_INVALID_ARGUMENT};
  Expect(Stf2CoordinateGetTime(sample, &time) == expected, "only coordinates have a time");
  Expect(Stf2CoordinateGetPosition(sample, &x, &y) == expected, "only coordinates have a position");
  Expect(Stf2CoordinateGetForce(sample, &force) == expected, "only coordinates have a force");
  if (expected == STF2_SUCCESS) {
    Expect(x == view.x_um && y == view.y_um && force == view.force, "both ways agree");
  }
  reading.Add(time);
  reading.Add(&view, sizeof view);
}

void ReadSamples(const InkItemHandle* stroke, Reading& reading) {
  const Stf2Sample* views = nullptr;
  SampleHandle** samples = nullptr;
  std::uint32_t view_count = 0;
  std::uint32_t count = 0;
  Expect(Stf2StrokeItemViewSamples(stroke, &views, &view_count) == STF2_SUCCESS,
         "samples are seen");
  Expect(Stf2StrokeItemGetSamples(stroke, &samples, &count) == STF2_SUCCESS, "samples are got");
  Expect(count == view_count, "both ways agree");
  for (std::uint32_t i = 0; i < count; ++i) {
    ReadSample(samples[i], views[i], reading);
    Stf2SampleFreeHandle(&samples[i]);
  }
  Stf2SampleFreeHandles(&samples);
  reading.sample_bytes += std::uint64_t{count} * sizeof(Stf2Sample);
}

void ReadItem(const InkItemHandle* item, Reading& reading) {
  std::uint32_t type = 0;
  std::uint64_t time = 0;
  std::uint32_t color = 0;
  std::uint32_t width = 0;
  Expect(Stf2InkItemGetType(item, &type) == STF2_SUCCESS, "an item has a type");
  if (type == STF2_ITEM_PROPERTY) {
    ReadString(item, Stf2PropertyItemGetKeyAsString, reading);
    ReadString(item, Stf2PropertyItemGetValueAsString, reading);
  } else if (type == STF2_ITEM_MARKER) {
    ReadString(item, Stf2MarkerItemGetPageAddressAsString, reading);
    ReadString(item, Stf2MarkerItemGetNameAsString, reading);
    Expect(Stf2MarkerItemGetTime(item, &time) == STF2_SUCCESS, "a marker has a time");
  } else {
    Expect(type == STF2_ITEM_STROKE, "items of other types are malformed");
    ++reading.strokes;
    ReadString(item, Stf2StrokeItemGetPageAddressAsString, reading);
    Expect(Stf2StrokeItemGetStartTime(item, &time) == STF2_SUCCESS &&
               Stf2StrokeItemGetColor(item, &color) == STF2_SUCCESS &&
               Stf2StrokeItemGetWidth(item, &width) == STF2_SUCCESS,
           "a stroke has time, colour and width");
    ReadSamples(item, reading);
  }
  reading.Add(type);
  reading.Add(time);
  reading.Add(color);
  reading.Add(width);
}

Reading ReadInk(const InkDataHandle* ink) {
  Reading reading;
  std::uint64_t pen = 0;
  Expect(Stf2InkDataGetPenId(ink, &pen) == STF2_SUCCESS, "ink has a pen");
  reading.Add(pen);
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  Expect(Stf2InkDataGetItems(ink, &items, &count) == STF2_SUCCESS, "ink has a list of items");
  for (std::uint32_t i = 0; i < count; ++i) {
    ReadItem(items[i], reading);
    Stf2InkItemFreeHandle(&items[i]);
  }
  Stf2InkItemFreeHandles(&items);
  reading.items = count;
  return reading;
}

// Writes the ink, reads that, and writes it again.
void WriteAndRead(const InkDataHandle* ink, const Reading& expected) {
  void* data = nullptr;
  void* data_again = nullptr;
  std::uint32_t size = 0;
  std::uint32_t size_again = 0;
  InkDataHandle* read = nullptr;
  Expect(Stf2WriterWriteDataHandle(ink, &data, &size) == STF2_SUCCESS, "ink can be written");
  Expect(Stf2InkDataInitialize(data, size, &read) == STF2_SUCCESS, "what was written is ink");
  Expect(ReadInk(read).hash == expected.hash, "what was written reads as the same items");
  Expect(Stf2WriterWriteDataHandle(read, &data_again, &size_again) == STF2_SUCCESS, "and again");
  Expect(size == size_again && std::memcmp(data, data_again, size) == 0,
         "what was written is written again as the same bytes");
  Stf2InkDataFreeHandle(&read);
  Stf2WriterFreeData(data);
  Stf2WriterFreeData(data_again);
}

void SplitAndRead(const InkDataHandle* ink, const Reading& whole) {
  InkDataHandle** parts = nullptr;
  std::uint32_t count = 0;
  Expect(Stf2InkDataSplit(ink, &parts, &count) == STF2_SUCCESS, "small ink can be split");
  Expect((count == 0) == (whole.strokes == 0), "ink without strokes has no part");
  std::uint64_t strokes = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    const Reading part = ReadInk(parts[i]);
    Expect(part.strokes > 0, "every part has strokes");
    strokes += part.strokes;
    if (i < kWrittenParts) WriteAndRead(parts[i], part);
    Stf2InkDataFreeHandle(&parts[i]);
  }
  Stf2InkDataFreeHandles(&parts);
  Expect(strokes == whole.strokes, "every stroke is in one part");
}

void MergeAndRead(const InkDataHandle* ink, const Reading& whole) {
  InkDataHandle* base = nullptr;
  InkItemHandle** items = nullptr;
  std::uint32_t count = 0;
  std::uint64_t pen = 0;
  Stf2InkDataGetPenId(ink, &pen);
  Expect(Stf2InkDataGetItems(ink, &items, &count) == STF2_SUCCESS, "ink has a list of items");
  Expect(Stf2InkDataCreate(pen, &base) == STF2_SUCCESS, "ink can be made");
  Expect(Stf2InkDataMergeInkItems(base, items, count) == STF2_SUCCESS, "items can be merged");
  Expect(ReadInk(base).hash == whole.hash, "merging copies every value");
  Stf2InkItemFreeHandles(&items);
  Stf2InkDataFreeHandle(&base);
}

// Seals ink and opens it again.
void SealAndOpen(const std::uint8_t* data, std::uint32_t size) {
  std::uint8_t* sealed = nullptr;
  std::uint8_t* opened = nullptr;
  std::uint32_t sealed_size = 0;
  std::uint32_t opened_size = 0;
  if (SealInkData(data, size, kFuzzPublicKey, &sealed, &sealed_size) != TALVO_ENCRYPTION_SUCCESS)
    return;
  Expect(OpenInkData(sealed, sealed_size, kFuzzPublicKey, kFuzzSecretKey, &opened, &opened_size) ==
             TALVO_ENCRYPTION_SUCCESS,
         "sealed ink opens");
  Expect(opened_size == size && std::memcmp(opened, data, size) == 0,
         "opened ink is what was sealed");
  FreeBuffer(&sealed);
  FreeBuffer(&opened);
}

}  // namespace

int WalkInk(const std::uint8_t* data, std::size_t size) {
  InkDataHandle* ink = nullptr;
  const int status = Stf2InkDataInitialize(data, static_cast<std::uint32_t>(size), &ink);
  Expect((status == STF2_SUCCESS) == (ink != nullptr), "a handle comes with success alone");
  if (!ink) return status;
  const Reading whole = ReadInk(ink);
  Expect(whole.items <= size && whole.sample_bytes <= size, "ink holds no more than its bytes");
  WriteAndRead(ink, whole);
  MergeAndRead(ink, whole);
  SplitAndRead(ink, whole);
  Stf2InkDataFreeHandle(&ink);
  return status;
}

int WalkSealed(const std::uint8_t* data, std::size_t size) {
  const auto length = static_cast<std::uint32_t>(size);
  std::uint8_t* pen = nullptr;
  std::uint8_t* recipient = nullptr;
  std::uint8_t* ink = nullptr;
  std::uint8_t algorithm = 0;
  std::uint32_t ink_size = 0;
  const int info = GetEncryptedDataInfo(data, length, &pen, &recipient, &algorithm);
  Expect((info == TALVO_ENCRYPTION_SUCCESS) == (pen && recipient),
         "buffers come with success alone");
  const int status = OpenInkData(data, length, kFuzzPublicKey, kFuzzSecretKey, &ink, &ink_size);
  if (status == TALVO_ENCRYPTION_SUCCESS) {
    Expect(info == TALVO_ENCRYPTION_SUCCESS && algorithm == 1, "what opens is well-formed");
    Expect(std::memcmp(recipient, kFuzzPublicKey, TALVO_KEY_BYTES) == 0,
           "what opens is for this key");
    Expect(WalkInk(ink, ink_size) == STF2_SUCCESS, "what opens is ink");
  }
  FreeBuffer(&pen);
  FreeBuffer(&recipient);
  FreeBuffer(&ink);
  SealAndOpen(data, length);
  return status;
}
