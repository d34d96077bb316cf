#include "Options.h"

#include <CLI/CLI.hpp>

namespace {

constexpr char kDescription[] =
    R"(Hosts the ink service of the user who runs it, until SIGTERM or SIGINT.

Examples:
  quillpostd
      serve, with the log on standard error
  quillpostd --log-level 4 --log-file ~/.local/state/quillpostd.log
      tell everything, into a file that rotates
  QUILLPOST_ROOT=/tmp/world quillpostd
      serve in a world of its own below /tmp/world, whose folder var/tmp exists
)";

}  // namespace

int ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(kDescription, "quillpostd");
  app.add_option("--log-level", options.log_level,
                 "How much to log: 1 errors, 2 and warnings, 3 and information (the default), "
                 "4 everything")
      ->check(CLI::Range(1, 4))
      ->type_name("LEVEL");
  app.add_option("--log-file", options.log_file,
                 "Log to FILE instead of standard error; past 10 MiB it becomes FILE.1, and so on "
                 "up to FILE.3")
      ->check([](const std::string& file) {
        return file.empty() ? std::string("the name is empty") : std::string();
      })
      ->type_name("FILE");
  app.set_version_flag("--version", "quillpostd " QUILLPOST_VERSION, "Print the version and exit");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  return -1;
}
