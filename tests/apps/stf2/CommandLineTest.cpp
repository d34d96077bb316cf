#include "CommandLine.h"

#include <gmock/gmock.h>

#include "ToolRun.h"

namespace InkTool {
namespace {

using testing::AnyOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(CommandLine, WrongUsageIsStatusTwo) {
  const ToolFolder folder;
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"dance"},
      {"info"},
      {"info", "--wrong", "@note.inkml"},
      {"convert", "--pen", "blue", "@note.inkml"},
      {"convert", "--page", "one", "@note.inkml"},
      {"convert", "--start-time", "noon", "@note.inkml"},
      {"convert", "--start-time", "2026-13-01T00:00Z", "@note.inkml"},
      {"convert", "--start-time", "1970-01-01T00:00Z", "@note.inkml"},  // 0, which means no time
      {"convert", "--to", "svg", "@note.inkml"},
      {"convert", "--page-per-file", "@note.inkml"},
      {"convert", "@note.inkml", "@letter.inkml", "-o", "@one.stf2"},
      {"merge", "@note.inkml"},
      {"merge", "@note.inkml", "-o", "@"},
      {"split", "@note.inkml", "-o", "@one.stf2"},
      {"render", "--dpi", "0", "@note.inkml"},
      {"render", "--page-size", "huge", "@note.inkml"},
      {"seal", "@note.inkml"},
      {"keygen"}};
  const auto before = folder.Names();
  for (const auto& arguments : wrong) {
    const Outcome outcome = folder.Run(arguments);
    EXPECT_EQ(outcome.status, 2) << testing::PrintToString(arguments);
    EXPECT_NE(outcome.err, "") << testing::PrintToString(arguments);
    EXPECT_EQ(outcome.out, "") << testing::PrintToString(arguments);
  }
  EXPECT_EQ(folder.Names(), before);
}

TEST(CommandLine, AnUnknownCommandIsNamed) {
  const ToolFolder folder;
  EXPECT_EQ(folder.Run({"foo"}).err,
            "stf2: 'foo' is not one of its commands: info, convert, split, merge, render, replay, "
            "stats, keygen, "
            "seal, open\nRun with --help for more information.\n");
  EXPECT_THAT(folder.Run({}).err, StartsWith("stf2: a command is missing: one of info, "));
}

TEST(CommandLine, HelpBeginsWithExamples) {
  const ToolFolder folder;
  for (const char* command : {"info", "convert", "split", "merge", "render", "replay", "stats",
                              "keygen", "seal", "open"}) {
    const Outcome outcome = folder.Run({command, "--help"});
    EXPECT_EQ(outcome.status, 0) << command;
    EXPECT_THAT(outcome.out, StartsWith("Examples:\n  stf2 " + std::string(command)));
  }
  EXPECT_THAT(folder.Run({"--help"}).out, StartsWith("Examples:\n"));
  EXPECT_THAT(folder.Run({"--version"}).out, StartsWith("stf2 "));
}

// Every option and every example that the help names.
TEST(CommandLine, TheManPageKnowsWhatTheHelpSays) {
  const ToolFolder folder;
  std::string page;
  for (const char c : ReadFile(STF2_MAN_PAGE)) {
    if (c != '\\') page += c;
  }
  for (const char* command : {"info", "convert", "split", "merge", "render", "replay", "stats",
                              "keygen", "seal", "open"}) {
    std::istringstream help(folder.Run({command, "--help"}).out);
    int options = 0;
    for (std::string line; std::getline(help, line);) {
      const std::size_t name = line.find("--");
      if (line.compare(0, 3, "  -") != 0 || name == line.npos) continue;
      const std::string option = line.substr(name, line.find_first_of(" :", name) - name);
      EXPECT_THAT(page, AnyOf(HasSubstr(option + "\n"), HasSubstr(option + " "))) << command;
      ++options;
    }
    EXPECT_GE(options, 1) << command;
    EXPECT_THAT(page, HasSubstr("stf2 " + std::string(command))) << command;
  }
}

}  // namespace
}  // namespace InkTool
