// That no ink stays behind in released memory, and that running out of memory is a status.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "Sealing.h"
#include "stf2/AllocationControl.h"

namespace {

const char* const kSecret = "words that nobody else may read";

struct Wiping : testing::Test {
  KeyPair keys;
  Bytes ink = InkOfPen(7, kSecret);
  Bytes sealed = Seal(ink, keys.public_key);
  std::uint8_t* out = nullptr;
  std::uint32_t size = 0;

  int OpenSealed(const Bytes& data) {
    return OpenInkData(data.data(), static_cast<std::uint32_t>(data.size()), keys.public_key.data(),
                       keys.secret_key.data(), &out, &size);
  }
};

// Without this the tests below could not fail.
TEST_F(Wiping, TheWatchSeesBytesThatAreNotWiped) {
  const ReleasedText released(kSecret);
  { const Bytes copy = ink; }
  EXPECT_EQ(released.with_text(), 1u);
}

TEST_F(Wiping, FreeBufferWipesOpenedInk) {
  const ReleasedText released(kSecret);
  ASSERT_EQ(OpenSealed(sealed), TALVO_ENCRYPTION_SUCCESS);
  FreeBuffer(&out);
  EXPECT_GT(released.blocks(), 0u);
  EXPECT_EQ(released.with_text(), 0u);
}

TEST_F(Wiping, InkThatIsRefusedAfterItWasOpenedIsWiped) {
  EnvelopeModel model = ModelOf(sealed);
  model.pen = 8;
  const Bytes other_pen = EnvelopeOf(model);
  const ReleasedText released(kSecret);
  ASSERT_EQ(OpenSealed(other_pen), TALVO_ENCRYPTION_WRONG_PEN);
  EXPECT_GT(released.blocks(), 0u);
  EXPECT_EQ(released.with_text(), 0u);
}

// The copy that is made of ink at an odd address is wiped too.
TEST_F(Wiping, SealingLeavesNoInkBehind) {
  Bytes odd(ink.size() + 1);
  std::copy(ink.begin(), ink.end(), odd.begin() + 1);
  const ReleasedText released(kSecret);
  ASSERT_EQ(SealInkData(odd.data() + 1, static_cast<std::uint32_t>(ink.size()),
                        keys.public_key.data(), &out, &size),
            TALVO_ENCRYPTION_SUCCESS);
  FreeBuffer(&out);
  EXPECT_GT(released.blocks(), 1u);
  EXPECT_EQ(released.with_text(), 0u);
}

// Calls the function with the first, the second, .. allocation failing, until it gets by.
void FailEveryAllocation(const std::function<int()>& call, std::size_t at_least) {
  for (std::size_t allowed = 0;; ++allowed) {
    int status = TALVO_ENCRYPTION_SUCCESS;
    bool failed = false;
    {
      const AllocationFailure failure(allowed);
      status = call();
      failed = failure.happened();
    }
    if (!failed) {
      EXPECT_EQ(status, TALVO_ENCRYPTION_SUCCESS);
      EXPECT_GE(allowed, at_least);
      return;
    }
    ASSERT_EQ(status, TALVO_ENCRYPTION_OUT_OF_MEMORY) << "allocation " << allowed;
  }
}

struct SealingOutOfMemory : Wiping {};

TEST_F(SealingOutOfMemory, EveryFunctionSaysSo) {
  const auto sealed_size = static_cast<std::uint32_t>(sealed.size());
  FailEveryAllocation(
      [&] {
        std::uint8_t* recipient = nullptr;
        std::uint8_t algorithm = 0;
        const int status =
            GetEncryptedDataInfo(sealed.data(), sealed_size, &out, &recipient, &algorithm);
        EXPECT_EQ(out && recipient, status == TALVO_ENCRYPTION_SUCCESS);
        FreeBuffer(&out);
        FreeBuffer(&recipient);
        return status;
      },
      2);
  FailEveryAllocation(
      [&] {
        const int status = SealInkData(ink.data(), static_cast<std::uint32_t>(ink.size()),
                                       keys.public_key.data(), &out, &size);
        FreeBuffer(&out);
        return status;
      },
      2);
  FailEveryAllocation(
      [&] {
        const int status = OpenSealed(sealed);
        FreeBuffer(&out);
        return status;
      },
      2);
}

}  // namespace
