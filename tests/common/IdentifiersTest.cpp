#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "common/Identifiers.h"

using TalvoQuillpost::Common::IsAppIDValid;
using TalvoQuillpost::Common::IsPageAddressValid;
using TalvoQuillpost::Common::IsPenSerialValid;

namespace {

constexpr char kAlphanumeric[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// Every byte that `is_valid` accepts as the second one after "a".
template <typename IsValid>
std::string AcceptedBytes(IsValid is_valid) {
  std::string accepted;
  for (int byte = 0; byte < 256; ++byte) {
    if (is_valid(std::string("a") + static_cast<char>(byte))) accepted += static_cast<char>(byte);
  }
  return accepted;
}

std::string Sorted(std::string text) {
  std::sort(text.begin(), text.end());
  return text;
}

}  // namespace

TEST(IsAppIDValid, TakesSixtySevenCharactersAndNoOther) {
  const std::string accepted = AcceptedBytes(IsAppIDValid);
  EXPECT_EQ(67u, accepted.size());
  EXPECT_EQ(Sorted(std::string(kAlphanumeric) + " ._:-"), accepted);
}

TEST(IsAppIDValid, RefusesADotInFrontAndNothingElseOfItsCharacters) {
  for (const char first : std::string(kAlphanumeric) + " ._:-") {
    EXPECT_EQ(first != '.', IsAppIDValid(std::string(1, first))) << first;
    EXPECT_EQ(first != '.', IsAppIDValid(std::string(1, first) + "abc")) << first;
  }
}

TEST(IsAppIDValid, Examples) {
  EXPECT_TRUE(IsAppIDValid("a.b"));
  EXPECT_TRUE(IsAppIDValid("Notes.App 2:x_1"));
  EXPECT_TRUE(IsAppIDValid("a..b."));
  EXPECT_TRUE(IsAppIDValid(std::string(100000, 'a')));
  EXPECT_FALSE(IsAppIDValid(""));
  EXPECT_FALSE(IsAppIDValid(".abc"));
  EXPECT_FALSE(IsAppIDValid(".."));
  EXPECT_FALSE(IsAppIDValid("a/b"));
  EXPECT_FALSE(IsAppIDValid("caf\xC3\xA9"));
  EXPECT_FALSE(IsAppIDValid(std::string(100000, 'a') + "\n"));
  EXPECT_FALSE(IsAppIDValid(std::string("abc\0", 4)));
  EXPECT_FALSE(IsAppIDValid(std::string("\0", 1)));
}

TEST(IsPenSerialValid, TakesSixtyThreeCharactersAndNoOther) {
  const std::string accepted = AcceptedBytes(IsPenSerialValid);
  EXPECT_EQ(63u, accepted.size());
  EXPECT_EQ(Sorted(std::string(kAlphanumeric) + "-"), accepted);
}

TEST(IsPenSerialValid, TakesEachOfItsCharactersInFront) {
  for (const char first : std::string(kAlphanumeric) + "-") {
    EXPECT_TRUE(IsPenSerialValid(std::string(1, first))) << first;
  }
}

TEST(IsPenSerialValid, Examples) {
  EXPECT_TRUE(IsPenSerialValid("AJ3-000-1X"));
  EXPECT_TRUE(IsPenSerialValid("0123-4567-89AB-CDEF"));
  EXPECT_TRUE(IsPenSerialValid(std::string(100000, '-')));
  EXPECT_FALSE(IsPenSerialValid(""));
  EXPECT_FALSE(IsPenSerialValid(".abc"));
  EXPECT_FALSE(IsPenSerialValid("a.b"));
  EXPECT_FALSE(IsPenSerialValid("."));
  EXPECT_FALSE(IsPenSerialValid(".."));
  EXPECT_FALSE(IsPenSerialValid("a/b"));
  EXPECT_FALSE(IsPenSerialValid("pen 1"));
  EXPECT_FALSE(IsPenSerialValid("pen\x80"));
  EXPECT_FALSE(IsPenSerialValid(std::string("pen\0", 4)));
}

TEST(IsPageAddressValid, TakesFourOrFiveFields) {
  for (const char* page :
       {"1.2.3.4", "1.2.3.4.5", "12.0.7.45.3", "0.0.0.0", "1.2.*.4", "*.*.*.*", "*.*.*.*.*",
        "1*.**.*1.1*2", "007.0.0.0", "99999999999999999999999999.2.3.4"}) {
    EXPECT_TRUE(IsPageAddressValid(page)) << page;
  }
  EXPECT_TRUE(IsPageAddressValid(std::string(100000, '7') + ".2.3.4"));
}

TEST(IsPageAddressValid, RefusesOtherNumbersOfFieldsAndEmptyOnes) {
  for (const char* page :
       {"", "1", "1.2", "1.2.3", "1.2.3.4.5.6", ".1.2.3", ".1.2.3.4", "1.2.3.4.", "1.2.3.",
        "1..2.3.4", "1..2.3", "1.2..3", "...", "....", "*", "1.2.3.4..", ".1.2.3."}) {
    EXPECT_FALSE(IsPageAddressValid(page)) << page;
  }
}

TEST(IsPageAddressValid, RefusesEveryOtherByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    const bool is_field = std::memchr("0123456789*", character, 11) != nullptr;
    EXPECT_EQ(is_field, IsPageAddressValid(std::string("1.2.3.") + character)) << byte;
    EXPECT_EQ(is_field, IsPageAddressValid(character + std::string(".2.3.4"))) << byte;
  }
  EXPECT_FALSE(IsPageAddressValid("1.2.3.-4"));
  EXPECT_FALSE(IsPageAddressValid("1.2.3.+4"));
  EXPECT_FALSE(IsPageAddressValid("1.2.3.4 "));
  EXPECT_FALSE(IsPageAddressValid("1.2.3.4\n"));
  EXPECT_FALSE(IsPageAddressValid(std::string("1.2.3.4\0", 8)));
}

TEST(IsPageAddressValid, TakesTheWordOfSealedInkToTheLetter) {
  EXPECT_TRUE(IsPageAddressValid("encrypted-stf2"));
  for (const char* word : {"encrypted-stf3", "Encrypted-stf2", "encrypted-stf", "encrypted-stf22",
                           "encrypted-stf2.1", " encrypted-stf2"}) {
    EXPECT_FALSE(IsPageAddressValid(word)) << word;
  }
  EXPECT_FALSE(IsPageAddressValid(std::string("encrypted-stf2\0", 15)));
}
