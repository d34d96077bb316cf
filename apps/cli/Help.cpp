#include "cli/Help.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <numeric>
#include <sstream>

namespace {

constexpr std::size_t kDescriptionColumn = 26;

// "  --save DIR              Keep a copy ..." with the rest of the description below its beginning.
std::string MakeEntry(const std::string& name, const std::string& description) {
  std::string text = "  " + name;
  if (text.size() + 2 > kDescriptionColumn) text += "\n";
  std::size_t column = text.back() == '\n' ? 0 : text.size();
  std::istringstream words(description);
  bool is_first = true;
  for (std::string word; words >> word; is_first = false) {
    if (!is_first && column + 1 + word.size() > kHelpColumns) {
      text += "\n";
      column = 0;
    }
    const std::size_t gap = column < kDescriptionColumn ? kDescriptionColumn - column : 1;
    text += std::string(gap, ' ') + word;
    column += gap + word.size();
  }
  return text + "\n";
}

class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_subcommand(const CLI::App* command) const override {
    const std::string description = command->get_description();
    return MakeEntry(command->get_name(), description.substr(0, description.find('\n')));
  }

  std::string make_option(const CLI::Option* option, bool is_positional) const override {
    std::string name = is_positional ? option->get_name(true) : option->get_name(false, true);
    const std::string value = option->get_type_name();  // "N:INT in [1 - 9]" with a range
    if (!is_positional && option->get_type_size() != 0)
      name += " " + value.substr(0, value.find(':'));
    if (IsMany(option)) name += "...";
    const bool is_needed = option->get_required() && !is_positional;
    return MakeEntry(name, option->get_description() + (is_needed ? " (required)" : ""));
  }

  std::string make_option_usage(const CLI::Option* option) const override {
    const std::string usage = option->get_name(true) + (IsMany(option) ? "..." : "");
    return option->get_required() ? usage : "[" + usage + "]";
  }

 private:
  static bool IsMany(const CLI::Option* option) {
    return option->get_expected_max() >= CLI::detail::expected_max_vector_size;
  }
};

// The number of characters to insert, remove or change, or of neighbours to swap.
std::size_t Distance(const std::string& one, const std::string& other) {
  std::vector<std::vector<std::size_t>> costs(one.size() + 1,
                                              std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) costs[i][0] = i;
  for (std::size_t j = 0; j <= other.size(); ++j) costs[0][j] = j;
  for (std::size_t i = 1; i <= one.size(); ++i) {
    for (std::size_t j = 1; j <= other.size(); ++j) {
      const bool is_equal = one[i - 1] == other[j - 1];
      costs[i][j] = std::min(
          {costs[i - 1][j] + 1, costs[i][j - 1] + 1, costs[i - 1][j - 1] + (is_equal ? 0 : 1)});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        costs[i][j] = std::min(costs[i][j], costs[i - 2][j - 2] + 1);
      }
    }
  }
  return costs[one.size()][other.size()];
}

// The command that was being read, the innermost one.
const CLI::App* FindCommand(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  return command;
}

std::string FullName(const CLI::App* command) {
  const CLI::App* parent = command->get_parent();
  return (parent != nullptr ? FullName(parent) + " " : "") + command->get_name();
}

// What is wrong with a word that no option and no argument takes.
std::string DescribeExtra(const CLI::App& app, const CLI::App* command) {
  const std::vector<std::string> extras = app.remaining(true);
  if (extras.empty()) return "there is an argument too many";
  const std::string& word = extras.front();
  std::vector<std::string> known;
  const bool is_option = word.size() > 1 && word[0] == '-';
  const auto commands = command->get_subcommands([](const CLI::App*) { return true; });
  if (is_option) {
    for (const CLI::Option* option : command->get_options()) {
      if (option->nonpositional()) known.push_back(option->get_name());
    }
  } else {
    for (const CLI::App* one : commands) known.push_back(one->get_name());
  }
  const std::string similar = FindSimilar(word, known);
  return "there is no " +
         std::string(is_option          ? "option"
                     : commands.empty() ? "further argument"
                                        : "command") +
         " '" + word + "'" + (similar.empty() ? "" : "; did you mean '" + similar + "'?");
}

}  // namespace

std::string FindSimilar(const std::string& word, const std::vector<std::string>& known) {
  std::string similar;
  // A third of the letters may be wrong; of a beginning all others are missing.
  std::size_t least = word.size() / 3 + 1;
  for (const std::string& candidate : known) {
    const std::size_t distance =
        candidate.compare(0, word.size(), word) == 0 ? 1 : Distance(word, candidate);
    if (distance < least || (distance == least && similar.empty())) {
      least = distance;
      similar = candidate;
    }
  }
  return similar;
}

void DeclareHelpAndVersion(CLI::App& app) {
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.set_version_flag("--version", app.get_name() + " " QUILLPOST_VERSION,
                       "Print the version and exit");
}

int FinishParsing(const CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() == 0) return app.exit(error);
  const CLI::App* command = FindCommand(app);
  std::string fault = error.what();
  fault = fault.substr(0, fault.find('\n'));
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    fault = DescribeExtra(app, command);
  }
  const char* const separator = fault.back() == '?' ? " " : "; ";
  std::fprintf(stderr, "%s: %s%s'%s --help' tells more\n", app.get_name().c_str(), fault.c_str(),
               separator, FullName(command).c_str());
  return 2;
}
