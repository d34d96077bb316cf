#include <CLI/CLI.hpp>

#include "Options.h"
#include "cli/Help.h"

namespace Inbox {
namespace {

constexpr char kDescription[] =
    R"(Keeps the ink of all pens and shows it in the browser.

Examples:
  quillpost-inbox --open
      show the inbox
  quillpost-inbox --key ~/diary.key
      open sealed ink with this key, from now on
  quillpost-inbox show letter.inkml
      put ink in and show it
  quillpost-inbox import letter.inkml notebook.xopp
      put ink into the inbox, without the ink service
  quillpost-inbox export --page 1.2.3.4 -o letter.pdf
  quillpost-inbox backup ~/inbox-backup.db
  quillpost-inbox --from nats://ink.example.org --consumer library
      take the ink that others have handed on with quillpost-forward, too
)";

constexpr char kImport[] = R"(Put ink files into the inbox

Works without the ink service, also while the inbox is shown. Other applications
don't get this ink: 'quillpost import' is for that.

Examples:
  quillpost-inbox import letter.inkml
  quillpost-inbox import ~/captured/*.stf2
)";

constexpr char kShow[] = R"(Put ink files into the inbox and show it in the browser

What a double click on a file of ink does: 'import' and '--open' in one. Without a
file it shows the inbox.

Examples:
  quillpost-inbox show letter.inkml
)";

constexpr char kExport[] = R"(Write pages to a file

The name says the format: .pdf, .png, .svg, .inkml, .xopp or .stf2. A picture
shows one page; STF2 and InkML hold the ink of one pen.

Examples:
  quillpost-inbox export -o all.pdf
  quillpost-inbox export --page 1.2.3.4 1.2.3.5 -o letter.pdf
)";

constexpr char kBackup[] = R"(Copy the whole inbox to a new file

Works while the inbox is shown. To go back to the copy, end the inbox with
'quillpost-inbox --quit', put the file in the place of
~/.local/share/quillpost/inbox.db, and remove inbox.db-wal and inbox.db-shm.

Examples:
  quillpost-inbox backup ~/inbox-backup.db
)";

void DeclareServe(CLI::App& app, Options& options) {
  app.add_flag("--open", options.is_to_open,
               "Show the inbox in the browser; start it if it is not running");
  app.add_flag_callback(
      "--quit", [&options] { options.command = Options::Command::kQuit; },
      "End the inbox that runs; the service starts it again when there is ink");
  app.add_option("--port", options.port, "Port on 127.0.0.1 and ::1, instead of the last one")
      ->check(CLI::Range(1, 65535))
      ->type_name("N");
  CLI::Option* key =
      app.add_option("--key", options.key_file, "Secret key that opens sealed ink, remembered")
          ->type_name("FILE");
  app.add_flag("--forget-key", options.is_key_forgotten, "Leave sealed ink sealed again")
      ->excludes(key);
  app.add_option("--log-level", options.log_level,
                 "How much to log: 1 errors, 2 warnings, 3 information (the default), 4 all")
      ->check(CLI::Range(1, 4))
      ->type_name("LEVEL");
  app.add_option("--log-file", options.log_file, "Log to FILE instead of standard error")
      ->type_name("FILE");
}

// A command that takes ink files in.
CLI::Option* DeclareTaking(CLI::App& command, Options& options, Options::Command which) {
  command.callback([&options, which] { options.command = which; });
  return command.add_option("FILE", options.files,
                            "Ink: STF2, plain or sealed, InkML, .xopp or SVG");
}

void DeclareSource(CLI::App& app, Options& options, std::string& servers) {
  CLI::Option* from =
      app.add_option("--from", servers, "Take ink of a stream, too: nats://HOST[,HOST...]")
          ->type_name("URL");
  CLI::Option* consumer =
      app.add_option("--consumer", options.source.consumer,
                     "The name under which the stream knows how far this inbox has come")
          ->check([](const std::string& name) {
            return Stream::IsStreamName(name)
                       ? std::string()
                       : "'" + name + "' has more than letters, digits, '-' and '_'";
          })
          ->needs(from)
          ->type_name("NAME");
  from->needs(consumer);
  app.add_option("--filter", options.source.filter,
                 "Subjects to take, for instance 'ink.*.1.2.*.*'")
      ->needs(from)
      ->type_name("FILTER");
  for (CLI::Option* option : Stream::DeclareStreamOptions(app, options.source.stream)) {
    option->needs(from);
  }
}

void DeclareExport(CLI::App& app, Options& options) {
  CLI::App* command = app.add_subcommand("export", kExport);
  command
      ->add_option("--page", options.pages,
                   "Address or number of a page; without it all that are not in the trash")
      ->type_name("PAGE");
  command->add_option("-o,--output", options.output, "The file to make")
      ->required()
      ->type_name("FILE");
  command->add_option("--to", options.format, "Format, instead of what the name says")
      ->check(CLI::IsMember({"pdf", "png", "svg", "inkml", "xopp", "stf2"}))
      ->type_name("FORMAT");
  command->add_flag("-f,--force", options.is_forced, "Replace a file that is there already");
  command->callback([&options] { options.command = Options::Command::kExport; });
}

}  // namespace

int ParseOptions(int argc, char** argv, Options& options) {
  CLI::App app(kDescription, "quillpost-inbox");
  DeclareHelpAndVersion(app);
  DeclareServe(app, options);
  std::string servers;
  DeclareSource(app, options, servers);
  DeclareTaking(*app.add_subcommand("show", kShow), options, Options::Command::kShow);
  DeclareTaking(*app.add_subcommand("import", kImport), options, Options::Command::kImport)
      ->required();
  DeclareExport(app, options);
  CLI::App* backup = app.add_subcommand("backup", kBackup);
  backup->add_option("FILE", options.files, "A file that is not there yet")
      ->required()
      ->expected(1);
  backup->callback([&options] { options.command = Options::Command::kBackup; });
  try {
    app.parse(argc, argv);
    if (!servers.empty()) options.source.stream.servers = Stream::ParseServers(servers);
  } catch (const CLI::ParseError& error) {
    return FinishParsing(app, error);
  }
  return -1;
}

}  // namespace Inbox
