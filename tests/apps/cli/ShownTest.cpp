#include "cli/Shown.h"

#include <gtest/gtest.h>

TEST(FormatBytes, UsesTheLargestUnitThatFits) {
  EXPECT_EQ("0 B", FormatBytes(0));
  EXPECT_EQ("1023 B", FormatBytes(1023));
  EXPECT_EQ("1.0 KiB", FormatBytes(1024));
  EXPECT_EQ("1.5 MiB", FormatBytes(3u << 19));
  EXPECT_EQ("2048.0 GiB", FormatBytes(std::uint64_t{1} << 41));
}

TEST(FormatCount, KnowsOneAndMany) {
  EXPECT_EQ("0 pages", FormatCount(0, "page"));
  EXPECT_EQ("1 page", FormatCount(1, "page"));
  EXPECT_EQ("2 pages", FormatCount(2, "page"));
}
