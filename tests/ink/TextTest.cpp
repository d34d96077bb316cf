#include "ink/Text.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(InkText, Utf8IsCountedByCharacters) {
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_EQ(Utf8Length(text, 0), 1u);
  EXPECT_EQ(Utf8Length(text, 1), 2u);
  EXPECT_EQ(Utf8Length(text, 3), 3u);
  EXPECT_EQ(Utf8Length(text, 6), 4u);
  EXPECT_EQ(Utf8At(text, 6).code, 0x1F600u);
}

TEST(InkText, BrokenUtf8HasNoLength) {
  for (const char* bad : {"\x80", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_EQ(Utf8Length(bad, 0), 0u) << bad;
  }
}

TEST(InkText, EveryCharacterIsWrittenAsItIsRead) {
  for (const std::uint32_t code : {0x41u, 0xE4u, 0x20ACu, 0x1F600u, 0x10FFFFu}) {
    std::string text;
    AppendUtf8(text, code);
    EXPECT_EQ(Utf8At(text, 0).code, code);
    EXPECT_EQ(Utf8At(text, 0).length, text.size());
  }
}

TEST(InkText, BytesAreTwoHexadecimalDigitsEach) {
  const std::uint8_t bytes[] = {0x00, 0x7F, 0xAB};
  EXPECT_EQ(Hexadecimal(bytes, 3), "007FAB");
  std::uint8_t byte = 0;
  EXPECT_TRUE(ParseHexByte("xaB", 1, byte));
  EXPECT_EQ(byte, 0xAB);
  for (const char* bad : {"", "a", "ag", "-1"}) EXPECT_FALSE(ParseHexByte(bad, 0, byte)) << bad;
}

TEST(InkText, WhiteSpaceAndCaseAreThoseOfAscii) {
  EXPECT_EQ(Trim(" \t a b\r\n"), "a b");
  EXPECT_EQ(Trim(" \n"), "");
  EXPECT_EQ(LowerCase("\xC3\x84 MM"), "\xC3\x84 mm");
}

}  // namespace
}  // namespace TalvoInk
