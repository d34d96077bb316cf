// Completions and manual page, against what the program says in its help. bash is there on every
// machine; scripts/install-deps brings zsh, fish and groff.

#include <gmock/gmock.h>

#include "support/Completions.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

const std::vector<std::vector<std::string>> kCommands = {
    {}, {"show"}, {"import"}, {"export"}, {"backup"}};

Words OptionsOf(std::vector<std::string> command) {
  command.insert(command.begin(), QUILLPOST_INBOX);
  return OptionsInHelp(command);
}

Words InBash(const std::vector<std::string>& words) {
  return CompletedByBash(std::string(COMPLETIONS) + "/quillpost-inbox.bash", "_quillpost_inbox",
                         QUILLPOST_INBOX, words);
}

Words InFish(const std::string& line, const TestRoot& root) {
  return CompletedByFish(std::string(COMPLETIONS) + "/quillpost-inbox.fish", QUILLPOST_INBOX, line,
                         root);
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
    const Words options = OptionsOf(command);
    command.push_back("--");
    EXPECT_THAT(InBash(command), IsSupersetOf(options)) << Joined(command);
  }
  EXPECT_THAT(InBash({"export", "--to", ""}), Contains("xopp"));
}

TEST(InboxCompletions, OfFishOfferCommandsOptionsAndValues) {
  const TestRoot root;
  EXPECT_THAT(InFish("", root), IsSupersetOf({"show", "import", "export", "backup"}));
  for (const auto& command : kCommands) {
    EXPECT_THAT(InFish(Joined(command) + "--", root), IsSupersetOf(OptionsOf(command)))
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
  const std::string page = ManualText(file);
  for (const auto& command : kCommands) {
    for (const std::string& option : OptionsOf(command)) {
      EXPECT_THAT(page, HasSubstr(option)) << Joined(command);
    }
  }
  EXPECT_EQ(FaultsOfManual(file), "");
}

TEST(InboxSubscription, IsOneThatTheServiceTakes) {
  const Finished check = RunToEnd({QUILLPOST, "subscriptions", "check", SUBSCRIPTION});
  EXPECT_EQ(check.status, 0) << check.output;
}
