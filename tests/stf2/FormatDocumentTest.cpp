// What docs/stf2-format.md shows is what the library writes, and what flatc, which knows nothing of
// this library, reads and writes.

#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "Model.h"
#include "support/TestRoot.h"

namespace {

const char* const kSchema = QUILLPOST_SOURCE "/platform/stf2/stf2.fbs";

std::string Document() {
  return ReadFile(QUILLPOST_SOURCE "/docs/stf2-format.md");
}

// The ink of the document's example.
Ink Example() {
  return MakeInk(81985529216486895,
                 {StrokeModel("1.2.3.4", 1700000000000,
                              {PenDown(), Coordinate(8, 1500, -250, 32768), PenUp()}, 0xFF0000FF)});
}

// The bytes of a line "0010  08 00 00 00   what they are"; false for other lines.
bool ReadDumpLine(const std::string& line, std::size_t& offset, Bytes& bytes) {
  std::istringstream words(line);
  std::string word;
  if (!(words >> word) || word.size() != 4 || line.compare(4, 2, "  ") != 0) return false;
  if (word.find_first_not_of("0123456789abcdef") != word.npos) return false;
  offset = std::stoul(word, nullptr, 16);
  bytes.clear();
  for (std::size_t at = 6; at + 2 <= line.size(); at += 3) {
    const std::string byte = line.substr(at, 2);
    if (byte.find_first_not_of("0123456789abcdef") != byte.npos) break;
    bytes.push_back(static_cast<std::uint8_t>(std::stoul(byte, nullptr, 16)));
    if (at + 2 < line.size() && line[at + 2] != ' ') return false;
  }
  return !bytes.empty();
}

std::string WithoutBlanks(const std::string& text) {
  std::string dense;
  for (const char c : text) {
    if (c != ' ' && c != '\n') dense += c;
  }
  return dense;
}

// The text of the document between the fence of the language and the next one.
std::string Block(const std::string& document, const std::string& language) {
  const std::string fence = "```" + language + "\n";
  const std::size_t begin = document.find(fence) + fence.size();
  return document.substr(begin, document.find("```", begin) - begin);
}

int RunFlatc(const std::string& arguments) {
  return std::system(
      ("cd \"$QUILLPOST_ROOT\" && '" FLATC "' " + arguments + " > flatc.log 2>&1").c_str());
}

TEST(FormatDocument, TheDumpIsWhatTheLibraryWrites) {
  Bytes dump;
  std::istringstream lines(Document());
  std::size_t offset = 0;
  Bytes bytes;
  for (std::string line; std::getline(lines, line);) {
    if (!ReadDumpLine(line, offset, bytes)) continue;
    EXPECT_EQ(offset, dump.size()) << line;
    dump.insert(dump.end(), bytes.begin(), bytes.end());
  }
  EXPECT_EQ(dump, Write(Example()));
}

TEST(FormatDocument, TheSchemaIsTheOneThatTheLibraryIsBuiltFrom) {
  const std::string shown = Block(Document(), "");
  std::istringstream lines(ReadFile(kSchema));
  for (std::string line; std::getline(lines, line);) {
    const std::string statement = line.substr(0, line.find("//"));
    if (WithoutBlanks(statement).empty()) continue;
    EXPECT_NE(WithoutBlanks(shown).find(WithoutBlanks(statement)), std::string::npos) << line;
  }
}

TEST(FormatDocument, FlatcReadsTheExampleAsTheJsonThatIsShown) {
  const TestRoot root;
  const Bytes bytes = Write(Example());
  WriteFile(root.path() / "ink.stf2", std::string(bytes.begin(), bytes.end()));
  ASSERT_EQ(
      RunFlatc(std::string("--json --raw-binary --strict-json '") + kSchema + "' -- ink.stf2"), 0)
      << ReadFile(root.path() / "flatc.log");
  EXPECT_EQ(WithoutBlanks(ReadFile(root.path() / "ink.json")),
            WithoutBlanks(Block(Document(), "json")));
}

TEST(FormatDocument, WhatFlatcWritesFromTheJsonIsReadAsTheExample) {
  const TestRoot root;
  WriteFile(root.path() / "ink.json", Block(Document(), "json"));
  ASSERT_EQ(RunFlatc(std::string("--binary '") + kSchema + "' ink.json"), 0)
      << ReadFile(root.path() / "flatc.log");
  const std::string text = ReadFile(root.path() / "ink.stf2");
  const Bytes bytes(text.begin(), text.end());
  EXPECT_EQ(ItemsOf(Parse(bytes)), ItemsOf(Example()));
}

}  // namespace
