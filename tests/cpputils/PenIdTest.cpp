#include <TalvoCppUtils/PenId.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

using TalvoCppUtils::PenId;

TEST(PenId, WritesFourGroupsOfUpperCaseDigits) {
  EXPECT_EQ("0123-4567-89AB-CDEF", PenId(81985529216486895u).string());
  EXPECT_EQ("0000-0000-0000-0000", PenId(0).string());
  EXPECT_EQ("0000-0000-0000-000A", PenId(10).string());
  EXPECT_EQ("FFFF-FFFF-FFFF-FFFF", PenId(std::numeric_limits<std::uint64_t>::max()).string());
}

TEST(PenId, ReadsWhatItWrites) {
  for (std::uint64_t number : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{1} << 63,
                               std::uint64_t{81985529216486895u}}) {
    PenId pen(7);
    ASSERT_TRUE(PenId::Parse(PenId(number).string(), pen));
    EXPECT_EQ(number, pen.number());
  }
}

TEST(PenId, ReadsLowerCase) {
  PenId pen(0);
  ASSERT_TRUE(PenId::Parse("0123-4567-89ab-cdef", pen));
  EXPECT_EQ(PenId(81985529216486895u), pen);
}

TEST(PenId, RefusesAnythingElseAndKeepsThePen) {
  for (const char* text : {"", "0123456789ABCDEF", "0123-4567-89AB-CDE", "0123-4567-89AB-CDEF0",
                           "0123-4567-89AB-CDEG", "01234-567-89AB-CDEF", "0123_4567_89AB_CDEF",
                           " 123-4567-89AB-CDEF", "+123-4567-89AB-CDEF", "0123-4567-89AB-CD-F"}) {
    PenId pen(7);
    EXPECT_FALSE(PenId::Parse(text, pen)) << text;
    EXPECT_EQ(7u, pen.number()) << text;
  }
  PenId pen(7);
  EXPECT_FALSE(PenId::Parse(std::string("0123-4567-89AB-CDE\0", 19), pen));
}

TEST(PenId, IsOrderedByItsNumber) {
  EXPECT_LT(PenId(9), PenId(10));
  EXPECT_FALSE(PenId(10) < PenId(10));
  EXPECT_NE(PenId(9), PenId(10));
}
