// The completions of the shells, against what the tool says in its help. bash is there on every
// machine; scripts/install-deps brings zsh and fish.

#include <gmock/gmock.h>

#include <set>
#include <sstream>

#include "ink/Paper.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace {

using TalvoInk::PageSizeNames;
using testing::Contains;
using testing::IsSupersetOf;
using testing::UnorderedElementsAre;

using Words = std::set<std::string>;

const char* const kCommands[] = {"info",   "convert", "split",  "merge", "render",
                                 "replay", "stats",   "keygen", "seal",  "open"};

Words LinesOf(const std::string& text) {
  std::istringstream in(text);
  Words lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.insert(line.substr(0, line.find('\t')));
  }
  return lines;
}

Words OptionsInHelp(const std::string& command) {
  std::istringstream help(RunToEnd({STF2_PROGRAM, command, "--help"}).output);
  Words options;
  for (std::string line; std::getline(help, line);) {
    const std::size_t begin = line.find("--");
    if (line.compare(0, 3, "  -") != 0 || begin == std::string::npos) continue;
    const std::size_t end = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", begin);
    options.insert(line.substr(begin, end - begin));
  }
  EXPECT_GE(options.size(), 3u) << command;
  return options;
}

Words InBash(const std::vector<std::string>& line) {
  std::string words = std::string("'") + STF2_PROGRAM + "'";
  for (const std::string& word : line) words += " '" + word + "'";
  const Finished bash =
      RunToEnd({"/bin/bash", "-c",
                std::string("source '") + COMPLETIONS + "/stf2.bash'; COMP_WORDS=(" + words +
                    "); COMP_CWORD=" + std::to_string(line.size()) +
                    "; _stf2; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ("", bash.error);
  return LinesOf(bash.output);
}

Words InFish(const std::string& line, const TestRoot& root) {
  const std::string home = root.path().string();  // in the user's it would make directories
  const std::string program = STF2_PROGRAM;
  const std::string folder = program.substr(0, program.rfind('/'));
  const Finished fish = RunToEnd(
      {"/usr/bin/fish", "--no-config", "-c",
       "set -x PATH '" + folder + "' $PATH; source " + COMPLETIONS +
           "/stf2.fish; complete -C 'stf2 " + line + "'"},
      {{"HOME", home}, {"XDG_CONFIG_HOME", home + "/config"}, {"XDG_DATA_HOME", home + "/data"}});
  EXPECT_EQ("", fish.error);
  return LinesOf(fish.output);
}

TEST(InkCompletions, OfBashOfferCommandsOptionsAndValues) {
  EXPECT_THAT(InBash({""}), IsSupersetOf(kCommands));
  for (const char* command : kCommands) {
    EXPECT_THAT(InBash({command, "--"}), IsSupersetOf(OptionsInHelp(command))) << command;
  }
  EXPECT_THAT(InBash({"convert", "--to", ""}), UnorderedElementsAre("stf2", "inkml", "xopp"));
  EXPECT_THAT(InBash({"render", "--page-size", ""}), IsSupersetOf(PageSizeNames()));
}

TEST(InkCompletions, OfFishOfferCommandsOptionsAndValues) {
  const TestRoot root;
  EXPECT_THAT(InFish("", root), IsSupersetOf(kCommands));
  for (const char* command : kCommands) {
    EXPECT_THAT(InFish(std::string(command) + " --", root), IsSupersetOf(OptionsInHelp(command)))
        << command;
  }
  EXPECT_THAT(InFish("render --to ", root), Contains("pdf"));
}

// zsh completes only for somebody at a terminal; here it reads the file.
TEST(InkCompletions, OfZshAreReadWithoutFault) {
  const Finished zsh = RunToEnd({"/usr/bin/zsh", "-f", "-n", std::string(COMPLETIONS) + "/_stf2"});
  EXPECT_EQ(0, zsh.status);
  EXPECT_EQ("", zsh.error);
}

}  // namespace
