#include "ink/PlainText.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(PlainText, PercentCodeKeepsAnyBytes) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  EXPECT_EQ(DecodePercent(EncodePercent(all)), all);
  EXPECT_TRUE(IsPlainText(EncodePercent(all)));
  EXPECT_EQ(EncodePercent("\xC3\xA4 50%"), "\xC3\xA4 50%25");
  EXPECT_EQ(DecodePercent("50% %zz %4"), "50% %zz %4");
}

TEST(PlainText, XmlCantHoldControlBytesAndBrokenUtf8) {
  EXPECT_TRUE(IsPlainText(" a\xC2\xA0\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
  for (const char* bad : {"\n", "\x1F", "\x7F", "\xC2\x9F", "\x80", "\xC0\x80", "\xED\xA0\x80",
                          "\xEF\xBF\xBE", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_FALSE(IsPlainText(bad)) << EncodePercent(bad);
  }
}

}  // namespace
}  // namespace TalvoInk
