#include "ink/Paper.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(Paper, PageSizesAreNamesOrMillimetres) {
  EXPECT_EQ(ParsePageSize("A4")->height_mm, 297);
  EXPECT_EQ(ParsePageSize("legal")->height_mm, 355.6);
  EXPECT_EQ(ParsePageSize("A3")->height_mm, 420);
  EXPECT_EQ(ParsePageSize("A6")->width_mm, 105);
  EXPECT_EQ(ParsePageSize("Legal")->height_mm, 355.6);
  EXPECT_EQ(ParsePageSize("100x50.5")->height_mm, 50.5);
  for (const char* bad : {"", "x", "A", "100", "0x5", "-1x5", "9999x5", "1x2x3"}) {
    EXPECT_FALSE(ParsePageSize(bad)) << bad;
  }
}

}  // namespace
}  // namespace TalvoInk
