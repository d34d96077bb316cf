#include <gmock/gmock.h>

#include "ink/InkSupport.h"
#include "ink/xml/XmlEncoding.h"

namespace TalvoInk {
namespace {

// A document in UTF-16 of ASCII text.
std::string Wide(const std::string& text, bool big_endian) {
  std::string wide;
  for (const char c : text) {
    if (big_endian) wide += '\0';
    wide += c;
    if (!big_endian) wide += '\0';
  }
  return wide;
}

std::string Declared(const std::string& encoding, const std::string& writer) {
  return "<?xml version='1.0' encoding=\"" + encoding + "\"?>\n<ink><annotation type='writer'>" +
         writer + "</annotation><trace>10 20</trace></ink>";
}

// The property that the document's annotation became, or the refusal.
std::string Writer(const std::string& bytes) {
  const Reading reading = ReadDocument(bytes);
  if (!reading.refusal.empty()) return reading.refusal;
  return std::get<Property>(reading.ink.items.at(0)).value.value_or("none");
}

TEST(InkMLEncoding, Utf8IsReadDeclaredOrNot) {
  EXPECT_EQ(Writer(Declared("utf-8", "Zo\xC3\xAB")), "Zo\xC3\xAB");
  EXPECT_EQ(Writer("\xEF\xBB\xBF" + Declared("iso-8859-1", "Zo\xC3\xAB")), "Zo\xC3\xAB");
  EXPECT_EQ(Writer("<ink><annotation type='a'>\xE2\x82\xAC</annotation></ink>"), "\xE2\x82\xAC");
}

TEST(InkMLEncoding, TheWesternEightBitEncodingsAreRead) {
  for (const char* name : {"ISO-8859-1", "latin1", "windows-1252", "Cp1252"}) {
    EXPECT_EQ(Writer(Declared(name, "Zo\xEB \x80")), "Zo\xC3\xAB \xE2\x82\xAC") << name;
  }
}

TEST(InkMLEncoding, Utf16IsReadWithAndWithoutAMark) {
  const std::string text = Declared("UTF-16", "Zoe");
  EXPECT_EQ(Writer("\xFF\xFE" + Wide(text, false)), "Zoe");
  EXPECT_EQ(Writer("\xFE\xFF" + Wide(text, true)), "Zoe");
  EXPECT_EQ(Writer(Wide(text, false)), "Zoe");
  EXPECT_EQ(Writer(Wide(text, true)), "Zoe");
}

TEST(InkMLEncoding, Utf16BeyondTheBasicPlaneIsRead) {
  const std::string pen("\xD8\x3D\xDD\x8A", 4);
  std::string room;
  EXPECT_EQ(DecodeDocument("\xFE\xFF" + Wide("<a>", true) + pen + Wide("</a>", true), room),
            "<a>\xF0\x9F\x96\x8A</a>");
}

// A document may be large: one that is UTF-8 is not copied.
TEST(InkMLEncoding, Utf8IsTakenWhereItIs) {
  const std::string bytes = Declared("UTF-8", "Zo\xC3\xAB");
  std::string room;
  EXPECT_EQ(&DecodeDocument(bytes, room), &bytes);
  EXPECT_EQ(&DecodeDocument("\xEF\xBB\xBF" + bytes, room), &room);
  EXPECT_EQ(room, bytes);
}

TEST(InkMLEncoding, Utf8ThatIsDeclaredUtf16IsReadAsWhatItIs) {
  EXPECT_EQ(Writer(Declared("utf-16", "Zo\xC3\xAB")), "Zo\xC3\xAB");
}

TEST(InkMLEncoding, BrokenUtf8IsRefusedWithItsPlace) {
  EXPECT_EQ(
      Writer(Declared("utf-8", "Zo\xEB")),
      "line 2, column 34: byte 0xEB is not UTF-8, and the document names no other encoding that is "
      "read");
  EXPECT_EQ(
      Writer("<ink>\n<trace>1 2</trace><!-- \xC3 --></ink>"),
      "line 2, column 24: byte 0xC3 is not UTF-8, and the document names no other encoding that is "
      "read");
}

TEST(InkMLEncoding, OtherEncodingsAreReadWhereTheyAreAsciiAndRefusedElsewhere) {
  EXPECT_EQ(Writer(Declared("koi8-r", "Zoe")), "Zoe");
  EXPECT_EQ(Writer(Declared("KOI8-R", "\xFA\xCF\xD1")),
            "line 1, column 1: encoding 'koi8-r' is not read; save it as UTF-8");
  EXPECT_EQ(Writer(std::string("\xFF\xFE\0\0<\0\0\0", 8)),
            "line 1, column 1: UTF-32 is not read; save it as UTF-8");
}

TEST(InkMLEncoding, ControlCharactersAreRefusedWithTheirPlace) {
  EXPECT_EQ(Writer(std::string("<ink>\n\0</ink>", 13)),
            "line 2, column 1: byte 0x00, which XML can't hold");
  EXPECT_EQ(Writer("<ink><trace>1 2\x01</trace></ink>"),
            "line 1, column 16: byte 0x01, which XML can't hold");
}

TEST(InkMLEncoding, PlacesCountTheDecodedCharacters) {
  EXPECT_EQ(Writer(Declared("latin1", "\xEB\xEB") + "x"),
            "line 2, column 73: not well-formed XML: text outside of the root");
}

}  // namespace
}  // namespace TalvoInk
