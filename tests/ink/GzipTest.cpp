#include "ink/Gzip.h"

#include <gmock/gmock.h>

#include "ink/InkError.h"

namespace TalvoInk {
namespace {

std::string RefusalOf(const std::string& bytes, std::size_t most = 1 << 20) {
  try {
    Gunzip(bytes, most);
  } catch (const InkError& error) {
    return error.what();
  }
  return {};
}

TEST(Gzip, WhatIsPackedIsUnpackedAsItWas) {
  std::string bytes;
  for (unsigned i = 0; i < 300000; ++i) bytes += static_cast<char>(i * i);
  for (const std::string& original : {std::string(), std::string("ink"), bytes}) {
    EXPECT_TRUE(LooksGzipped(Gzip(original)));
    EXPECT_TRUE(Gunzip(Gzip(original), 1 << 20) == original);
  }
}

TEST(Gzip, MembersBehindOneAnotherAreOne) {
  EXPECT_EQ(Gunzip(Gzip("one ") + Gzip("two"), 100), "one two");
}

TEST(Gzip, ABombIsRefusedBeforeItGoesOff) {
  const std::string bomb = Gzip(std::string(std::size_t{64} << 20, '\0'));
  EXPECT_LT(bomb.size(), 100000u);
  EXPECT_EQ(RefusalOf(bomb), "larger than 1 MiB when unpacked");
  EXPECT_EQ(RefusalOf(Gzip(std::string(600000, 'a')) + Gzip(std::string(600000, 'b'))),
            "larger than 1 MiB when unpacked");
}

TEST(Gzip, DamageIsRefusedWhereverItIs) {
  const std::string whole = Gzip("some ink that is long enough to be cut in many places");
  for (std::size_t size = 1; size < whole.size(); ++size) {
    EXPECT_EQ(RefusalOf(whole.substr(0, size)), "compressed bytes end too early") << size;
  }
  std::string damaged = whole;
  damaged[whole.size() - 6] = static_cast<char>(damaged[whole.size() - 6] ^ 1);
  EXPECT_EQ(RefusalOf(damaged), "damaged gzip");
  EXPECT_EQ(RefusalOf(whole + "more"), "damaged gzip");
}

}  // namespace
}  // namespace TalvoInk
