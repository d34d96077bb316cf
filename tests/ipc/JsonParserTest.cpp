#include "JsonParser.h"

#include <gtest/gtest.h>

#include "JsonWriter.h"
#include "support/Machine.h"

namespace {

// The text that a text becomes by reading and writing it; the error if it is refused.
std::string Through(const std::string& text) {
  Json::Value value;
  std::string error;
  if (!IPC::ParseJson(text, value, error)) return error;
  std::string written;
  IPC::AppendJson(value, written);
  return written;
}

std::string Nested(std::size_t depth) {
  return std::string(depth, '[') + std::string(depth, ']');
}

TEST(JsonParser, ReadsEveryKindOfValue) {
  EXPECT_EQ(Through(R"({"a":null,"b":[true,false,-1,"x"],"c":{}})"),
            R"({"a":null,"b":[true,false,-1,"x"],"c":{}})");
  EXPECT_EQ(Through(" \t\r\n{ \"a\" : [ ] } "), R"({"a":[]})");
}

TEST(JsonParser, ReadsEveryEscape) {
  EXPECT_EQ(
      Through(R"("\"\\\/\b\f\n\r\tA\u00e9\u20ac\ud83d\ude00")"),
      "\"\\\"\\\\/\\u0008\\u000c\\u000a\\u000d\\u0009A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"");
}

TEST(JsonParser, AZeroByteInAStringIsKept) {
  Json::Value value;
  std::string error;
  ASSERT_TRUE(IPC::ParseJson(R"("a\u0000b")", value, error));
  EXPECT_EQ(value.asString(), std::string("a\0b", 3));
}

TEST(JsonParser, IntegersKeepTheirValueUpTo64Bits) {
  EXPECT_EQ(Through("-9223372036854775808"), "-9223372036854775808");
  EXPECT_EQ(Through("18446744073709551615"), "18446744073709551615");
  EXPECT_EQ(Through("18446744073709551616"), "18446744073709551616.0");
  EXPECT_EQ(Through("-0"), "0");
}

TEST(JsonParser, NumbersBeyondADoubleBecomeTheNearestOne) {
  EXPECT_EQ(Through("1e999"), "1.7976931348623157e+308");
  EXPECT_EQ(Through("-1e999"), "-1.7976931348623157e+308");
  EXPECT_EQ(Through("1e-999"), "0.0");
  EXPECT_EQ(Through("1" + std::string(400, '0')), "1.7976931348623157e+308");
  EXPECT_EQ(Through("0." + std::string(400, '0') + "1"), "0.0");
  EXPECT_EQ(Through("1e99999999999999999999"), "1.7976931348623157e+308");
  EXPECT_EQ(Through("1e-99999999999999999999"), "0.0");
  EXPECT_EQ(Through("0e999"), "0.0");
}

TEST(JsonParser, NumbersDoNotFollowTheLocaleOfTheProcess) {
  ForeignLocale locale;
  EXPECT_EQ(Through("[1234567,1234567.5,-2.5e-3]"), "[1234567,1234567.5,-0.0025]");
}

TEST(JsonParser, InvalidJsonIsRefusedWithItsPlace) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "unexpected end at byte 1"},
      {"{", "expected a member's name at byte 2"},
      {"{} {}", "unexpected text after the value at byte 4"},
      {"{}x", "unexpected text after the value at byte 3"},
      {"[1,]", "unexpected text at byte 4"},
      {"{\"a\":1,}", "expected a member's name at byte 8"},
      {"{\"a\" 1}", "expected ':' at byte 6"},
      {"{a:1}", "expected a member's name at byte 2"},
      {"[1 2]", "expected ',' or ']' at byte 4"},
      {"{\"a\":1 \"b\":2}", "expected ',' or '}' at byte 8"},
      {"// ink\n{}", "unexpected text at byte 1"},
      {"/* ink */{}", "unexpected text at byte 1"},
      {"tru", "unexpected text at byte 1"},
      {"True", "unexpected text at byte 1"},
      {"NaN", "unexpected text at byte 1"},
      {"-", "unexpected text at byte 2"},
      {"+1", "unexpected text at byte 1"},
      {".5", "unexpected text at byte 1"},
      {"01", "a number that begins with 0 at byte 2"},
      {"1.", "expected a digit at byte 3"},
      {"1e", "expected a digit at byte 3"},
      {"0x10", "unexpected text after the value at byte 2"},
      {"'a'", "unexpected text at byte 1"},
      {"\"a", "unexpected end of a string at byte 3"},
      {"\"a\\", "unexpected end of a string at byte 4"},
      {"\"\\x\"", "unknown escape in a string at byte 3"},
      {"\"\\u12g4\"", "\\u without four hexadecimal digits at byte 3"},
      {"\"\\u123", "\\u without four hexadecimal digits at byte 3"},
      {"\"a\tb\"", "a control byte in a string at byte 3"},
      {"{\"a\":1,\"a\":2}", "a member that stands twice at byte 11"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(Through(text), error) << text;
}

TEST(JsonParser, UnpairedSurrogatesAreRefused) {
  for (const char* text : {R"("\ud800")", R"("\ud800x")", R"("\ud800\n")", R"("\ud800\u0041")",
                           R"("\udc00")", R"("\ud800\ud800")"})
    EXPECT_EQ(Through(text).substr(0, 21), "an unpaired surrogate") << text;
}

TEST(JsonParser, InvalidUtf8IsRefused) {
  for (const char* bytes : {"\x80", "\xC3", "\xC0\x80", "\xE0\x80\x80", "\xED\xA0\x80",
                            "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"})
    EXPECT_EQ(Through('"' + std::string(bytes) + '"'), "invalid UTF-8 at byte 2");
  EXPECT_EQ(Through("\xEF\xBB\xBF{}"), "unexpected text at byte 1");
}

TEST(JsonParser, NestingIsLimitedTo64) {
  EXPECT_EQ(Through(Nested(64)), Nested(64));
  EXPECT_EQ(Through(Nested(65)), "more than 64 values within each other at byte 65");
  EXPECT_EQ(Through(std::string(500000, '[')), "more than 64 values within each other at byte 65");
  EXPECT_EQ(Through("[" + Nested(63) + "," + Nested(63) + "]").size(), 2 + 4 * 63 + 1);
}

TEST(JsonParser, TheNumberOfValuesIsLimited) {
  std::string zeros;
  for (int i = 1; i < 16384 - 1; ++i) zeros += "0,";
  EXPECT_EQ(Through("[" + zeros + "0]"), "[" + zeros + "0]");
  EXPECT_EQ(Through("[" + zeros + "0,0]").substr(0, 22), "more than 16384 values");
}

// Long plain text is taken in pieces of eight; what is special is found at each place of a piece.

}  // namespace
