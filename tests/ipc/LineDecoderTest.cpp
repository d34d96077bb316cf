#include "LineDecoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using IPC::LineDecoder;
constexpr std::size_t kLimit = IPC::kMaxLineBytes;

void Append(LineDecoder& decoder, const std::string& bytes) {
  decoder.Append(bytes.data(), bytes.size());
}

std::vector<std::string> Lines(LineDecoder& decoder) {
  std::vector<std::string> lines;
  std::string_view line;
  while (decoder.Next(line) == LineDecoder::Result::kLine) lines.emplace_back(line);
  return lines;
}

typedef std::vector<std::string> Strings;

TEST(LineDecoder, CutsAtEveryLineFeed) {
  LineDecoder decoder;
  Append(decoder, "one\ntwo\nthr");
  EXPECT_EQ(Lines(decoder), (Strings{"one", "two"}));
  Append(decoder, "ee\n");
  EXPECT_EQ(Lines(decoder), Strings{"three"});
}

TEST(LineDecoder, ALineMayComeByteByByte) {
  LineDecoder decoder;
  for (char c : std::string("one\r")) {
    Append(decoder, std::string(1, c));
    EXPECT_EQ(Lines(decoder), Strings{});
  }
  Append(decoder, "\n");
  EXPECT_EQ(Lines(decoder), Strings{"one"});
}

TEST(LineDecoder, LinesOfBlanksArePassedOver) {
  LineDecoder decoder;
  Append(decoder, "\n\r\n \t\r\n one \r\n\n");
  EXPECT_EQ(Lines(decoder), Strings{" one"});
}

TEST(LineDecoder, ALineOfTheFullLengthIsTaken) {
  LineDecoder decoder;
  const std::string line(kLimit - 1, 'x');
  Append(decoder, line + "\nnext\n");
  EXPECT_EQ(Lines(decoder), (Strings{line, "next"}));
}

TEST(LineDecoder, ALineIsTooLongWithOrWithoutItsEnd) {
  for (const char* end : {"", "\n", "\nnext\n"}) {
    LineDecoder decoder;
    Append(decoder, "first\n" + std::string(kLimit - 1, ' '));
    EXPECT_EQ(Lines(decoder), Strings{"first"});
    std::string_view line;
    EXPECT_EQ(decoder.Next(line), LineDecoder::Result::kNoLine);
    Append(decoder, std::string("x") + end);
    EXPECT_EQ(decoder.Next(line), LineDecoder::Result::kTooLong);
    EXPECT_EQ(decoder.Next(line), LineDecoder::Result::kTooLong);
  }
}

}  // namespace
