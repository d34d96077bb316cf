// The completions of the shells, against what the programs themselves say in their help. bash is
// there on every machine; scripts/install-deps brings zsh and fish.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <iterator>
#include <set>
#include <sstream>

#include "support/Process.h"
#include "support/TestRoot.h"

using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

namespace {

typedef std::set<std::string> Words;

// A command line up to the cursor, as words.
typedef std::vector<std::string> Line;

const std::vector<Line> kCommands = {{"quillpost"},
                                     {"quillpost", "hello"},
                                     {"quillpost", "import"},
                                     {"quillpost", "listen"},
                                     {"quillpost", "status"},
                                     {"quillpost", "subscriptions"},
                                     {"quillpost", "subscriptions", "list"},
                                     {"quillpost", "subscriptions", "check"},
                                     {"quillpost", "subscriptions", "add"},
                                     {"quillpost", "subscriptions", "remove"},
                                     {"quillpostd"}};

std::string Join(const Line& line) {
  std::string joined;
  for (const std::string& word : line) joined += (joined.empty() ? "" : " ") + word;
  return joined;
}

// The long options that the help of a command lists, at the beginnings of lines.
Words OptionsInHelp(Line command) {
  command[0] = command[0] == "quillpost" ? QUILLPOST : QUILLPOSTD;
  command.push_back("--help");
  std::istringstream help(RunToEnd(command).output);
  Words options;
  for (std::string line; std::getline(help, line);) {
    const std::size_t begin = line.find("--");
    if (line.compare(0, 3, "  -") != 0 || begin == std::string::npos) continue;
    const std::size_t end = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", begin);
    options.insert(line.substr(begin, end - begin));
  }
  return options;
}

Words LinesOf(const std::string& text) {
  std::istringstream in(text);
  Words lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.insert(line.substr(0, line.find('\t')));
  }
  return lines;
}

Words CompleteInBash(const Line& line) {
  std::string words;
  for (const std::string& word : line) words += " '" + word + "'";
  const std::string function = line[0] == "quillpost" ? "_quillpost" : "_quillpostd";
  const Finished bash =
      RunToEnd({"/bin/bash", "-c",
                std::string("source '") + COMPLETIONS + "/quillpost.bash'; COMP_WORDS=(" + words +
                    "); COMP_CWORD=" + std::to_string(line.size() - 1) + "; " + function +
                    "; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ("", bash.error);
  return LinesOf(bash.output);
}

Words CompleteInFish(const Line& line) {
  const std::string home = ::getenv("QUILLPOST_ROOT");  // in the user's it would make directories
  const Finished fish = RunToEnd(
      {"/usr/bin/fish", "--no-config", "-c",
       std::string("source ") + COMPLETIONS + "/quillpost.fish; complete -C '" + Join(line) + "'"},
      {{"HOME", home}, {"XDG_CONFIG_HOME", home + "/config"}, {"XDG_DATA_HOME", home + "/data"}});
  EXPECT_EQ("", fish.error);
  return LinesOf(fish.output);
}

// A user's directory with two applications that have subscribed.
class Completions : public testing::Test {
 protected:
  Completions() {
    root_.Subscribe("Notes", "1.2.3.4");
    root_.Subscribe("My Archive", "1.2.3.4");
  }

  static void ExpectEveryOption(Words (*complete)(const Line&)) {
    for (const Line& command : kCommands) {
      Line line = command;
      if (command.back() == "add" || command.back() == "listen") line.push_back("App");
      line.push_back("--");
      EXPECT_THAT(complete(line), IsSupersetOf(OptionsInHelp(command))) << Join(command);
    }
  }

 private:
  TestRoot root_;
};

TEST_F(Completions, OfBashOfferEveryOptionOfEveryCommand) {
  ExpectEveryOption(&CompleteInBash);
}

TEST_F(Completions, OfBashOfferCommandsAndSubscribedApplications) {
  EXPECT_THAT(CompleteInBash({"quillpost", "h"}), UnorderedElementsAre("hello"));
  EXPECT_THAT(CompleteInBash({"quillpost", "subscriptions", ""}),
              IsSupersetOf({"list", "check", "add", "remove"}));
  EXPECT_THAT(CompleteInBash({"quillpost", "listen", ""}),
              UnorderedElementsAre("Notes", "My Archive"));
  EXPECT_THAT(CompleteInBash({"quillpost", "subscriptions", "remove", "My"}),
              UnorderedElementsAre("My Archive"));
  EXPECT_THAT(CompleteInBash({"quillpostd", "--log-level", ""}),
              UnorderedElementsAre("1", "2", "3", "4"));
}

TEST_F(Completions, OfFishOfferEveryOptionOfEveryCommand) {
  ExpectEveryOption(&CompleteInFish);
}

TEST_F(Completions, OfFishOfferCommandsAndSubscribedApplications) {
  EXPECT_THAT(CompleteInFish({"quillpost", "h"}), UnorderedElementsAre("hello"));
  EXPECT_THAT(CompleteInFish({"quillpost", "listen", ""}),
              UnorderedElementsAre("Notes", "My Archive"));
  EXPECT_THAT(CompleteInFish({"quillpost", "subscriptions", ""}),
              UnorderedElementsAre("list", "check", "add", "remove"));
}

// zsh completes only for somebody at a terminal; here it reads the file, and the names in it are
// compared.
TEST_F(Completions, OfZshAreReadWithoutFaultAndNameEveryOption) {
  const std::string file = std::string(COMPLETIONS) + "/_quillpost";
  const std::string text = ReadFile(file);
  for (const Line& command : kCommands) {
    for (const std::string& option : OptionsInHelp(command)) {
      EXPECT_THAT(text, testing::HasSubstr(option)) << Join(command);
    }
  }
  const Finished zsh = RunToEnd({"/usr/bin/zsh", "-f", "-n", file});
  EXPECT_EQ(0, zsh.status);
  EXPECT_EQ("", zsh.error);
}

}  // namespace
