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

#include "HelpOptions.h"
#include "support/Process.h"
#include "support/TestRoot.h"

using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

namespace {

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
      EXPECT_THAT(complete(line), IsSupersetOf(OptionsOf(command))) << Join(command);
    }
  }

  TestRoot root_;
};

TEST_F(Completions, OfBashOfferEveryOptionOfEveryCommand) {
  ExpectEveryOption(&CompleteInBash);
}

TEST_F(Completions, OfBashOfferCommandsAndSubscribedApplications) {
  EXPECT_THAT(CompleteInBash({"quillpost", "h"}), UnorderedElementsAre("hello", "help"));
  EXPECT_THAT(CompleteInBash({"quillpost", "subscriptions", ""}),
              IsSupersetOf({"list", "check", "add", "remove"}));
  EXPECT_THAT(CompleteInBash({"quillpost", "listen", ""}),
              UnorderedElementsAre("Notes", "My Archive"));
  EXPECT_THAT(CompleteInBash({"quillpost", "subscriptions", "remove", "My"}),
              UnorderedElementsAre("My Archive"));
  EXPECT_THAT(CompleteInBash({"quillpostd", "--log-level", ""}),
              UnorderedElementsAre("error", "warning", "information", "trace"));
}

TEST_F(Completions, OfFishOfferEveryOptionOfEveryCommand) {
  ExpectEveryOption(&CompleteInFish);
}

TEST_F(Completions, OfFishOfferCommandsAndSubscribedApplications) {
  EXPECT_THAT(CompleteInFish({"quillpost", "h"}), UnorderedElementsAre("hello", "help"));
  EXPECT_THAT(CompleteInFish({"quillpost", "listen", ""}),
              UnorderedElementsAre("Notes", "My Archive"));
  EXPECT_THAT(CompleteInFish({"quillpost", "subscriptions", ""}),
              UnorderedElementsAre("list", "check", "add", "remove"));
}

TEST_F(Completions, OfZshAreReadWithoutFaultAndNameEveryOption) {
  const std::string file = std::string(COMPLETIONS) + "/_quillpost";
  const std::string text = ReadFile(file);
  for (const Line& command : kCommands) {
    for (const std::string& option : OptionsOf(command)) {
      EXPECT_NE(std::string::npos, text.find(option)) << Join(command) << " " << option;
    }
  }
  const Finished zsh = RunToEnd({"/usr/bin/zsh", "-f", "-n", file});
  EXPECT_EQ(0, zsh.status);
  EXPECT_EQ("", zsh.error);
}

// zsh completes only for somebody at a terminal: one of its own makes it one. What it makes of a
// line and the tabulator is what a command of that name gets as arguments.
std::string CompleteInZsh(const std::string& line) {
  const std::string script = R"zsh(
    zmodload zsh/zpty
    zpty shell 'TERM=dumb zsh -f -i'
    zpty -w shell "PROMPT=; fpath=($1 \$fpath); autoload -Uz compinit; compinit -D -u
      quillpost() { print -r \"GOT<\${(j:|:)@}>\" }; print READY\$((1+1))"
    zpty -r shell text '*READY2*'
    zpty -w -n shell "$2"$'\t\n'
    zpty -r shell text '*GOT<*>*'
    print -r -- "${${text##*GOT<}%%>*}"
    zpty -d shell)zsh";
  const Finished zsh = RunToEnd({"/usr/bin/zsh", "-f", "-c", script, "zsh", COMPLETIONS, line});
  EXPECT_EQ("", zsh.error);
  return zsh.output;
}

TEST_F(Completions, OfZshCompleteNamesWithColonsAndBlanks) {
  root_.Subscribe("com.example:notes", "1.2.3.4");
  EXPECT_EQ("listen|com.example:notes\n", CompleteInZsh("quillpost listen com"));
  EXPECT_EQ("subscriptions|remove|My Archive\n",
            CompleteInZsh("quillpost subscriptions remove My"));
  EXPECT_EQ("hello\n", CompleteInZsh("quillpost hell"));
}

}  // namespace
