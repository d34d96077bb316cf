#include "cli/Help.h"

#include <gmock/gmock.h>

#include <CLI/CLI.hpp>
#include <sstream>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

// A program with options and a command of every kind.
class HelpTest : public testing::Test {
 protected:
  HelpTest() {
    app_.name("pens");
    DeclareHelpAndVersion(app_);
    app_.add_option("--pen", pen_, "The pen")->type_name("PEN")->required();
    CLI::App* const list = app_.add_subcommand("list", "Lists pens\nand much more");
    list->add_option("files", files_, "What to look at");
    list->add_option("--sort-by-date-of-writing", sort_,
                     "A description that is much longer than what a line of a terminal of eighty "
                     "columns holds beside the name")
        ->type_name("ORDER");
    app_.add_subcommand("merge", "Merges ink");
  }

  // Status, standard output and standard error of a command line.
  std::string Run(std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    int status = 0;
    try {
      app_.parse(arguments);
    } catch (const CLI::ParseError& error) {
      status = FinishParsing(app_, error);
    }
    return std::to_string(status) + "|" + testing::internal::GetCapturedStdout() + "|" +
           testing::internal::GetCapturedStderr();
  }

  CLI::App app_;
  std::string pen_, sort_;
  std::vector<std::string> files_;
};

}  // namespace

TEST_F(HelpTest, HelpAndVersionGoToStandardOutput) {
  EXPECT_THAT(Run({"--version"}), StartsWith("0|pens "));
  EXPECT_THAT(Run({"--help"}), HasSubstr("Print this help and exit"));
  EXPECT_THAT(Run({"list", "-h"}), StartsWith("0|Lists pens\nand much more"));
}

TEST_F(HelpTest, NoLineOfOptionsIsWiderThanATerminal) {
  for (const auto& arguments : {std::vector<std::string>{"--help"}, {"list", "--help"}}) {
    std::istringstream lines(Run(arguments));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), kHelpColumns) << line;
  }
}

TEST_F(HelpTest, ALongDescriptionGoesOnBelowItsBeginning) {
  EXPECT_THAT(
      Run({"list", "--help"}),
      HasSubstr("  --sort-by-date-of-writing ORDER\n"
                "                          A description that is much longer than what a line of\n"
                "                          a terminal of eighty columns holds beside the name\n"));
}

TEST_F(HelpTest, CommandsAreListedWithTheirFirstLine) {
  const std::string help = Run({"--help"});
  EXPECT_THAT(help, HasSubstr("  list                    Lists pens\n"));
  EXPECT_THAT(help, HasSubstr("  merge                   Merges ink\n"));
}

TEST_F(HelpTest, WhatIsNeededAndWhatMayBeManyIsSaid) {
  EXPECT_THAT(Run({"--help"}), HasSubstr("  --pen PEN               The pen (required)\n"));
  EXPECT_THAT(Run({"list", "--help"}), HasSubstr("files...                What to look at\n"));
}

TEST_F(HelpTest, WrongUsageIsOneLineThatSuggestsWhatIsMeant) {
  EXPECT_EQ(Run({"--pen", "1", "lst"}),
            "2||pens: there is no command 'lst'; did you mean 'list'? 'pens --help' tells more\n");
  EXPECT_EQ(Run({"--pen", "1", "merge", "--hlep"}),
            "2||pens: there is no option '--hlep'; did you mean '--help'? 'pens merge --help' "
            "tells more\n");
  EXPECT_EQ(Run({"--pen", "1", "merge", "ink"}),
            "2||pens: there is no further argument 'ink'; 'pens merge --help' tells more\n");
  EXPECT_EQ(Run({"list"}), "2||pens: --pen is required; 'pens list --help' tells more\n");
}

TEST(FindSimilar, AThirdOfTheLettersMayBeWrong) {
  const std::vector<std::string> known = {"import", "listen", "status"};
  EXPECT_EQ(FindSimilar("imprt", known), "import");
  EXPECT_EQ(FindSimilar("sttaus", known), "status");
  EXPECT_EQ(FindSimilar("sl", {"ls"}), "ls");  // two letters swapped are one mistake
  EXPECT_EQ(FindSimilar("listening", known), "listen");
  EXPECT_EQ(FindSimilar("delete", known), "");
  EXPECT_EQ(FindSimilar("list", {}), "");
}

TEST(FindSimilar, ABeginningIsMeant) {
  EXPECT_EQ(FindSimilar("sub", {"status", "subscriptions"}), "subscriptions");
  EXPECT_EQ(FindSimilar("--page", {"--page-size", "--pen"}), "--page-size");
}
