#include <gtest/gtest.h>

#include "Color.h"
#include "Files.h"
#include "Render.h"
#include "Time.h"
#include "Units.h"
#include "XmlText.h"

namespace InkTool {
namespace {

std::optional<std::uint64_t> TimeOf(const std::string& text) {
  const std::optional<DateTime> date = ParseDateTime(text);
  return date ? std::optional<std::uint64_t>(date->time_ms) : std::nullopt;
}

TEST(Text, PlacesCountLinesAndColumnsFromOne) {
  EXPECT_EQ(PlaceIn("ab\ncd", 0), "line 1, column 1");
  EXPECT_EQ(PlaceIn("ab\ncd", 2), "line 1, column 3");
  EXPECT_EQ(PlaceIn("ab\ncd", 3), "line 2, column 1");
  EXPECT_EQ(PlaceIn("ab\ncd", 99), "line 2, column 3");
}

TEST(Text, PercentCodeKeepsAnyBytes) {
  std::string all;
  for (int i = 0; i < 256; ++i) all += static_cast<char>(i);
  EXPECT_EQ(DecodePercent(EncodePercent(all)), all);
  EXPECT_TRUE(IsPlainXmlText(EncodePercent(all)));
  EXPECT_EQ(EncodePercent("\xC3\xA4 50%"), "\xC3\xA4 50%25");
  EXPECT_EQ(DecodePercent("50% %zz %4"), "50% %zz %4");
}

TEST(Text, XmlCantHoldControlBytesAndBrokenUtf8) {
  EXPECT_TRUE(IsPlainXmlText("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
  for (const char* bad : {"\n", "\x7F", "\x80", "\xC0\x80", "\xED\xA0\x80", "\xEF\xBF\xBE",
                          "\xF4\x90\x80\x80", "\xE2\x82"}) {
    EXPECT_FALSE(IsPlainXmlText(bad)) << EncodePercent(bad);
  }
}

TEST(Text, DatesWithTimesAreRead) {
  EXPECT_EQ(TimeOf("2023-11-14T22:13:20Z"), 1700000000000u);
  EXPECT_EQ(TimeOf("2023-11-14 22:13"), 1699999980000u);
  EXPECT_EQ(TimeOf("2023-11-14T22:13:20.1239Z"), 1700000000123u);
  EXPECT_EQ(TimeOf("2023-11-15T03:43:20+05:30"), 1700000000000u);
  EXPECT_EQ(TimeOf("2023-11-14T14:13:20-0800"), 1700000000000u);
  EXPECT_EQ(TimeOf("2024-02-29T00:00:00"), 1709164800000u);
  EXPECT_EQ(TimeOf("9999-12-31T23:59:59.999"), kLastTimeMs);
  EXPECT_EQ(TimeOf("2016-12-31T23:59:60Z"), 1483228800000u);  // a leap second
}

TEST(Text, ADateSaysWhatHadToBeTakenOrCut) {
  EXPECT_TRUE(ParseDateTime("2023-11-14T22:13:20Z")->has_zone);
  EXPECT_TRUE(ParseDateTime("2023-11-14T22:13:20-08")->has_zone);
  EXPECT_FALSE(ParseDateTime("2023-11-14T22:13:20.5")->has_zone);
  EXPECT_TRUE(ParseDateTime("2023-11-14T22:13:20.1230001Z")->is_cut);
  EXPECT_FALSE(ParseDateTime("2023-11-14T22:13:20.1230000Z")->is_cut);
}

TEST(Text, WhatIsNoDateWithATimeIsNone) {
  for (const char* bad :
       {"2023-04-31T00:00", "2023-00-01T00:00", "2023-01-00T00:00", "", "2023", "2023-11-14",
        "2023-02-29T00:00", "2023-13-01T00:00", "2023-11-14T24:00", "2023-11-14T22:13:20x",
        "1969-12-31T23:59:59", "2023-11-14T22:13:20+", "2023-11-14T22:13:20."}) {
    EXPECT_EQ(TimeOf(bad), std::nullopt) << bad;
  }
}

TEST(Text, TimesAreWrittenAsTheyAreRead) {
  EXPECT_EQ(FormatDateTime(0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(FormatDateTime(UINT64_MAX), "584556019-04-03T14:25:51.615Z");  // of a hostile file
  for (const std::uint64_t time : {1700000000123ull, 951782400000ull, 253402300799999ull}) {
    EXPECT_EQ(TimeOf(FormatDateTime(time)), time);
  }
}

TEST(Text, ColoursAreReadInTheirUsualForms) {
  EXPECT_EQ(ParseColor("#1A2B3C"), 0xFF1A2B3Cu);
  EXPECT_EQ(ParseColor("\\#AA1C24"), 0xFFAA1C24u);
  EXPECT_EQ(ParseColor("#f0A"), 0xFFFF00AAu);
  EXPECT_EQ(ParseColor("#11223380"), 0x80112233u);
  EXPECT_EQ(ParseColor("rgb(1, 2,255)"), 0xFF0102FFu);
  EXPECT_EQ(ParseColor("navy"), 0xFF000080u);
  for (const char* bad : {"", "#", "#12", "#12345G", "rgb(1,2)", "rgb(1,2,256)", "reddish"}) {
    EXPECT_EQ(ParseColor(bad), std::nullopt) << bad;
  }
}

TEST(Text, NumbersAreReadWholeOrNotAtAll) {
  EXPECT_EQ(ParseNumber(" 1.5e1 "), 15);
  EXPECT_EQ(ParseNumber("+.5"), .5);
  for (const char* bad : {"", "1,5", "1x", "nan", "inf", "1e999"}) {
    EXPECT_EQ(ParseNumber(bad), std::nullopt) << bad;
  }
}

TEST(Text, PageSizesAreNamesOrMillimetres) {
  EXPECT_EQ(ParsePageSize("A4")->height_mm, 297);
  EXPECT_EQ(ParsePageSize("100x50.5")->height_mm, 50.5);
  for (const char* bad : {"", "x", "A", "100", "0x5", "-1x5", "9999x5", "1x2x3"}) {
    EXPECT_FALSE(ParsePageSize(bad)) << bad;
  }
}

TEST(Text, NamesOfPagesAreSafeWithinAFolder) {
  EXPECT_EQ(SafeName("1.2.3.4"), "1.2.3.4");
  EXPECT_EQ(SafeName("../a b"), "%2E.%2Fa%20b");
}

}  // namespace
}  // namespace InkTool
