#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "HelpOptions.h"
#include "support/Process.h"
#include "support/TestRoot.h"

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
  EXPECT_EQ("quillpost: there is no command 'recieve'; 'quillpost --help' tells more\n",
            command.error);
  const Finished files = Call({"import"});
  EXPECT_EQ(2, files.status);
  EXPECT_THAT(files.error, HasSubstr("quillpost: FILE is required"));
  const Finished count = Call({"listen", "Notes", "--count", "0"});
  EXPECT_EQ(2, count.status);
  EXPECT_THAT(count.error, HasSubstr("--count"));
  const Finished page = Call({"listen", "Notes", "--ignore", "1.2"});
  EXPECT_EQ(2, page.status);
  EXPECT_THAT(page.error, HasSubstr("\"1.2\" is not a valid page address"));
  const Finished both = Call({"listen", "Notes", "--ignore", "1.2.3.4", "--reject"});
  EXPECT_EQ(2, both.status);
}

TEST(CommandLine, SuggestsWhatWasMeant) {
  EXPECT_EQ(
      "quillpost: there is no command 'imprt'; did you mean 'import'? 'quillpost --help' tells "
      "more\n",
      Call({"imprt"}).error);
  EXPECT_THAT(Call({"subscriptions", "lst"}).error, HasSubstr("did you mean 'list'?"));
  EXPECT_THAT(Call({"listen", "Notes", "--idel"}).error, HasSubstr("did you mean '--idle'?"));
  EXPECT_THAT(Call({"sub"}).error, HasSubstr("did you mean 'subscriptions'?"));
  EXPECT_EQ(2, Call({"imprt"}).status);
}

TEST(CommandLine, EveryComplaintBeginsWithTheProgramsName) {
  const std::vector<std::vector<std::string>> wrong = {{},
                                                       {"x"},
                                                       {"--x"},
                                                       {"import"},
                                                       {"import", "--wait", "x", "f"},
                                                       {"listen"},
                                                       {"help", "x"},
                                                       {"hello", "there"},
                                                       {"subscriptions", "add", "--page", "1.2"},
                                                       {"import", "--wait"}};
  for (const auto& arguments : wrong) {
    const Finished call = Call(arguments);
    EXPECT_EQ(2, call.status) << call.error;
    EXPECT_THAT(call.error, testing::StartsWith("quillpost: "));
    EXPECT_EQ(1, std::count(call.error.begin(), call.error.end(), '\n')) << call.error;
  }
}

TEST(CommandLine, HelpIsACommandToo) {
  EXPECT_EQ(Call({"--help"}).output, Call({"help"}).output);
  EXPECT_EQ(Call({"listen", "--help"}).output, Call({"help", "listen"}).output);
  const Finished add = Call({"help", "subscriptions", "add"});
  EXPECT_EQ(0, add.status);
  EXPECT_EQ(Call({"subscriptions", "add", "--help"}).output, add.output);
  EXPECT_THAT(add.output, HasSubstr("\nUsage: quillpost subscriptions add [OPTIONS] [APP]\n"));
}

TEST(CommandLine, HelpFitsInto80Columns) {
  for (const Line& command : kCommands) {
    Line line = command;
    line[0] = line[0] == "quillpost" ? QUILLPOST : QUILLPOSTD;
    line.push_back("--help");
    std::istringstream help(RunToEnd(line).output);
    for (std::string text; std::getline(help, text);) EXPECT_LE(text.size(), 80u) << text;
  }
}

TEST(CommandLine, VersionIsTheProjects) {
  const Finished version = Call({"--version"});
  EXPECT_EQ(0, version.status);
  EXPECT_EQ("quillpost " QUILLPOST_VERSION "\n", version.output);
}

TEST(CommandLine, AFullDiskBehindStandardOutputIsExit1) {
  TestRoot root;
  const Finished status = RunToEnd(
      {"/bin/sh", "-c", std::string("exec '") + QUILLPOST + "' subscriptions list >/dev/full"});
  EXPECT_EQ(1, status.status);
  EXPECT_EQ("quillpost: can't write to standard output\n", status.error);
}

TEST(CommandLine, AReaderThatHasGoneIsNotAFailure) {
  TestRoot root;
  const Finished list = RunToEnd(
      {"/bin/bash", "-c",
       std::string("exec 3> >(exec true); wait $!; '") + QUILLPOST + "' subscriptions list >&3"});
  EXPECT_EQ(0, list.status);
  EXPECT_EQ("", list.error);
}

TEST(CommandLine, EveryCommandThatNeedsAServiceIsExit3WithoutOne) {
  TestRoot root;
  EXPECT_EQ(3, Call({"hello"}).status);
  EXPECT_EQ(3, Call({"import", "page.stf2"}).status);
  EXPECT_EQ(3, Call({"listen", "Notes"}).status);
}
