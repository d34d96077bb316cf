// Damaged and malicious sealed files.

#include <gtest/gtest.h>

#include <iterator>
#include <random>

#include "Seeds.h"
#include "TalvoEncryption/Encryption.h"
#include "WalkInk.h"
#include "stf2/Mutation.h"

namespace {

bool IsKnownStatus(int status) {
  return status >= TALVO_ENCRYPTION_SUCCESS && status <= TALVO_ENCRYPTION_UNSUPPORTED &&
         status != TALVO_ENCRYPTION_INVALID_ARGUMENT;
}

TEST(HostileSealed, EveryTruncationIsMalformed) {
  for (const auto& [name, bytes] : SealedSeeds()) {
    for (std::size_t size = 1; size < bytes.size(); ++size) {
      const std::vector<std::uint8_t> cut(bytes.begin(),
                                          bytes.begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_EQ(WalkSealed(cut.data(), cut.size()), TALVO_ENCRYPTION_MALFORMED)
          << name << " at " << size;
    }
  }
}

// A changed byte of the padding changes nothing; any other is noticed.
TEST(HostileSealed, EveryChangeOfOneByteIsOpenedOrRefused) {
  const std::vector<std::uint8_t> bytes = SealedSeeds().at("stroke");
  int refused = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    std::vector<std::uint8_t> changed = bytes;
    changed[i] ^= 0x10;
    const int status = WalkSealed(changed.data(), changed.size());
    EXPECT_TRUE(IsKnownStatus(status)) << i;
    if (status != TALVO_ENCRYPTION_SUCCESS) ++refused;
  }
  EXPECT_GT(refused, static_cast<int>(bytes.size()) - 16);
}

TEST(HostileSealed, RandomMutationsAreOpenedOrRefused) {
  std::mt19937 random(20260131);
  const auto seeds = SealedSeeds();
  for (int i = 0; i < kMutations / 10; ++i) {
    auto seed = seeds.begin();
    std::advance(seed, i % seeds.size());
    const std::vector<std::uint8_t> mutated = Mutate(seed->second, random);
    EXPECT_TRUE(IsKnownStatus(WalkSealed(mutated.data(), mutated.size())));
  }
}

}  // namespace
