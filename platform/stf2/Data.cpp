#include "Data.h"

#include <sys/mman.h>

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

// Asks for large pages for a large block that was not yet written to. The kernel clears and hands
// over each page of 4 KiB by itself: for 100 MiB that takes longer than to copy the ink into them.
void AdviseLargePages(std::uint8_t* block, std::size_t size) {
  constexpr std::size_t kLargePageBytes = std::size_t{2} << 20;
  if (size < 2 * kLargePageBytes) return;
  // Whole large pages only: memory beside the block is not ours to advise on.
  void* begin = block;
  std::align(kLargePageBytes, kLargePageBytes, begin, size);
  ::madvise(begin, size / kLargePageBytes * kLargePageBytes, MADV_HUGEPAGE);
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
  std::uint8_t* block = static_cast<std::uint8_t*>(::operator new(kPrefix + size)) + kPrefix;
  AdviseLargePages(block, size);
  return block;
}

void DataAllocator::deallocate(std::uint8_t* block, std::size_t) {
  ::operator delete(block - kPrefix);
}

}  // namespace Talvo::Stf2
