#include "api/Title.h"

#include <gtest/gtest.h>

using namespace Inbox;

TEST(Title, IsOneLineOfAtMostTwoHundredCharacters) {
  EXPECT_TRUE(IsTitle(""));
  EXPECT_TRUE(IsTitle("Zahlen <b>&"));
  EXPECT_FALSE(IsTitle("two\nlines"));
  EXPECT_FALSE(IsTitle("\xFF"));
  std::string long_one;
  for (int i = 0; i < 200; ++i) long_one += "ü";
  EXPECT_TRUE(IsTitle(long_one));
  EXPECT_FALSE(IsTitle(long_one + "ü"));
}

TEST(Title, OfAFileIsItsNameWithoutFoldersAndExtension) {
  EXPECT_EQ(TitleOf("/home/ada/My letter.inkml"), "My letter");
  EXPECT_EQ(TitleOf("letter"), "letter");
  EXPECT_EQ(TitleOf("a.b.stf2"), "a.b");
  EXPECT_EQ(TitleOf(".hidden"), ".hidden");
  EXPECT_EQ(TitleOf(""), "");
}

TEST(Title, OfAFileWhoseNameIsNoTextIsEmpty) {
  EXPECT_EQ(TitleOf("bad\xFFname.stf2"), "");
  EXPECT_EQ(TitleOf("two\nlines.stf2"), "");
}
