#include "Text.h"

#include <gtest/gtest.h>

#include <string>

using Talvo::Stf2::IsText;

namespace {

// The bytes in every place of a longer text, so that each is seen by both ways of reading.
bool IsTextEverywhere(const std::string& bytes, bool expected) {
  for (std::size_t before = 0; before < 20; ++before) {
    for (std::size_t after = 0; after < 20; ++after) {
      const std::string text = std::string(before, 'a') + bytes + std::string(after, 'z');
      if (IsText(text) != expected) return !expected;
    }
  }
  return expected;
}

TEST(Text, WellFormedUtf8IsText) {
  for (const char* text :
       {"", "a", "~\x7F\x01", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
        "\xEE\x80\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(IsTextEverywhere(text, true)) << text;
  }
}

TEST(Text, TextWithAZeroByteIsInvalid) {
  EXPECT_FALSE(IsTextEverywhere(std::string(1, '\0'), false));
}

TEST(Text, MalformedUtf8IsInvalid) {
  for (const char* text :
       {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC2", "\xC2\xC2", "\xE0\x9F\xBF", "\xE1\x80",
        "\xE1\x80\xC0", "\xED\xA0\x80", "\xED\xBF\xBF", "\xF0\x8F\xBF\xBF", "\xF1\x80\x80",
        "\xF1\x80\x80\x7F", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"}) {
    EXPECT_FALSE(IsTextEverywhere(text, false));
  }
}

}  // namespace
