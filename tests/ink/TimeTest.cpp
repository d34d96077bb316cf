#include "ink/Time.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

std::optional<std::uint64_t> TimeOf(const std::string& text) {
  const std::optional<DateTime> date = ParseDateTime(text);
  return date ? std::optional<std::uint64_t>(date->time_ms) : std::nullopt;
}

TEST(InkTime, DatesWithTimesAreRead) {
  EXPECT_EQ(TimeOf("2023-11-14T22:13:20Z"), 1700000000000u);
  EXPECT_EQ(TimeOf("2023-11-14 22:13"), 1699999980000u);
  EXPECT_EQ(TimeOf("2023-11-14T22:13:20.1239Z"), 1700000000123u);
  EXPECT_EQ(TimeOf("2023-11-15T03:43:20+05:30"), 1700000000000u);
  EXPECT_EQ(TimeOf("2023-11-14T14:13:20-0800"), 1700000000000u);
  EXPECT_EQ(TimeOf("2024-02-29T00:00:00"), 1709164800000u);
  EXPECT_EQ(TimeOf("9999-12-31T23:59:59.999"), kLastTimeMs);
  EXPECT_EQ(TimeOf("2016-12-31T23:59:60Z"), 1483228800000u);  // a leap second
}

TEST(InkTime, ADateSaysWhatHadToBeTakenOrCut) {
  EXPECT_TRUE(ParseDateTime("2023-11-14T22:13:20Z")->has_zone);
  EXPECT_TRUE(ParseDateTime("2023-11-14T22:13:20-08")->has_zone);
  EXPECT_FALSE(ParseDateTime("2023-11-14T22:13:20.5")->has_zone);
  EXPECT_TRUE(ParseDateTime("2023-11-14T22:13:20.1230001Z")->is_cut);
  EXPECT_FALSE(ParseDateTime("2023-11-14T22:13:20.1230000Z")->is_cut);
}

TEST(InkTime, WhatIsNoDateWithATimeIsNone) {
  for (const char* bad :
       {"2023-04-31T00:00", "2023-00-01T00:00", "2023-01-00T00:00", "", "2023", "2023-11-14",
        "2023-02-29T00:00", "2023-13-01T00:00", "2023-11-14T24:00", "2023-11-14T22:13:20x",
        "1969-12-31T23:59:59", "2023-11-14T22:13:20+", "2023-11-14T22:13:20."}) {
    EXPECT_EQ(TimeOf(bad), std::nullopt) << bad;
  }
}

TEST(InkTime, TimesAreWrittenAsTheyAreRead) {
  EXPECT_EQ(FormatDateTime(0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(FormatDateTime(UINT64_MAX), "584556019-04-03T14:25:51.615Z");  // of a hostile file
  for (const std::uint64_t time : {1700000000123ull, 951782400000ull, 253402300799999ull}) {
    EXPECT_EQ(TimeOf(FormatDateTime(time)), time);
  }
}

}  // namespace
}  // namespace TalvoInk
