// The buffers that this library hands out as bare pointers. The 16 bytes before one say where its
// block begins and how long it is, so that FreeBuffer can wipe it by its pointer alone.

#pragma once

#include <flatbuffers/flatbuffers.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace Talvo::Encryption {

// Wipes and releases a buffer that was made here; null is fine.
void ReleaseBuffer(std::uint8_t* buffer);

struct BufferReleaser {
  void operator()(std::uint8_t* buffer) const { ReleaseBuffer(buffer); }
};
typedef std::unique_ptr<std::uint8_t, BufferReleaser> Buffer;

// A buffer of `size` bytes, aligned to 16. Ordinary memory, not locked into RAM: ink is up to a
// hundred megabytes and the limit for locked memory mostly 8. Raises std::bad_alloc.
Buffer MakeBuffer(std::size_t size);

// Takes the finished buffer out of a builder that was given a BlockAllocator.
Buffer TakeBuffer(flatbuffers::FlatBufferBuilder& builder, std::uint32_t& size);

// Blocks with room before them for the note of TakeBuffer. Raises std::bad_alloc.
class BlockAllocator : public flatbuffers::Allocator {
 public:
  std::uint8_t* allocate(std::size_t size) override;
  void deallocate(std::uint8_t* block, std::size_t) override;
};

}  // namespace Talvo::Encryption
