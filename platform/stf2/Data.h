// A finished FlatBuffer that is handed out as a bare pointer: it lies somewhere inside the block
// that it was built in, and the eight bytes before it say where that block begins. So a buffer is
// released by its pointer alone and never moved once it is built.

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstdint>
#include <memory>

namespace Talvo::Stf2 {

// Releases data that was made here; null is fine.
void ReleaseData(void* data);

struct DataReleaser {
  void operator()(std::uint8_t* data) const { ReleaseData(data); }
};

// Data, its size kept beside it. Aligned to 8 bytes.
struct Data {
  std::unique_ptr<std::uint8_t, DataReleaser> bytes;
  std::uint32_t size = 0;
};

// A copy of the bytes. Raises std::bad_alloc.
Data CopyData(const void* bytes, std::uint32_t size);

// Takes the finished buffer out of the builder, which must have been given a DataAllocator.
Data TakeData(flatbuffers::FlatBufferBuilder& builder);

// Blocks with room before them for the note of TakeData. Raises std::bad_alloc.
class DataAllocator : public flatbuffers::Allocator {
 public:
  std::uint8_t* allocate(std::size_t size) override;
  void deallocate(std::uint8_t* block, std::size_t) override;
};

}  // namespace Talvo::Stf2
