#include <TalvoCppUtils/PageAddress.h>
#include <gtest/gtest.h>

#include <string>

using TalvoCppUtils::IsPageAddress;

TEST(PageAddress, HasFourOrFiveFields) {
  EXPECT_TRUE(IsPageAddress("1.2.3.4"));
  EXPECT_TRUE(IsPageAddress("0.1.2.3.4"));
  EXPECT_FALSE(IsPageAddress("1.2.3"));
  EXPECT_FALSE(IsPageAddress("0.0.1.2.3.4"));
  EXPECT_FALSE(IsPageAddress(""));
}

TEST(PageAddress, HasDigitsAndWildcardsInItsFields) {
  EXPECT_TRUE(IsPageAddress("*.*.*.*"));
  EXPECT_TRUE(IsPageAddress("1.2*.3.99999999999999999999"));
  for (const char* text : {"1.2.3.a", "1.2.3.-4", "1.2.3. 4", "1,2.3.4.5", "encrypted-stf2"}) {
    EXPECT_FALSE(IsPageAddress(text)) << text;
  }
  EXPECT_FALSE(IsPageAddress(std::string("1.2.3.4\0", 8)));
}

TEST(PageAddress, HasNoEmptyField) {
  for (const char* text : {".1.2.3.4", "1.2.3.4.", "1..2.3.4", "...", "1.2.3."}) {
    EXPECT_FALSE(IsPageAddress(text)) << text;
  }
}
