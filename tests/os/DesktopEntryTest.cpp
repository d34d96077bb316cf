#include "DesktopEntry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/TestRoot.h"

using testing::ElementsAre;

namespace {

std::vector<std::string> Parsed(const std::string& exec) {
  std::vector<std::string> arguments;
  return TalvoOS::ParseExec(exec, arguments) ? arguments : std::vector<std::string>{"(refused)"};
}

std::vector<std::string> Read(const std::string& content) {
  TestRoot root;
  const auto file = root.path() / "x.desktop";
  WriteFile(file, content);
  TalvoOS::DesktopEntry entry;
  return TalvoOS::ReadDesktopEntry(file.string(), entry) ? entry.arguments
                                                         : std::vector<std::string>{"(refused)"};
}

}  // namespace

TEST(ParseExec, SeparatesArgumentsByBlanks) {
  EXPECT_THAT(Parsed("notes --new  page"), ElementsAre("notes", "--new", "page"));
  EXPECT_THAT(Parsed("  notes  "), ElementsAre("notes"));
}

TEST(ParseExec, UndoesQuotes) {
  EXPECT_THAT(Parsed(R"("/opt/my notes/run" "" "a b")"),
              ElementsAre("/opt/my notes/run", "", "a b"));
  EXPECT_THAT(Parsed(R"(notes "say \\"hi\\" \\$5 \\`x\\` \\\\n")"),
              ElementsAre("notes", R"(say "hi" $5 `x` \n)"));
  EXPECT_THAT(Parsed(R"(notes --title="a b")"), ElementsAre("notes", "--title=a b"));
}

TEST(ParseExec, UndoesTheEscapesOfAllStrings) {
  EXPECT_THAT(Parsed(R"(notes\sx "a\tb" c\\d)"), ElementsAre("notes", "x", "a\tb", R"(c\d)"));
}

TEST(ParseExec, DropsFieldCodes) {
  EXPECT_THAT(Parsed("notes %f %F %u %U %i %c %k"), ElementsAre("notes"));
  EXPECT_THAT(Parsed("notes --file=%f x"), ElementsAre("notes", "--file=", "x"));
  EXPECT_THAT(Parsed("notes 100%% %%f"), ElementsAre("notes", "100%", "%f"));
}

TEST(ParseExec, RefusesALineThatBreaksTheRules) {
  EXPECT_THAT(Parsed("notes \"open"), ElementsAre("(refused)"));
  EXPECT_THAT(Parsed("notes %z"), ElementsAre("(refused)"));
  EXPECT_THAT(Parsed("notes %"), ElementsAre("(refused)"));
  EXPECT_THAT(Parsed(""), ElementsAre("(refused)"));
  EXPECT_THAT(Parsed("%U"), ElementsAre("(refused)"));
  EXPECT_THAT(Parsed("\"\" notes"), ElementsAre("(refused)"));
  EXPECT_THAT(Parsed(std::string("notes\0x", 7)), ElementsAre("(refused)"));
}

TEST(ReadDesktopEntry, TakesTheExecLineOfItsOwnGroup) {
  EXPECT_THAT(Read("# a comment\n[Desktop Action New]\nExec=notes --new\n\n"
                   "[Desktop Entry]\nName=Notes\nTryExec=other\nExec = notes %U\r\n"
                   "[Desktop Action Old]\nExec=notes --old\n"),
              ElementsAre("notes"));
}

TEST(ReadDesktopEntry, RefusesAFileWithoutOne) {
  EXPECT_THAT(Read("[Desktop Entry]\nName=Notes\n[Desktop Action New]\nExec=notes\n"),
              ElementsAre("(refused)"));
  EXPECT_THAT(Read("Exec=notes\n"), ElementsAre("(refused)"));
  EXPECT_THAT(Read("[Desktop Entry]\nExec=\n"), ElementsAre("(refused)"));
  EXPECT_THAT(Read(std::string("[Desktop Entry]\nExec=notes\n") + std::string(2 << 20, '#')),
              ElementsAre("(refused)"));
}

TEST(ReadDesktopEntry, TakesThePathLineOfItsOwnGroup) {
  TestRoot root;
  const auto file = root.path() / "x.desktop";
  TalvoOS::DesktopEntry entry;
  WriteFile(file, "[Desktop Entry]\nPath=/opt/my\\snotes\nExec=notes\n[Other]\nPath=/other\n");
  ASSERT_TRUE(TalvoOS::ReadDesktopEntry(file.string(), entry));
  EXPECT_EQ("/opt/my notes", entry.directory);
  WriteFile(file, "[Desktop Entry]\nExec=notes\n");
  ASSERT_TRUE(TalvoOS::ReadDesktopEntry(file.string(), entry));
  EXPECT_EQ("", entry.directory);
}
