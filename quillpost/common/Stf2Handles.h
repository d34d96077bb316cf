// Owners of what the STF2 library hands out: each releases it at the end of its scope.

#pragma once

#include <Stf2.h>

#include <cstdint>

namespace TalvoQuillpost {
namespace Common {

// One value of the library: ink data or a string.
template <typename T, int (*Free)(T**)>
class Stf2Value {
 public:
  Stf2Value() = default;
  ~Stf2Value() { Free(&value_); }
  Stf2Value(const Stf2Value&) = delete;
  Stf2Value& operator=(const Stf2Value&) = delete;

  T* get() const { return value_; }
  T** out() { return &value_; }

 private:
  T* value_ = nullptr;
};

typedef Stf2Value<InkDataHandle, Stf2InkDataFreeHandle> Stf2InkData;
typedef Stf2Value<char, Stf2FreeString> Stf2String;

// An array of handles, each of which is released before the array is.
template <typename T, int (*Free)(T**), int (*FreeArray)(T***)>
class Stf2Array {
 public:
  Stf2Array() = default;
  ~Stf2Array() {
    for (T*& handle : *this) Free(&handle);
    FreeArray(&handles_);
  }
  Stf2Array(const Stf2Array&) = delete;
  Stf2Array& operator=(const Stf2Array&) = delete;

  T*** out() { return &handles_; }
  std::uint32_t* count_out() { return &count_; }

  T** data() { return handles_; }
  std::uint32_t size() const { return count_; }
  T** begin() { return handles_; }
  T** end() { return handles_ + count_; }

 private:
  T** handles_ = nullptr;
  std::uint32_t count_ = 0;
};

typedef Stf2Array<InkDataHandle, Stf2InkDataFreeHandle, Stf2InkDataFreeHandles> Stf2Parts;
typedef Stf2Array<InkItemHandle, Stf2InkItemFreeHandle, Stf2InkItemFreeHandles> Stf2Items;
typedef Stf2Array<SampleHandle, Stf2SampleFreeHandle, Stf2SampleFreeHandles> Stf2Samples;

// Ink that was written: a complete STF2 buffer.
class Stf2Buffer {
 public:
  // Writes the ink; data() is null if that failed.
  explicit Stf2Buffer(const InkDataHandle* ink) { Stf2WriterWriteDataHandle(ink, &data_, &size_); }
  ~Stf2Buffer() { Stf2WriterFreeData(data_); }
  Stf2Buffer(const Stf2Buffer&) = delete;
  Stf2Buffer& operator=(const Stf2Buffer&) = delete;

  const char* data() const { return static_cast<const char*>(data_); }
  std::uint32_t size_bytes() const { return size_; }

 private:
  void* data_ = nullptr;
  std::uint32_t size_ = 0;
};

}  // namespace Common
}  // namespace TalvoQuillpost
