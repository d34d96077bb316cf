// Opening ink, reading it, and releasing what was handed out.

#include "Stf2.h"

#include <cstring>
#include <string>

#include "Ink.h"
#include "TalvoCppUtils/PenId.h"

using namespace Talvo::Stf2;

// Made with the array of pointers to it, in one block.
struct SampleHandle {
  const Stf2Sample* sample;
  std::uint64_t start_time;  // of its stroke
};

namespace {

typedef Format::Property Property;
typedef Format::Marker Marker;
typedef Format::Stroke Stroke;

// The item's body, null if it is of another type.
template <class Body>
const Body* BodyAs(const InkItemHandle* item) {
  return item ? FromHandle(item)->body_as<Body>() : nullptr;
}

// An array of handles for the caller. Raises std::bad_alloc.
template <class Handle>
Handle** NewArray(std::size_t count, std::size_t further_bytes = 0) {
  return static_cast<Handle**>(::operator new(count * sizeof(Handle*) + further_bytes));
}

template <class Pointer>
int ReleaseBlock(Pointer* block) {
  if (!block) return STF2_INVALID_ARGUMENT;
  ::operator delete(*block);
  *block = nullptr;
  return STF2_SUCCESS;
}

// For handles that have no memory of their own.
template <class Handle>
int Forget(Handle** handle) {
  if (!handle) return STF2_INVALID_ARGUMENT;
  *handle = nullptr;
  return STF2_SUCCESS;
}

int CopyString(std::string_view string, char** out) {
  return Guarded([&] {
    if (!string.data()) return STF2_SUCCESS;
    char* copy = static_cast<char*>(::operator new(string.size() + 1));
    std::memcpy(copy, string.data(), string.size());
    copy[string.size()] = '\0';
    *out = copy;
    return STF2_SUCCESS;
  });
}

template <class Body>
int GetString(const InkItemHandle* item, const flatbuffers::String* (Body::*string)() const,
              char** out) {
  if (!out) return STF2_INVALID_ARGUMENT;
  *out = nullptr;
  const Body* body = BodyAs<Body>(item);
  return body ? CopyString(View((body->*string)()), out) : STF2_INVALID_ARGUMENT;
}

template <class Body, class Number>
int GetNumber(const InkItemHandle* item, Number (Body::*number)() const, Number* out) {
  if (!out) return STF2_INVALID_ARGUMENT;
  *out = 0;
  const Body* body = BodyAs<Body>(item);
  if (!body) return STF2_INVALID_ARGUMENT;
  *out = (body->*number)();
  return STF2_SUCCESS;
}

// The sample of a coordinate, null for others.
const Stf2Sample* CoordinateOf(const SampleHandle* handle) {
  return handle && handle->sample->type == STF2_SAMPLE_COORDINATE ? handle->sample : nullptr;
}

bool IsAligned(const void* data) {
  return reinterpret_cast<std::uintptr_t>(data) % alignof(std::uint64_t) == 0;
}

}  // namespace

int Stf2InkDataInitialize(const void* data, uint32_t size, InkDataHandle** out) {
  if (out) *out = nullptr;
  if (!data || !out) return STF2_INVALID_ARGUMENT;
  return Guarded([&] {
    auto ink = std::make_unique<InkDataHandle>();
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    if (!IsAligned(data)) {
      ink->additions = std::make_shared<Additions>();
      ink->additions->data.push_back(CopyData(data, size));
      bytes = ink->additions->data.back().bytes.get();
    }
    const Format::InkData* root = nullptr;
    const int status = CheckInk(bytes, size, &root);
    if (status != STF2_SUCCESS) return status;
    ink->pen = root->pen();
    ink->stored = root->items();
    *out = ink.release();
    return int{STF2_SUCCESS};
  });
}

int Stf2InkDataGetPenId(const InkDataHandle* ink, uint64_t* out) {
  if (out) *out = 0;
  if (!ink || !out) return STF2_INVALID_ARGUMENT;
  *out = ink->pen;
  return STF2_SUCCESS;
}

int Stf2InkDataGetPenIdAsString(const InkDataHandle* ink, char** out) {
  if (out) *out = nullptr;
  if (!ink || !out) return STF2_INVALID_ARGUMENT;
  return Guarded([&] { return CopyString(TalvoCppUtils::PenId(ink->pen).string(), out); });
}

int Stf2InkDataGetItems(const InkDataHandle* ink, InkItemHandle*** out, uint32_t* count) {
  if (out) *out = nullptr;
  if (count) *count = 0;
  if (!ink || !out || !count) return STF2_INVALID_ARGUMENT;
  return Guarded([&] {
    const std::uint64_t items = CountItems(*ink);
    if (items == 0) return STF2_SUCCESS;
    if (items > std::numeric_limits<std::uint32_t>::max()) return STF2_OUT_OF_MEMORY;
    *out = NewArray<InkItemHandle>(static_cast<std::size_t>(items));
    ForEachItem(*ink, [next = *out](const Item& item) mutable { *next++ = ToHandle(&item); });
    *count = static_cast<std::uint32_t>(items);
    return STF2_SUCCESS;
  });
}

int Stf2InkItemGetType(const InkItemHandle* item, uint32_t* out) {
  if (out) *out = 0;
  if (!item || !out) return STF2_INVALID_ARGUMENT;
  *out = static_cast<std::uint32_t>(FromHandle(item)->body_type());
  return STF2_SUCCESS;
}

int Stf2StrokeItemGetPageAddressAsString(const InkItemHandle* stroke, char** out) {
  return GetString(stroke, &Stroke::page, out);
}

int Stf2PropertyItemGetKeyAsString(const InkItemHandle* property, char** out) {
  return GetString(property, &Property::key, out);
}

int Stf2PropertyItemGetValueAsString(const InkItemHandle* property, char** out) {
  return GetString(property, &Property::value, out);
}

int Stf2MarkerItemGetPageAddressAsString(const InkItemHandle* marker, char** out) {
  return GetString(marker, &Marker::page, out);
}

int Stf2MarkerItemGetNameAsString(const InkItemHandle* marker, char** out) {
  return GetString(marker, &Marker::name, out);
}

int Stf2MarkerItemGetTime(const InkItemHandle* marker, uint64_t* out) {
  return GetNumber(marker, &Marker::time, out);
}

int Stf2StrokeItemGetStartTime(const InkItemHandle* stroke, uint64_t* out) {
  return GetNumber(stroke, &Stroke::start_time, out);
}

int Stf2StrokeItemGetColor(const InkItemHandle* stroke, uint32_t* out) {
  return GetNumber(stroke, &Stroke::color, out);
}

int Stf2StrokeItemGetWidth(const InkItemHandle* stroke, uint32_t* out) {
  return GetNumber(stroke, &Stroke::width, out);
}

int Stf2StrokeItemViewSamples(const InkItemHandle* stroke, const Stf2Sample** out,
                              uint32_t* count) {
  if (out) *out = nullptr;
  if (count) *count = 0;
  const Stroke* body = BodyAs<Stroke>(stroke);
  if (!body || !out || !count) return STF2_INVALID_ARGUMENT;
  *out = Samples(*body, *count);
  return STF2_SUCCESS;
}

int Stf2StrokeItemGetSamples(const InkItemHandle* stroke, SampleHandle*** out, uint32_t* count) {
  if (out) *out = nullptr;
  const Stf2Sample* samples = nullptr;
  std::uint32_t found = 0;
  if (count) *count = 0;
  if (!out || !count || Stf2StrokeItemViewSamples(stroke, &samples, &found) != STF2_SUCCESS) {
    return STF2_INVALID_ARGUMENT;
  }
  return Guarded([&] {
    if (found == 0) return STF2_SUCCESS;
    const std::size_t handle_bytes = found * sizeof(SampleHandle);
    SampleHandle** array = NewArray<SampleHandle>(found, handle_bytes);
    auto* handles = reinterpret_cast<SampleHandle*>(array + found);
    const std::uint64_t start_time = BodyAs<Stroke>(stroke)->start_time();
    for (std::uint32_t i = 0; i < found; ++i) {
      array[i] = new (handles + i) SampleHandle{samples + i, start_time};
    }
    *out = array;
    *count = found;
    return STF2_SUCCESS;
  });
}

int Stf2SampleGetType(const SampleHandle* sample, uint32_t* out) {
  if (out) *out = 0;
  if (!sample || !out) return STF2_INVALID_ARGUMENT;
  *out = sample->sample->type;
  return STF2_SUCCESS;
}

int Stf2CoordinateGetTime(const SampleHandle* sample, uint64_t* out) {
  if (out) *out = 0;
  const Stf2Sample* coordinate = CoordinateOf(sample);
  if (!coordinate || !out) return STF2_INVALID_ARGUMENT;
  if (!(coordinate->flags & STF2_SAMPLE_HAS_TIME) || sample->start_time == 0) return STF2_SUCCESS;
  if (__builtin_add_overflow(sample->start_time, coordinate->time_offset_ms, out)) *out = 0;
  return STF2_SUCCESS;
}

int Stf2CoordinateGetPosition(const SampleHandle* sample, int32_t* x_um, int32_t* y_um) {
  if (x_um) *x_um = 0;
  if (y_um) *y_um = 0;
  const Stf2Sample* coordinate = CoordinateOf(sample);
  if (!coordinate || !x_um || !y_um) return STF2_INVALID_ARGUMENT;
  *x_um = coordinate->x_um;
  *y_um = coordinate->y_um;
  return STF2_SUCCESS;
}

int Stf2CoordinateGetForce(const SampleHandle* sample, uint16_t* out) {
  if (out) *out = 0;
  const Stf2Sample* coordinate = CoordinateOf(sample);
  if (!coordinate || !out) return STF2_INVALID_ARGUMENT;
  *out = coordinate->force;
  return STF2_SUCCESS;
}

int Stf2InkDataFreeHandle(InkDataHandle** ink) {
  if (!ink) return STF2_INVALID_ARGUMENT;
  delete *ink;
  *ink = nullptr;
  return STF2_SUCCESS;
}

int Stf2InkDataFreeHandles(InkDataHandle*** array) {
  return ReleaseBlock(array);
}

int Stf2InkItemFreeHandle(InkItemHandle** item) {
  return Forget(item);
}

int Stf2InkItemFreeHandles(InkItemHandle*** array) {
  return ReleaseBlock(array);
}

int Stf2SampleFreeHandle(SampleHandle** sample) {
  return Forget(sample);
}

int Stf2SampleFreeHandles(SampleHandle*** array) {
  return ReleaseBlock(array);
}

int Stf2FreeString(char** string) {
  return ReleaseBlock(string);
}

int Stf2WriterFreeData(void* data) {
  ReleaseData(data);
  return STF2_SUCCESS;
}
