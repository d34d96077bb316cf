#include "Options.h"

#include <Talvo/Logger.h>

#include <CLI/CLI.hpp>
#include <string>

#include "cli/Help.h"

namespace {

constexpr char kDescription[] =
    R"(Hosts the ink service of the user who runs it, until SIGTERM or SIGINT.

Examples:
  quillpostd
      serve, with the log on standard error
  quillpostd --log-level trace --log-file ~/.local/state/quillpostd.log
      tell everything, into a file that rotates
  QUILLPOST_ROOT=/tmp/world quillpostd
      serve in a world of its own below /tmp/world, whose folder var/tmp exists
)";

// The level of a name or a number, 0 for anything else.
int LevelOf(const std::string& text) {
  static constexpr const char* kNames[] = {"error", "warning", "information", "trace"};
  for (int level = Talvo::kLogError; level <= Talvo::kLogTrace; ++level) {
    if (text == std::to_string(level) || text == kNames[level - Talvo::kLogError]) return level;
  }
  return 0;
}

std::string CheckLevel(const std::string& text) {
  return LevelOf(text) != 0 ? std::string()
                            : "\"" + text +
                                  "\" is not a level: error, warning, information, trace, "
                                  "or 1 to 4";
}

}  // namespace

int ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(kDescription, "quillpostd");
  DeclareHelpAndVersion(app);
  std::string level = std::to_string(options.log_level);
  app.add_option(
         "--log-level", level,
         "How much to log: error (1), warning (2), information (3, the default) or trace (4), "
         "each with those before it")
      ->check(CheckLevel)
      ->type_name("LEVEL");
  app.add_option("--log-file", options.log_file,
                 "Log to FILE instead of standard error; past 10 MiB it becomes FILE.1, and so on "
                 "up to FILE.3; SIGHUP opens it anew")
      ->check([](const std::string& file) {
        return file.empty() ? std::string("the name is empty") : std::string();
      })
      ->type_name("FILE");
  try {
    app.parse(argc, argv);
    options.log_level = LevelOf(level);
  } catch (const CLI::ParseError& error) {
    return FinishParsing(app, error);
  }
  return -1;
}
