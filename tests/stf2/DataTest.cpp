#include "Data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace Talvo::Stf2 {
namespace {

bool IsAligned(const void* address) {
  return reinterpret_cast<std::uintptr_t>(address) % 8 == 0;
}

TEST(Data, ACopyIsOfTheBytesAndOfNothingElse) {
  for (const std::size_t size : {0, 1, 7, 8, 100000}) {
    std::string bytes(size, 'x');
    const Data data = CopyData(bytes.data(), static_cast<std::uint32_t>(size));
    bytes.assign(size, 'y');
    EXPECT_EQ(data.size, size);
    EXPECT_TRUE(IsAligned(data.bytes.get()));
    EXPECT_EQ(std::string(data.bytes.get(), data.bytes.get() + size), std::string(size, 'x'));
  }
}

// What grew in the builder lies at the end of its block, wherever that begins.
TEST(Data, AFinishedBufferIsTakenWithoutACopy) {
  for (const std::size_t size : {1, 8, 1000, 100000}) {
    DataAllocator allocator;
    flatbuffers::FlatBufferBuilder builder(64, &allocator);
    builder.ForceVectorAlignment(size, 1, 8);
    builder.Finish(builder.CreateString(std::string(size, 'x')));
    const std::uint8_t* const built = builder.GetBufferPointer();
    const std::uint32_t built_size = builder.GetSize();
    const Data data = TakeData(builder);
    EXPECT_EQ(data.bytes.get(), built);
    EXPECT_EQ(data.size, built_size);
    const auto* text = flatbuffers::GetRoot<flatbuffers::String>(data.bytes.get());
    EXPECT_EQ(text->str(), std::string(size, 'x'));
  }
}

TEST(Data, NothingIsReleasedAsNothing) {
  ReleaseData(nullptr);
}

}  // namespace
}  // namespace Talvo::Stf2
