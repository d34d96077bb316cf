#include "ink/xml/XmlText.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(XmlText, PlacesCountLinesAndColumnsFromOne) {
  EXPECT_EQ(PlaceIn("ab\ncd", 0), "line 1, column 1");
  EXPECT_EQ(PlaceIn("ab\ncd", 2), "line 1, column 3");
  EXPECT_EQ(PlaceIn("ab\ncd", 3), "line 2, column 1");
  EXPECT_EQ(PlaceIn("ab\ncd", 99), "line 2, column 3");
}

TEST(XmlText, PercentCodeKeepsAnyBytes) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  EXPECT_EQ(DecodePercent(EncodePercent(all)), all);
  EXPECT_TRUE(IsPlainXmlText(EncodePercent(all)));
  EXPECT_EQ(EncodePercent("\xC3\xA4 50%"), "\xC3\xA4 50%25");
  EXPECT_EQ(DecodePercent("50% %zz %4"), "50% %zz %4");
}

TEST(XmlText, XmlCantHoldControlBytesAndBrokenUtf8) {
  EXPECT_TRUE(IsPlainXmlText("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
  for (const char* bad : {"\n", "\x7F", "\x80", "\xC0\x80", "\xED\xA0\x80", "\xEF\xBF\xBE",
                          "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_FALSE(IsPlainXmlText(bad)) << EncodePercent(bad);
  }
}

}  // namespace
}  // namespace TalvoInk
