#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Process.h"
#include "support/TestRoot.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

Finished Call(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), QUILLPOST);
  return RunToEnd(arguments);
}

}  // namespace

TEST(CommandLine, HelpOfEveryCommandHasItsExamplesBeforeTheOptions) {
  for (const char* command : {"", "hello", "import", "listen", "status", "subscriptions"}) {
    std::vector<std::string> arguments = {"--help"};
    if (*command != '\0') arguments.insert(arguments.begin(), command);
    const Finished help = Call(arguments);
    EXPECT_EQ(0, help.status);
    const std::size_t examples = help.output.find("Examples:\n  quillpost ");
    const std::size_t usage = help.output.find("Usage: ");
    ASSERT_NE(std::string::npos, examples) << command;
    ASSERT_NE(std::string::npos, usage) << command;
    EXPECT_LT(examples, usage) << command;
  }
}

TEST(CommandLine, WrongUsageIsExit2WithALineThatSaysWhatIsWrong) {
  const Finished nothing = Call({});
  EXPECT_EQ(2, nothing.status);
  EXPECT_EQ("quillpost: a command is missing; --help tells more\n", nothing.error);
  const Finished half = Call({"subscriptions"});
  EXPECT_EQ(2, half.status);
  EXPECT_EQ("quillpost: list, check, add or remove is missing; --help tells more\n", half.error);
  EXPECT_EQ(2, Call({"subscriptions", "check"}).status);
  EXPECT_EQ(2, Call({"hello", "there"}).status);
  EXPECT_EQ(2, Call({"listen"}).status);
  const Finished command = Call({"recieve"});
  EXPECT_EQ(2, command.status);
  EXPECT_THAT(command.error, HasSubstr("recieve"));
  const Finished files = Call({"import"});
  EXPECT_EQ(2, files.status);
  EXPECT_THAT(files.error, HasSubstr("files is required"));
  const Finished count = Call({"listen", "Notes", "--count", "0"});
  EXPECT_EQ(2, count.status);
  EXPECT_THAT(count.error, HasSubstr("--count"));
  const Finished page = Call({"listen", "Notes", "--ignore", "1.2"});
  EXPECT_EQ(2, page.status);
  EXPECT_THAT(page.error, HasSubstr("\"1.2\" is no page address"));
  const Finished both = Call({"listen", "Notes", "--ignore", "1.2.3.4", "--reject"});
  EXPECT_EQ(2, both.status);
}

TEST(CommandLine, VersionIsPrinted) {
  const Finished version = Call({"--version"});
  EXPECT_EQ(0, version.status);
  EXPECT_THAT(version.output, ContainsRegex("^quillpost [0-9]+[.][0-9]+[.][0-9]+\n$"));
}

TEST(CommandLine, AFullDiskBehindStandardOutputIsExit1) {
  TestRoot root;
  const Finished status = RunToEnd(
      {"/bin/sh", "-c", std::string("exec '") + QUILLPOST + "' subscriptions list >/dev/full"});
  EXPECT_EQ(1, status.status);
  EXPECT_EQ("quillpost: can't write to standard output\n", status.error);
}

TEST(CommandLine, EveryCommandThatNeedsAServiceIsExit3WithoutOne) {
  TestRoot root;
  EXPECT_EQ(3, Call({"hello"}).status);
  EXPECT_EQ(3, Call({"import", "page.stf2"}).status);
  EXPECT_EQ(3, Call({"listen", "Notes"}).status);
}
