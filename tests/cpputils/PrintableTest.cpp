#include <TalvoCppUtils/Printable.h>
#include <gtest/gtest.h>

using TalvoCppUtils::Printable;

TEST(Printable, WritesControlBytesAsHexadecimal) {
  EXPECT_EQ("a\\x0Ab\\x09\\x1B[31m\\x00\\x1F\\x7F",
            Printable(std::string("a\nb\t\x1b[31m\0\x1f\x7f", 12)));
}

TEST(Printable, LeavesAllElse) {
  EXPECT_EQ("", Printable(""));
  EXPECT_EQ(" plain ~ \\x", Printable(" plain ~ \\x"));
  EXPECT_EQ("d\xC3\xA9j\xC3\xA0 \x80\xFF", Printable("d\xC3\xA9j\xC3\xA0 \x80\xFF"));
}
