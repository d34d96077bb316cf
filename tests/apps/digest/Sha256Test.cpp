// The sums of texts whose sums everybody knows.

#include "digest/Sha256.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

std::string Hex(const std::string& bytes) {
  std::string text;
  for (const char byte : bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
    text += digits;
  }
  return text;
}

constexpr char kOfNothing[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr char kOfAbc[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(Sha256, OfKnownTexts) {
  EXPECT_EQ(kOfNothing, Hex(Sha256Of("")));
  EXPECT_EQ(kOfAbc, Hex(Sha256Of("abc")));
}

TEST(Sha256, OfPiecesIsThatOfTheWhole) {
  Sha256 sum;
  sum.Add("a");
  sum.Add("");
  sum.Add("bc");
  EXPECT_EQ(kOfAbc, Hex(sum.Sum()));
}

TEST(Sha256, OfBytesOfEachKind) {
  EXPECT_NE(Sha256Of(std::string("ab\0c", 4)), Sha256Of("ab"));
}

}  // namespace
