#include "ink/xml/XmlEncoding.h"

#include <gtest/gtest.h>

#include "ink/InkSupport.h"

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

TEST(XmlEncoding, Utf8IsReadDeclaredOrNot) {
  EXPECT_EQ(Writer(Declared("utf-8", "Zo\xC3\xAB")), "Zo\xC3\xAB");
  EXPECT_EQ(Writer("\xEF\xBB\xBF" + Declared("iso-8859-1", "Zo\xC3\xAB")), "Zo\xC3\xAB");
  EXPECT_EQ(Writer("<ink><annotation type='a'>\xE2\x82\xAC</annotation></ink>"), "\xE2\x82\xAC");
}

TEST(XmlEncoding, TheWesternEightBitEncodingsAreRead) {
  for (const char* name : {"ISO-8859-1", "latin1", "windows-1252", "Cp1252"}) {
    EXPECT_EQ(Writer(Declared(name, "Zo\xEB \x80")), "Zo\xC3\xAB \xE2\x82\xAC") << name;
  }
}

TEST(XmlEncoding, Utf16IsReadWithAndWithoutAMark) {
  const std::string text = Declared("UTF-16", "Zoe");
  EXPECT_EQ(Writer("\xFF\xFE" + Wide(text, false)), "Zoe");
  EXPECT_EQ(Writer("\xFE\xFF" + Wide(text, true)), "Zoe");
  EXPECT_EQ(Writer(Wide(text, false)), "Zoe");
  EXPECT_EQ(Writer(Wide(text, true)), "Zoe");
}

TEST(XmlEncoding, Utf16BeyondTheBasicPlaneIsRead) {
  const std::string pen("\xD8\x3D\xDD\x8A", 4);
  std::string room;
  EXPECT_EQ(DecodeDocument("\xFE\xFF" + Wide("<a>", true) + pen + Wide("</a>", true), room),
            "<a>\xF0\x9F\x96\x8A</a>");
}

// A document may be large: one that is UTF-8 is not copied.
TEST(XmlEncoding, Utf8IsTakenWhereItIs) {
  const std::string bytes = Declared("UTF-8", "Zo\xC3\xAB");
  std::string room;
  EXPECT_EQ(&DecodeDocument(bytes, room), &bytes);
  EXPECT_EQ(&DecodeDocument("\xEF\xBB\xBF" + bytes, room), &room);
  EXPECT_EQ(room, bytes);
}

TEST(XmlEncoding, Utf8ThatIsDeclaredUtf16IsReadAsWhatItIs) {
  EXPECT_EQ(Writer(Declared("utf-16", "Zo\xC3\xAB")), "Zo\xC3\xAB");
}

TEST(XmlEncoding, BrokenUtf8IsRefusedWithItsPlace) {
  EXPECT_EQ(
      Writer(Declared("utf-8", "Zo\xEB")),
      "line 2, column 34: byte 0xEB is not UTF-8, and the document names no other encoding that is "
      "read");
  EXPECT_EQ(
      Writer("<ink>\n<trace>1 2</trace><!-- \xC3 --></ink>"),
      "line 2, column 24: byte 0xC3 is not UTF-8, and the document names no other encoding that is "
      "read");
}

TEST(XmlEncoding, OtherEncodingsAreReadWhereTheyAreAsciiAndRefusedElsewhere) {
  EXPECT_EQ(Writer(Declared("koi8-r", "Zoe")), "Zoe");
  EXPECT_EQ(Writer(Declared("KOI8-R", "\xFA\xCF\xD1")),
            "line 1, column 1: encoding 'koi8-r' is not read; save it as UTF-8");
  EXPECT_EQ(Writer(std::string("\xFF\xFE\0\0<\0\0\0", 8)),
            "line 1, column 1: UTF-32 is not read; save it as UTF-8");
}

TEST(XmlEncoding, ControlCharactersAreRefusedWithTheirPlace) {
  EXPECT_EQ(Writer(std::string("<ink>\n\0</ink>", 13)),
            "line 2, column 1: byte 0x00, which XML can't hold");
  EXPECT_EQ(Writer("<ink><trace>1 2\x01</trace></ink>"),
            "line 1, column 16: byte 0x01, which XML can't hold");
}

TEST(XmlEncoding, PlacesCountTheDecodedCharacters) {
  EXPECT_EQ(Writer(Declared("latin1", "\xEB\xEB") + "x"),
            "line 2, column 73: not well-formed XML: text outside of the root");
}

TEST(XmlEncoding, DamagedUtf16IsRefused) {
  EXPECT_EQ(Writer(std::string("\xFF\xFE<\0i", 5)), "line 1, column 2: damaged UTF-16");
  EXPECT_EQ(Writer(std::string("\xFE\xFF\xDC\x00", 4)), "line 1, column 1: damaged UTF-16");
}

TEST(XmlEncoding, TheLastByteOfUtf16MayNotBeMissing) {
  std::string room;
  EXPECT_THROW(DecodeDocument(Wide("<a/>", false).substr(0, 7), room), InkError);
  EXPECT_THROW(DecodeDocument(std::string("\xFE\xFF\xD8\x3D", 4), room), InkError);  // half a pair
}

TEST(XmlEncoding, TabsAndLineEndsAreTheControlCharactersThatXmlHolds) {
  std::string room;
  EXPECT_EQ(DecodeDocument("<a>\t\r\n\x7F</a>", room), "<a>\t\r\n\x7F</a>");
  for (const char* bad : {"<a>\x08</a>", "<a>\x1F</a>"})
    EXPECT_THROW(DecodeDocument(bad, room), InkError);
}

TEST(XmlEncoding, ADeclarationWithoutAnEndDeclaresNothing) {
  std::string room;
  const std::string open = "<?xml version='1.0' encoding='latin1";
  EXPECT_EQ(DecodeDocument(open, room), open);
  EXPECT_THROW(DecodeDocument(open + "\xEB", room), InkError);
  EXPECT_EQ(DecodeDocument("", room), "");
}

}  // namespace
}  // namespace TalvoInk
