#include "Data.h"

#include <cstring>
#include <new>

namespace Talvo::Stf2 {
namespace {

// Keeps the alignment of operator new, and holds the note even if a buffer fills its block.
constexpr std::size_t kPrefix = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
static_assert(kPrefix >= sizeof(void*), "the note has to fit before the block");

Data NoteBlock(std::uint8_t* block, std::size_t offset, std::size_t size) {
  std::uint8_t* bytes = block + offset;
  void* allocation = block - kPrefix;
  std::memcpy(bytes - sizeof allocation, &allocation, sizeof allocation);
  Data data;
  data.bytes.reset(bytes);
  data.size = static_cast<std::uint32_t>(size);
  return data;
}

}  // namespace

void ReleaseData(void* data) {
  if (!data) return;
  void* allocation = nullptr;
  std::memcpy(&allocation, static_cast<std::uint8_t*>(data) - sizeof allocation, sizeof allocation);
  ::operator delete(allocation);
}

Data CopyData(const void* bytes, std::uint32_t size) {
  std::uint8_t* block = DataAllocator().allocate(size);
  std::memcpy(block, bytes, size);
  return NoteBlock(block, 0, size);
}

Data TakeData(flatbuffers::FlatBufferBuilder& builder) {
  const std::size_t size = builder.GetSize();
  std::size_t block_size = 0;
  std::size_t offset = 0;
  std::uint8_t* block = builder.ReleaseRaw(block_size, offset);
  return NoteBlock(block, offset, size);
}

std::uint8_t* DataAllocator::allocate(std::size_t size) {
  return static_cast<std::uint8_t*>(::operator new(kPrefix + size)) + kPrefix;
}

void DataAllocator::deallocate(std::uint8_t* block, std::size_t) {
  ::operator delete(block - kPrefix);
}

}  // namespace Talvo::Stf2
