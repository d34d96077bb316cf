#include "Files.h"

#include <gtest/gtest.h>

namespace InkTool {
namespace {

TEST(ToolFiles, NamesOfPagesAreSafeWithinAFolder) {
  EXPECT_EQ(SafeName("1.2.3.4"), "1.2.3.4");
  EXPECT_EQ(SafeName("../a b"), "%2E.%2Fa%20b");
}

}  // namespace
}  // namespace InkTool
