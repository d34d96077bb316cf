#include <TalvoCppUtils/Utf8.h>
#include <gtest/gtest.h>

#include <string>

using TalvoCppUtils::IsUtf8;
using TalvoCppUtils::Utf8SequenceLength;

namespace {

// Each number of the code space, written by the book whether it is a character or not.
std::string Written(unsigned code, std::size_t length) {
  if (length == 1) return std::string(1, static_cast<char>(code));
  std::string bytes;
  for (std::size_t i = 1; i < length; ++i, code >>= 6) {
    bytes.insert(bytes.begin(), static_cast<char>(0x80 | (code & 0x3F)));
  }
  const unsigned mark = 0xF00u >> length & 0xFF;
  return static_cast<char>(mark | code) + bytes;
}

std::size_t ShortestLength(unsigned code) {
  return code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
}

}  // namespace

TEST(Utf8, EveryCharacterIsKnownInItsShortestFormAlone) {
  for (unsigned code = 0; code < 0x120000; ++code) {
    const bool is_character = code < 0x110000 && (code < 0xD800 || code > 0xDFFF);
    for (std::size_t length = ShortestLength(code); length <= 4; ++length) {
      const bool good = is_character && length == ShortestLength(code);
      ASSERT_EQ(Utf8SequenceLength(Written(code, length) + "x"), good ? length : 0)
          << code << " in " << length << " bytes";
    }
  }
}

TEST(Utf8, ASequenceCutShortIsInvalid) {
  for (const char* character : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
    const std::string whole = character;
    for (std::size_t size = 0; size < whole.size(); ++size) {
      EXPECT_EQ(Utf8SequenceLength(whole.substr(0, size)), 0u);
      EXPECT_EQ(Utf8SequenceLength(whole.substr(0, size) + "x"), size == 0 ? 1u : 0u);
    }
  }
}

TEST(Utf8, TextIsUtf8IfEveryCharacterIs) {
  EXPECT_TRUE(IsUtf8(""));
  EXPECT_TRUE(IsUtf8(std::string("a\0b", 3)));
  EXPECT_TRUE(IsUtf8("d\xC3\xA9j\xC3\xA0 vu"));
  EXPECT_FALSE(IsUtf8("d\xC3\xA9j\xE0 vu"));
  EXPECT_FALSE(IsUtf8("vu \xC3"));
  EXPECT_FALSE(IsUtf8("\x80"));
}
