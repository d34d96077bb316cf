// Completions and manual page, against what the program says in its help. bash is there on every
// machine; scripts/install-deps brings zsh, fish and groff.

#include <gmock/gmock.h>

#include <set>
#include <sstream>

#include "support/Process.h"
#include "support/TestRoot.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

using Words = std::set<std::string>;

const std::vector<std::vector<std::string>> kCommands = {
    {}, {"show"}, {"import"}, {"export"}, {"backup"}};

Words LinesOf(const std::string& text) {
  std::istringstream in(text);
  Words lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.insert(line.substr(0, line.find('\t')));
  }
  return lines;
}

Words OptionsInHelp(std::vector<std::string> command) {
  command.insert(command.begin(), QUILLPOST_INBOX);
  command.push_back("--help");
  std::istringstream help(RunToEnd(command).output);
  Words options;
  for (std::string line; std::getline(help, line);) {
    const std::size_t begin = line.find("--");
    if (line.compare(0, 3, "  -") != 0 || begin == std::string::npos) continue;
    const std::size_t end = line.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", begin);
    options.insert(line.substr(begin, end - begin));
  }
  EXPECT_FALSE(options.empty());
  return options;
}

Words InBash(const std::vector<std::string>& line) {
  std::string words = std::string("'") + QUILLPOST_INBOX + "'";
  for (const std::string& word : line) words += " '" + word + "'";
  const Finished bash =
      RunToEnd({"/bin/bash", "-c",
                std::string("source '") + COMPLETIONS + "/quillpost-inbox.bash'; COMP_WORDS=(" +
                    words + "); COMP_CWORD=" + std::to_string(line.size()) +
                    "; _quillpost_inbox; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ("", bash.error);
  return LinesOf(bash.output);
}

Words InFish(const std::string& line, const TestRoot& root) {
  const std::string home = root.path().string();  // in the user's it would make directories
  const std::string program = QUILLPOST_INBOX;
  const std::string folder = program.substr(0, program.rfind('/'));
  const Finished fish = RunToEnd(
      {"/usr/bin/fish", "--no-config", "-c",
       "set -x PATH '" + folder + "' $PATH; source " + COMPLETIONS +
           "/quillpost-inbox.fish; complete -C 'quillpost-inbox " + line + "'"},
      {{"HOME", home}, {"XDG_CONFIG_HOME", home + "/config"}, {"XDG_DATA_HOME", home + "/data"}});
  EXPECT_EQ("", fish.error);
  return LinesOf(fish.output);
}

std::string Joined(const std::vector<std::string>& words) {
  std::string joined;
  for (const std::string& word : words) joined += word + " ";
  return joined;
}

}  // namespace

TEST(InboxCompletions, OfBashOfferCommandsOptionsAndValues) {
  EXPECT_THAT(InBash({""}), IsSupersetOf({"show", "import", "export", "backup"}));
  for (std::vector<std::string> command : kCommands) {
    const Words options = OptionsInHelp(command);
    command.push_back("--");
    EXPECT_THAT(InBash(command), IsSupersetOf(options)) << Joined(command);
  }
  EXPECT_THAT(InBash({"export", "--to", ""}), Contains("xopp"));
}

TEST(InboxCompletions, OfFishOfferCommandsOptionsAndValues) {
  const TestRoot root;
  EXPECT_THAT(InFish("", root), IsSupersetOf({"show", "import", "export", "backup"}));
  for (const auto& command : kCommands) {
    EXPECT_THAT(InFish(Joined(command) + "--", root), IsSupersetOf(OptionsInHelp(command)))
        << Joined(command);
  }
  EXPECT_THAT(InFish("export --to ", root), Contains("pdf"));
}

// zsh completes only for somebody at a terminal; here it reads the file.
TEST(InboxCompletions, OfZshAreReadWithoutFault) {
  const Finished zsh =
      RunToEnd({"/usr/bin/zsh", "-f", "-n", std::string(COMPLETIONS) + "/_quillpost-inbox"});
  EXPECT_EQ(0, zsh.status);
  EXPECT_EQ("", zsh.error);
}

TEST(InboxManual, TellsEveryOptionWithoutAFaultOfFormat) {
  const std::string file = std::string(MANUAL) + "/quillpost-inbox.1";
  std::string page;
  const std::string source = ReadFile(file);
  for (std::size_t i = 0; i < source.size(); ++i) {
    if (source[i] != '\\') page += source[i];
  }
  for (const auto& command : kCommands) {
    for (const std::string& option : OptionsInHelp(command)) {
      EXPECT_THAT(page, HasSubstr(option)) << Joined(command);
    }
  }
  const Finished groff = RunToEnd({"/usr/bin/groff", "-man", "-Tutf8", "-ww", "-z", file});
  EXPECT_EQ(0, groff.status);
  EXPECT_EQ("", groff.error);
}

TEST(InboxSubscription, IsOneThatTheServiceTakes) {
  const Finished check = RunToEnd({QUILLPOST, "subscriptions", "check", SUBSCRIPTION});
  EXPECT_EQ(check.status, 0) << check.output;
}
