// Damaged and malicious files. Whatever still opens is read, split, written and compared; the
// address sanitizer sees every read outside the buffer.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "Mutation.h"
#include "Seeds.h"
#include "Stf2.h"
#include "WalkInk.h"

namespace {

TEST(HostileInk, TheSeedsThemselvesAreInk) {
  for (const auto& [name, bytes] : InkSeeds()) {
    EXPECT_EQ(WalkInk(bytes.data(), bytes.size()), STF2_SUCCESS) << name;
  }
}

TEST(HostileInk, EveryTruncationIsReadOrRefused) {
  for (const auto& [name, bytes] : InkSeeds()) {
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const std::vector<std::uint8_t> cut(bytes.begin(),
                                          bytes.begin() + static_cast<std::ptrdiff_t>(size));
      if (size == 0) continue;  // no data at all is an invalid argument
      const int status = WalkInk(cut.data(), cut.size());
      EXPECT_TRUE(status == STF2_SUCCESS || status == STF2_MALFORMED) << name << " at " << size;
    }
  }
}

// The tail of a file that a writer puts its strings and samples into cannot be missed.
TEST(HostileInk, AFileThatLacksItsLastSampleIsMalformed) {
  for (const auto& [name, bytes] : InkSeeds()) {
    if (name == "empty") continue;
    const std::vector<std::uint8_t> cut(bytes.begin(), bytes.end() - 16);
    EXPECT_EQ(WalkInk(cut.data(), cut.size()), STF2_MALFORMED) << name;
  }
}

TEST(HostileInk, EveryChangeOfOneByteIsReadOrRefused) {
  const std::vector<std::uint8_t> bytes = InkSeeds().at("stroke");
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (const int value : {0x00, 0x01, 0x7F, 0x80, 0xFF}) {
      std::vector<std::uint8_t> changed = bytes;
      changed[i] = static_cast<std::uint8_t>(value);
      const int status = WalkInk(changed.data(), changed.size());
      EXPECT_TRUE(status == STF2_SUCCESS || status == STF2_MALFORMED) << i;
    }
  }
}

TEST(HostileInk, RandomMutationsAreReadOrRefused) {
  std::mt19937 random(20260131);
  const auto seeds = InkSeeds();
  int opened = 0;
  for (int i = 0; i < kMutations; ++i) {
    auto seed = seeds.begin();
    std::advance(seed, i % seeds.size());
    const std::vector<std::uint8_t> mutated = Mutate(seed->second, random);
    const int status = WalkInk(mutated.data(), mutated.size());
    EXPECT_TRUE(status == STF2_SUCCESS || status == STF2_MALFORMED || status == STF2_ENCRYPTED);
    if (status == STF2_SUCCESS) ++opened;
  }
  // Both sorts are there, so the mutations are neither too tame nor too wild to say anything.
  EXPECT_GT(opened, kMutations / 20);
  EXPECT_LT(opened, kMutations * 19 / 20);
}

}  // namespace
