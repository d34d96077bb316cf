#include <TalvoOS/Root.h>

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <map>

#include "Options.h"
#include "cli/Help.h"

namespace Forward {
namespace {

constexpr char kDescription[] =
    R"(Hands the ink of all pens on to a stream that many machines share.

Each package becomes a message of the subject ink.PEN.PAGE in a NATS JetStream
stream. It is confirmed to the ink service when the stream has acknowledged it;
until then it stays with the service.

Examples:
  quillpost-forward --to nats://ink.example.org
  quillpost-forward --to nats://one,two,three --create-stream --replicas 3
      make the stream if it is not there
  quillpost-forward --to tls://ink.example.org --creds ~/ink.creds
  quillpost-forward --to nats://ink.example.org --dry-run
      show subjects, hand nothing on and confirm nothing
)";

// The service launches applications without arguments: what is said here counts then.
std::string ConfigurationFile() {
  const char* const folder = std::getenv("XDG_CONFIG_HOME");
  if (folder != nullptr && folder[0] == '/') {
    return (TalvoOS::UnderRoot(folder) / "quillpost/forward.conf").string();
  }
  boost::filesystem::path home;
  if (!TalvoOS::GetHomeDirectory(home)) return {};
  return (home / ".config/quillpost/forward.conf").string();
}

void DeclareNewStream(CLI::App& app, Options& options) {
  const std::map<std::string, std::uint64_t> times = {
      {"s", 1}, {"m", 60}, {"h", 60 * 60}, {"d", 24 * 60 * 60}};
  constexpr std::uint64_t kCenturyS =
      100ULL * 365 * 24 * 60 * 60;  // in nanoseconds, 63 bits hold it
  constexpr char kTime[] = "TIME";
  CLI::Option* create =
      app.add_flag("--create-stream", options.is_to_create, "Make the stream if it is not there");
  NewStream& stream = options.new_stream;
  app.add_option("--replicas", stream.replicas, "Servers that keep each message, 1 to 5")
      ->check(CLI::Range(1, 5))
      ->needs(create)
      ->type_name("N");
  app.add_option("--max-age", stream.max_age_s,
                 "Ink vanishes from the stream after this time, for instance 30d")
      ->transform(CLI::AsNumberWithUnit(times, CLI::AsNumberWithUnit::CASE_SENSITIVE))
      ->check(CLI::Range(std::uint64_t{0}, kCenturyS))
      ->needs(create)
      ->type_name(kTime);
  app.add_option("--max-size", stream.max_bytes,
                 "The full stream takes no more, for instance 100GB")
      ->transform(CLI::AsSizeValue(true))
      ->needs(create)
      ->type_name("SIZE");
  app.add_option("--duplicate-window", stream.duplicate_window_s,
                 "How long the stream knows messages again, 2m if it is not given")
      ->transform(CLI::AsNumberWithUnit(times, CLI::AsNumberWithUnit::CASE_SENSITIVE))
      ->check(CLI::Range(std::uint64_t{1}, kCenturyS))
      ->needs(create)
      ->type_name(kTime);
}

void Declare(CLI::App& app, Options& options, std::string& to) {
  app.add_option("--to", to, "The servers: nats://HOST[:PORT][,HOST...], or tls://")
      ->required()
      ->type_name("URL");
  app.add_option("--application", options.application,
                 "The ID under which it is subscribed, Forward if it is not given")
      ->type_name("ID");
  Stream::DeclareStreamOptions(app, options.stream);
  DeclareNewStream(app, options);
  app.set_config(
         "--config", ConfigurationFile(),
         "More options, one NAME=VALUE a line; ~/.config/quillpost/forward.conf if it is not "
         "given")
      ->type_name("FILE");
  app.add_flag("--dry-run", options.is_dry_run,
               "Print the subject of each package that waits; hand nothing on, confirm nothing");
  app.add_option("--log-level", options.log_level,
                 "How much to log: 1 errors, 2 warnings, 3 information (the default), 4 all")
      ->check(CLI::Range(1, 4))
      ->type_name("LEVEL");
  app.add_option("--log-file", options.log_file, "Log to FILE instead of standard error")
      ->type_name("FILE");
}

}  // namespace

int ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(kDescription, "quillpost-forward");
  DeclareHelpAndVersion(app);
  std::string to;
  Declare(app, options, to);
  try {
    app.parse(argc, argv);
    options.stream.servers = Stream::ParseServers(to);
  } catch (const CLI::ParseError& error) {
    return FinishParsing(app, error);
  }
  return -1;
}

}  // namespace Forward
