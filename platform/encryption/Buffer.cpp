#include "Buffer.h"

#include <sodium.h>

#include <cstring>
#include <new>

namespace Talvo::Encryption {
namespace {

struct Note {
  void* allocation;
  std::size_t size;
};
static_assert(sizeof(Note) % __STDCPP_DEFAULT_NEW_ALIGNMENT__ == 0, "buffers stay aligned");

Buffer NoteBlock(std::uint8_t* block, std::size_t offset, std::size_t size) {
  const Note note{block - sizeof(Note), size};
  std::memcpy(block + offset - sizeof note, &note, sizeof note);
  return Buffer(block + offset);
}

}  // namespace

void ReleaseBuffer(std::uint8_t* buffer) {
  if (!buffer) return;
  Note note;
  std::memcpy(&note, buffer - sizeof note, sizeof note);
  sodium_memzero(buffer, note.size);
  ::operator delete(note.allocation);
}

Buffer MakeBuffer(std::size_t size) {
  return NoteBlock(BlockAllocator().allocate(size), 0, size);
}

Buffer TakeBuffer(flatbuffers::FlatBufferBuilder& builder, std::uint32_t& size) {
  size = builder.GetSize();
  std::size_t block_size = 0;
  std::size_t offset = 0;
  std::uint8_t* block = builder.ReleaseRaw(block_size, offset);
  return NoteBlock(block, offset, size);
}

std::uint8_t* BlockAllocator::allocate(std::size_t size) {
  return static_cast<std::uint8_t*>(::operator new(sizeof(Note) + size)) + sizeof(Note);
}

void BlockAllocator::deallocate(std::uint8_t* block, std::size_t) {
  ::operator delete(block - sizeof(Note));
}

}  // namespace Talvo::Encryption
