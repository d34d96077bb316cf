#include "Buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "stf2/AllocationControl.h"

namespace Talvo::Encryption {
namespace {

constexpr char kSecret[] = "words that nobody else may read";

TEST(Buffer, IsAlignedAndWipedWhenItIsReleased) {
  for (const std::size_t size : {sizeof kSecret, std::size_t(100), std::size_t(1) << 20}) {
    Buffer buffer = MakeBuffer(size);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.get()) % 16, 0u);
    std::memcpy(buffer.get() + size - sizeof kSecret, kSecret, sizeof kSecret);
    const ReleasedText released(kSecret);
    buffer.reset();
    EXPECT_EQ(released.blocks(), 1u);
    EXPECT_EQ(released.with_text(), 0u);
  }
}

TEST(Buffer, OfABuilderIsTakenWithoutACopyAndWiped) {
  BlockAllocator allocator;
  flatbuffers::FlatBufferBuilder builder(16, &allocator);
  builder.Finish(builder.CreateString(kSecret));
  const std::uint8_t* const built = builder.GetBufferPointer();
  std::uint32_t size = 0;
  Buffer buffer = TakeBuffer(builder, size);
  EXPECT_EQ(buffer.get(), built);
  EXPECT_EQ(flatbuffers::GetRoot<flatbuffers::String>(buffer.get())->str(), kSecret);
  const ReleasedText released(kSecret);
  buffer.reset();
  EXPECT_EQ(released.blocks(), 1u);
  EXPECT_EQ(released.with_text(), 0u);
}

TEST(Buffer, OfNoBytesAndNoneAreReleasedToo) {
  MakeBuffer(0).reset();
  ReleaseBuffer(nullptr);
}

}  // namespace
}  // namespace Talvo::Encryption
