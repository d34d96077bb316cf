#include "support/Completions.h"

#include <gtest/gtest.h>

#include <sstream>

#include "support/Process.h"

namespace {

Words LinesOf(const std::string& text) {
  std::istringstream in(text);
  Words lines;
  for (std::string line; std::getline(in, line);) {
    if (!line.empty()) lines.insert(line.substr(0, line.find('\t')));
  }
  return lines;
}

}  // namespace

Words OptionsInHelp(std::vector<std::string> command) {
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

Words CompletedByBash(const std::string& file, const std::string& function,
                      const std::string& program, const std::vector<std::string>& words) {
  std::string line = "'" + program + "'";
  for (const std::string& word : words) line += " '" + word + "'";
  const Finished bash = RunToEnd({"/bin/bash", "-c",
                                  "source '" + file + "'; COMP_WORDS=(" + line +
                                      "); COMP_CWORD=" + std::to_string(words.size()) + "; " +
                                      function + "; printf '%s\\n' \"${COMPREPLY[@]}\""});
  EXPECT_EQ("", bash.error);
  return LinesOf(bash.output);
}

Words CompletedByFish(const std::string& file, const std::string& program, const std::string& line,
                      const TestRoot& root) {
  const std::string home = root.path().string();  // in the user's it would make directories
  const std::size_t end = program.rfind('/');
  const Finished fish = RunToEnd(
      {"/usr/bin/fish", "--no-config", "-c",
       "set -x PATH '" + program.substr(0, end) + "' $PATH; source " + file + "; complete -C '" +
           program.substr(end + 1) + " " + line + "'"},
      {{"HOME", home}, {"XDG_CONFIG_HOME", home + "/config"}, {"XDG_DATA_HOME", home + "/data"}});
  EXPECT_EQ("", fish.error);
  return LinesOf(fish.output);
}

std::string ManualText(const std::string& file) {
  std::string text;
  for (const char c : ReadFile(file)) {
    if (c != '\\') text += c;
  }
  return text;
}

std::string FaultsOfManual(const std::string& file) {
  const Finished groff = RunToEnd({"/usr/bin/groff", "-man", "-Tutf8", "-ww", "-z", file});
  return groff.status == 0 ? groff.error : "groff failed: " + groff.error;
}
