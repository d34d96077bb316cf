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

TEST(XmlText, CharactersThatMeanSomethingAreEscaped) {
  EXPECT_EQ(EscapeXml("a<b> & \"c\" 'd'"), "a&lt;b&gt; &amp; &quot;c&quot; 'd'");
  EXPECT_EQ(EscapeXml(""), "");
}

TEST(XmlText, APlaceBehindALineOfUnicodeCountsCharacters) {
  EXPECT_EQ(PlaceIn("\xC3\xA4\xE2\x82\xAC<", 5), "line 1, column 3");
  EXPECT_EQ(PlaceIn("", 0), "line 1, column 1");
}

TEST(XmlText, TheLocalNameStandsBehindTheLastPrefix) {
  EXPECT_EQ(LocalName("inkml:trace"), "trace");
  EXPECT_EQ(LocalName("trace"), "trace");
  EXPECT_EQ(LocalName("trace:"), "");
}

}  // namespace
}  // namespace TalvoInk
