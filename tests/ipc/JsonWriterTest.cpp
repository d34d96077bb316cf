#include "JsonWriter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "JsonParser.h"

namespace {

std::string Written(const Json::Value& value) {
  std::string text;
  IPC::AppendJson(value, text);
  return text;
}

TEST(JsonWriter, BytesOutsideUtf8BecomeReplacementCharacters) {
  EXPECT_EQ(Written(Json::Value("a\xFF\xC3z\xC3\xA9")), "\"a\xEF\xBF\xBD\xEF\xBF\xBDz\xC3\xA9\"");
}

TEST(JsonWriter, ControlCharactersAreWrittenEscaped) {
  EXPECT_EQ(Written(Json::Value(std::string("a\0b", 3))), R"("a\u0000b")");
  EXPECT_EQ(Written(Json::Value("\x01\n\x1f\x7f\"\\")), R"("\u0001\u000a\u001f\u007f\"\\")");
}

TEST(JsonWriter, SpecialBytesAreFoundAtEveryPlace) {
  for (std::size_t place = 0; place < 20; ++place) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string string(20, 'x');
      string[place] = static_cast<char>(byte);
      const std::string text = Written(Json::Value(string));
      Json::Value again;
      std::string error;
      ASSERT_TRUE(IPC::ParseJson(text, again, error)) << error;
      if (byte < 0x80) {
        EXPECT_EQ(again.asString(), string);
      } else {
        EXPECT_EQ(again.asString(), string.replace(place, 1, "\xEF\xBF\xBD"));
      }
      const bool plain = byte >= 0x20 && byte < 0x7F && byte != '"' && byte != '\\';
      EXPECT_EQ(text.size() == 22, plain) << byte;
      if (byte < 0x20 || byte >= 0x80) {
        EXPECT_FALSE(IPC::ParseJson(
            '"' + string.substr(0, place) + static_cast<char>(byte) + "xxxxxxxxxxxxxxxx\"", again,
            error));
      }
    }
  }
}

TEST(JsonWriter, RealsStayRealsAndNotANumberBecomesNull) {
  EXPECT_EQ(Written(Json::Value(5.0)), "5.0");
  EXPECT_EQ(Written(Json::Value(std::numeric_limits<double>::infinity())), "null");
  EXPECT_EQ(Written(Json::Value(std::nan(""))), "null");
}

}  // namespace
