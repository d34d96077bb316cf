#include "ink/PageAddress.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(PageAddress, PageAddressesAreFourOrFiveFields) {
  for (const char* good : {"1.2.3.4", "1.2.3.4.5", "1.2.*.4", "00.1.2.99999999999"}) {
    EXPECT_TRUE(IsPageAddress(good)) << good;
  }
  for (const char* bad : {"", "1.2.3", "1.2.3.4.5.6", ".1.2.3", "1.2.3.", "1..2.3", "1.2.3.a"}) {
    EXPECT_FALSE(IsPageAddress(bad)) << bad;
  }
}

}  // namespace
}  // namespace TalvoInk
