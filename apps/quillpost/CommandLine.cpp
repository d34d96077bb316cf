#include "CommandLine.h"

#include <algorithm>

#include "Output.h"
#include "cli/Help.h"
#include "common/Identifiers.h"

namespace {

constexpr char kDescription[] =
    R"(Talks to the ink service of the user who runs it, and looks into its store.

Examples:
  quillpost import page-1.stf2 page-2.stf2
      hand captured ink to the service
  quillpost subscriptions add Notes --path /usr/bin/notes --title Notes \
      --page "1.2.*.*"
      let an application have the ink of some pages
  quillpost listen Notes --save ink --count 10
      be that application, and keep ten packages
  quillpost status
      see what the store holds and how far each application has got

Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no service listens.
)";

constexpr char kHello[] = R"(Ask the service for its version

Examples:
  quillpost hello
  quillpost hello --json
)";

constexpr char kImport[] = R"(Hand ink files to the service

Prints "Success FILE" or "Failed FILE" for each, and says why on standard
error. If the service ends early, the rest is "Unsent FILE", and the one on
its way "Unanswered FILE": a part of it may have been imported.

Examples:
  quillpost import page.stf2
  quillpost import --dry-run ~/captured/*.stf2
      see which pages are in the files, and which applications want them
  quillpost import --convert letter.inkml
  quillpost import --wait 30 ~/captured/*.stf2
      wait for a service that starts or restarts
)";

constexpr char kWatch[] = R"(Import the ink that appears in directories

Takes the ink that is there, then each file that is closed or moved there: STF2,
and InkML and .xopp, which are converted. Imported files move to the folder
"done" below the directory, refused ones to "refused".

Examples:
  quillpost watch ~/Ink
  quillpost watch --once --page 1.2.3.4 ~/Ink
      import what is there and end; ink in it is on that page
)";

constexpr char kListen[] = R"(Receive the packages of an application

Prints and then confirms each package until Ctrl-C, --count or --idle ends it.
What is confirmed and was not kept is gone: --save or --exec keeps it.

Examples:
  quillpost listen Notes --peek
      see what there is, and leave it there
  quillpost listen Notes --save ink --idle 2.5
      keep copies, until nothing has come for two and a half seconds
  quillpost listen Notes --exec 'stf2 render "$QUILLPOST_PATH" -o last.png'
      draw each page; ink that can't be drawn stays
  quillpost listen Notes --save ink --ignore 1.2.3.4 --json
      take everything, but say that page 1.2.3.4 was not wanted
)";

constexpr char kStatus[] = R"(Tell how the service and the store are

Only reads, beside a running service or without one.

Examples:
  quillpost status
  quillpost status --watch
      see what arrives, what waits for whom, and what was confirmed
  quillpost status --watch | grep confirmed
)";

constexpr char kSubscriptions[] = R"(List, check, add and remove subscriptions

Examples:
  quillpost subscriptions list
  quillpost subscriptions check draft/Notes
  quillpost subscriptions add Notes --path /usr/bin/notes --title Notes \
      --page "1.2.*.*" 1.3.0.7
  quillpost subscriptions remove Notes
)";

std::string CheckPage(const std::string& page) {
  return TalvoQuillpost::Common::IsPageAddressValid(page)
             ? std::string()
             : "\"" + page + "\" is not a valid page address";
}

std::string CheckSeconds(const std::string& text) {
  double seconds = 0;
  constexpr double kLongest = 1e6;
  const bool is_good =
      CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= kLongest;
  return is_good ? std::string() : "\"" + text + "\" is not a number of seconds";
}

void AddJson(CLI::App* command, bool& json, const char* what = "Print one JSON document") {
  command->add_flag("--json", json, what);
}

// What a conversion can be told; `convert` is the option that asks for it, if one has to.
void AddConversion(CLI::App* command, InkConverter& converter, CLI::Option* convert) {
  CLI::Option* page = command
                          ->add_option("--page", converter.page,
                                       "Page address of converted ink, instead of the file's")
                          ->check(CheckPage)
                          ->type_name("PAGE");
  CLI::Option* pen =
      command->add_option("--pen", converter.pen, "Pen of converted ink, instead of the file's")
          ->type_name("PEN");
  if (convert == nullptr) return;
  page->needs(convert);
  pen->needs(convert);
}

void DeclareHelloAndStatus(CLI::App& app, CommandLine& line) {
  CLI::App* hello = app.add_subcommand("hello", kHello);
  AddJson(hello, line.json);
  hello->callback([&line] { line.run = [&line] { return Hello(line.json); }; });

  CLI::App* status = app.add_subcommand("status", kStatus);
  status->add_flag(
      "--watch", line.is_live,
      "Go on showing what arrives, waits and is confirmed, until q or Ctrl-C; elsewhere "
      "than on a terminal as JSON lines");
  AddJson(status, line.json);
  status->callback([&line] {
    line.run = [&line] { return line.is_live ? WatchStatus(line.json) : Status(line.json); };
  });
}

void DeclareImport(CLI::App& app, CommandLine& line) {
  CLI::App* command = app.add_subcommand("import", kImport);
  command->add_option("FILE", line.import_files.files, "STF2 files, plain or sealed")->required();
  command
      ->add_option(
          "--wait", line.import_files.wait,
          "Wait up to SECONDS for a service that is not there, at the start and whenever it "
          "ends")
      ->check(CheckSeconds)
      ->type_name("SECONDS");
  command->add_flag("--dry-run", line.import_files.dry_run,
                    "Import nothing: tell which pages are in the files and which applications want "
                    "them");
  CLI::Option* convert = command->add_flag("--convert", line.import_files.convert,
                                           "Convert InkML and .xopp on the way");
  AddConversion(command, line.import_files.converter, convert);
  AddJson(command, line.import_files.json);
  command->callback([&line] { line.run = [&line] { return Import(line.import_files); }; });
}

void DeclareWatch(CLI::App& app, CommandLine& line) {
  CLI::App* command = app.add_subcommand("watch", kWatch);
  command
      ->add_option("DIR", line.watch.directories, "Directories; what is below them is left alone")
      ->required();
  command->add_flag("--once", line.watch.once, "End when all that is there has been imported");
  AddConversion(command, line.watch.converter, nullptr);
  AddJson(command, line.watch.json, "Print one JSON document a file, each on a line");
  command->callback([&line] { line.run = [&line] { return Watch(line.watch); }; });
}

void DeclareListen(CLI::App& app, CommandLine& line) {
  ListenOptions& options = line.listen;
  CLI::App* listen = app.add_subcommand("listen", kListen);
  listen->add_option("APP", options.application, "ID of a subscribed application")->required();
  listen
      ->add_option("--save", options.save, "Keep a copy of each package in DIR, before confirming")
      ->type_name("DIR");
  CLI::Option* reject = listen->add_flag("--reject", options.reject,
                                         "Refuse packages; the service offers a refused one again "
                                         "immediately, so this ends after one, or "
                                         "after --count");
  CLI::Option* peek =
      listen->add_flag("--peek", options.peek, "Show packages, and confirm none of them")
          ->excludes(reject);
  listen
      ->add_option("--exec", options.command,
                   "Run COMMAND for each package, and confirm it if that exits with 0")
      ->type_name("COMMAND")
      ->excludes(reject)
      ->excludes(peek);
  listen
      ->add_option("--ignore", options.ignored_pages,
                   "Accept ink of PAGE, but say that it was not wanted; may be repeated")
      ->check(CheckPage)
      ->type_name("PAGE")
      ->allow_extra_args(false)
      ->excludes(reject)
      ->excludes(peek);
  listen->add_option("--count", options.count, "End after N packages")
      ->check(CLI::Range(1ul, 1000000000ul))
      ->type_name("N");
  listen->add_option("--idle", options.idle, "End when no package has come for SECONDS")
      ->check(CheckSeconds)
      ->type_name("SECONDS");
  AddJson(listen, options.json, "Print one JSON document a package, each on a line");
  listen->callback([&line] {
    if (line.listen.reject && !line.listen.count) line.listen.count = 1;
    line.run = [&line] { return Listen(line.listen); };
  });
}

// "add --page 1.2.*.* Notes": --page takes all that follows it, also the application.
void TakeApplicationFromPages(AddOptions& options) {
  const auto is_no_page = [](const std::string& page) { return !CheckPage(page).empty(); };
  const auto found = std::find_if(options.pages.begin(), options.pages.end(), is_no_page);
  if (!options.application.empty() || found == options.pages.end()) return;
  options.application = *found;
  options.pages.erase(found);
}

void DeclareAdd(CLI::App* subscriptions, CommandLine& line) {
  AddOptions& options = line.add;
  CLI::App* add = subscriptions->add_subcommand("add", "Write a subscription");
  add->add_option("APP", options.application, "ID of the application");
  add->add_option("--path", options.path, "Program or .desktop file that is launched for new ink")
      ->required()
      ->type_name("PATH");
  add->add_option("--title", options.title, "Name of the application for people")
      ->required()
      ->type_name("TITLE");
  add->add_option("--page", options.pages,
                  "Pages it wants: addresses such as 1.2.3.4, ranges such as 1.2.*.*, or "
                  "encrypted-stf2 for sealed ink")
      ->required()
      ->type_name("RANGE");
  add->add_flag("--replace", options.replace, "Replace the subscription that is there");
  AddJson(add, options.json);
  add->add_flag("--force", options.force, "Subscribe an application that can't be launched, too");
  add->callback([&line] {
    TakeApplicationFromPages(line.add);
    if (line.add.application.empty()) throw CLI::RequiredError("APP");
    line.run = [&line] { return AddSubscription(line.add, line.words); };
  });
}

void DeclareSubscriptions(CLI::App& app, CommandLine& line) {
  CLI::App* subscriptions = app.add_subcommand("subscriptions", kSubscriptions);
  subscriptions->callback([&line, subscriptions] {
    if (subscriptions->get_subcommands().empty()) line.missing = "list, check, add or remove";
  });

  CLI::App* list = subscriptions->add_subcommand(
      "list", "Print every subscription, and every file that the service ignores");
  AddJson(list, line.json);
  list->callback([&line] { line.run = [&line] { return ListSubscriptions(line.json); }; });

  CLI::App* check = subscriptions->add_subcommand(
      "check", "Say whether the service would take files as subscriptions, and if not, why");
  check->add_option("FILE", line.checked_files, "Subscription files")->required();
  AddJson(check, line.json);
  check->callback([&line] {
    line.run = [&line] { return CheckSubscriptions(line.checked_files, line.json); };
  });

  DeclareAdd(subscriptions, line);

  CLI::App* remove = subscriptions->add_subcommand("remove", "Remove a subscription");
  remove->add_option("APP", line.removed, "ID of the application")->required();
  AddJson(remove, line.json);
  remove->callback([&line] {
    line.run = [&line] { return RemoveSubscription(line.removed, line.json, line.words); };
  });
}

}  // namespace

void DeclareCommands(CLI::App& app, CommandLine& line) {
  app.name("quillpost");
  app.description(kDescription);
  DeclareHelpAndVersion(app);
  DeclareHelloAndStatus(app, line);
  DeclareImport(app, line);
  DeclareWatch(app, line);
  DeclareListen(app, line);
  DeclareSubscriptions(app, line);
  app.add_subcommand("help", "Print the help of a command: help subscriptions add");
}

bool ParseHelp(const CLI::App& app, CommandLine& line) {
  if (line.words.size() < 2 || line.words[1] != "help") return false;
  const CLI::App* command = &app;
  std::string parents;
  for (auto word = line.words.begin() + 2; word != line.words.end(); ++word) {
    if (*word == "-h" || *word == "--help") continue;
    const auto named =
        command->get_subcommands([&word](const CLI::App* one) { return one->get_name() == *word; });
    if (named.empty()) throw CLI::ValidationError("there is no command '" + *word + "'");
    parents += (parents.empty() ? "" : " ") + command->get_name();
    command = named.front();
  }
  line.run = [command, parents] { return PrintText(command->help(parents)) ? kDone : kRefused; };
  return true;
}
