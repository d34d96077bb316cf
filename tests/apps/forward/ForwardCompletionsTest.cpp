// Options of quillpost-forward: where they may come from, and who tells of them.

#include <gmock/gmock.h>
#include <signal.h>

#include "support/Completions.h"
#include "support/Process.h"

using testing::Contains;
using testing::HasSubstr;
using testing::IsSupersetOf;

namespace {

const std::string kFolder = COMPLETIONS;

Words InBash(const std::vector<std::string>& words) {
  return CompletedByBash(kFolder + "/quillpost-forward.bash", "_quillpost_forward",
                         QUILLPOST_FORWARD, words);
}

}  // namespace

TEST(ForwardOptions, CompletionsOfferAllOfThem) {
  const TestRoot root;
  const Words options = OptionsInHelp({QUILLPOST_FORWARD});
  EXPECT_THAT(InBash({"--"}), IsSupersetOf(options));
  EXPECT_THAT(InBash({"--replicas", ""}), Contains("3"));
  EXPECT_THAT(CompletedByFish(kFolder + "/quillpost-forward.fish", QUILLPOST_FORWARD, "--", root),
              IsSupersetOf(options));
  const Finished zsh = RunToEnd({"/usr/bin/zsh", "-f", "-n", kFolder + "/_quillpost-forward"});
  EXPECT_EQ(zsh.status, 0) << zsh.error;
}

TEST(ForwardOptions, TheManualTellsAllOfThem) {
  const std::string file = std::string(MANUAL) + "/quillpost-forward.1";
  const std::string page = ManualText(file);
  for (const std::string& option : OptionsInHelp({QUILLPOST_FORWARD})) {
    EXPECT_THAT(page, HasSubstr(option));
  }
  EXPECT_EQ(FaultsOfManual(file), "");
}

TEST(ForwardOptions, TheVersionIsTold) {
  EXPECT_EQ(RunToEnd({QUILLPOST_FORWARD, "--version"}).output,
            std::string("quillpost-forward ") + VERSION + "\n");
}

TEST(ForwardOptions, TheServersMayStandInAFile) {
  const TestRoot root;
  const std::string file = (root.home() / ".config/quillpost/forward.conf").string();
  const Finished without = RunToEnd({QUILLPOST_FORWARD}, {{"XDG_CONFIG_HOME", ""}});
  EXPECT_EQ(without.status, 2);
  EXPECT_THAT(without.error, HasSubstr("--to is required"));
  WriteFile(file, "to=\"nats://nobody.invalid\"\n");
  Process forward({QUILLPOST_FORWARD, "--log-level", "2"}, {{"XDG_CONFIG_HOME", ""}});
  EXPECT_TRUE(forward.WaitForError("can't connect to nats://nobody.invalid"));
  forward.Signal(SIGTERM);
  EXPECT_EQ(forward.Wait(), 0);
  WriteFile(file, "nonsense=5\n");
  EXPECT_EQ(RunToEnd({QUILLPOST_FORWARD}, {{"XDG_CONFIG_HOME", ""}}).status, 2);
}

TEST(ForwardOptions, WhatMakesNoSenseIsRefused) {
  const std::vector<std::vector<std::string>> wrong = {
      {"--to", "http://x"},
      {"--to", "nats://"},
      {"--to", "nats://x", "--replicas", "3"},  // without --create-stream
      {"--to", "nats://x", "--stream", "a.b"},
      {"--to", "nats://x", "--login", "/nonexistent"},
      {"--to", "nats://x", "--tls-cert", "/dev/null"}};
  for (std::vector<std::string> command : wrong) {
    command.insert(command.begin(), QUILLPOST_FORWARD);
    EXPECT_EQ(RunToEnd(command).status, 2) << command.back();
  }
}

TEST(ForwardOptions, TheSubscriptionIsOneThatTheServiceTakes) {
  const Finished check = RunToEnd({QUILLPOST, "subscriptions", "check", SUBSCRIPTION});
  EXPECT_EQ(check.status, 0) << check.output;
}

TEST(ForwardOptions, ATimeThatNoServerKnowsIsRefused) {
  for (const char* option : {"--max-age=200000d", "--duplicate-window=0"}) {
    const Finished run =
        RunToEnd({QUILLPOST_FORWARD, "--to", "nats://127.0.0.1:1", "--create-stream", option});
    EXPECT_EQ(run.status, 2) << option;
    EXPECT_THAT(run.error, HasSubstr("not in range")) << option;
  }
}
