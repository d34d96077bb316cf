#include "ink/Units.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(Units, NumbersAreReadWholeOrNotAtAll) {
  EXPECT_EQ(ParseNumber(" 1.5e1 "), 15);
  EXPECT_EQ(ParseNumber("+.5"), .5);
  for (const char* bad : {"", "1,5", "1x", "nan", "inf", "1e999"}) {
    EXPECT_EQ(ParseNumber(bad), std::nullopt) << bad;
  }
}

TEST(Units, NumbersAreWrittenShort) {
  EXPECT_EQ(FormatNumber(210, 2), "210");
  EXPECT_EQ(FormatNumber(297.5, 2), "297.5");
  EXPECT_EQ(FormatNumber(-0.001, 2), "0");
  EXPECT_EQ(FormatNumber(1200, 0), "1200");
  EXPECT_EQ(FormatNumber(1e300, 1).size(), 301u);
}

}  // namespace
}  // namespace TalvoInk
