// quillpost: the command line client of the ink service. Here is the command line; what the
// commands do is in Commands.h.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <functional>

#include "Commands.h"
#include "Output.h"
#include "common/Common.h"

namespace {

constexpr char kDescription[] =
    R"(Talks to the ink service of the user who runs it, and looks into its store.

Examples:
  quillpost import page-1.stf2 page-2.stf2
      hand captured ink to the service
  quillpost subscriptions add Notes --path /usr/bin/notes --title Notes --page "1.2.*.*"
      let an application have the ink of some pages
  quillpost listen Notes --save ink --count 10
      be that application, and keep ten packages
  quillpost status
      see what the store holds and how far each application has got

Exit status: 0 done, 1 refused or failed, 2 wrong usage, 3 no service is listening.
)";

constexpr char kHello[] = R"(Ask the service for its version

Examples:
  quillpost hello
  quillpost hello --json
)";

constexpr char kImport[] = R"(Hand ink files to the service

Prints "Success FILE" or "Failed FILE" for each, and says why on standard error.

Examples:
  quillpost import page.stf2
  quillpost import ~/captured/*.stf2
)";

constexpr char kListen[] = R"(Receive the packages of an application

Prints and confirms each package until Ctrl-C, --count or --idle ends it.

Examples:
  quillpost listen Notes
  quillpost listen Notes --save ink --idle 2.5
      keep copies, until nothing has come for two and a half seconds
  quillpost listen Notes --ignore 1.2.3.4 --json
      take everything, but say that page 1.2.3.4 was not wanted
)";

constexpr char kStatus[] = R"(Tell how the service and the store are

Only reads, beside a running service or without one.

Examples:
  quillpost status
  quillpost status --json
)";

constexpr char kSubscriptions[] = R"(List, check, add and remove subscriptions

Examples:
  quillpost subscriptions list
  quillpost subscriptions check draft/Notes
  quillpost subscriptions add Notes --path /usr/bin/notes --title Notes --page "1.2.*.*" 1.3.0.7
  quillpost subscriptions remove Notes
)";

// In the list of commands only the first line of what is said about each.
class ShortCommandList : public CLI::Formatter {
 public:
  std::string make_subcommand(const CLI::App* command) const override {
    const std::string description = command->get_description();
    std::stringstream out;
    CLI::detail::format_help(out, command->get_name(),
                             description.substr(0, description.find('\n')), column_width_);
    return out.str();
  }
};

std::string CheckPage(const std::string& page) {
  return TalvoQuillpost::Common::IsPageAddressValid(page) ? std::string()
                                                          : "\"" + page + "\" is no page address";
}

void AddJson(CLI::App* command, bool& json, const char* what = "Print one JSON document") {
  command->add_flag("--json", json, what);
}

// All that the command line can say. `run` is what it asks for.
struct CommandLine {
  bool json = false;
  ImportOptions import_files;
  ListenOptions listen;
  std::vector<std::string> checked_files;
  AddOptions add;
  std::string removed;
  std::function<int()> run;
  std::string missing = "a command";  // what is to be said, where there is nothing to run
};

void DeclareHelloAndStatus(CLI::App& app, CommandLine& line) {
  CLI::App* hello = app.add_subcommand("hello", kHello);
  AddJson(hello, line.json);
  hello->callback([&line] { line.run = [&line] { return Hello(line.json); }; });

  CLI::App* status = app.add_subcommand("status", kStatus);
  AddJson(status, line.json);
  status->callback([&line] { line.run = [&line] { return Status(line.json); }; });
}

void DeclareImport(CLI::App& app, CommandLine& line) {
  CLI::App* command = app.add_subcommand("import", kImport);
  command->add_option("files", line.import_files.files, "STF2 files, plain or sealed")
      ->required()
      ->type_name("FILE");
  AddJson(command, line.import_files.json);
  command->callback([&line] { line.run = [&line] { return Import(line.import_files); }; });
}

void DeclareListen(CLI::App& app, CommandLine& line) {
  ListenOptions& options = line.listen;
  CLI::App* listen = app.add_subcommand("listen", kListen);
  listen->add_option("application", options.application, "ID of a subscribed application")
      ->required()
      ->type_name("APP");
  listen
      ->add_option("--save", options.save, "Keep a copy of each package in DIR, before confirming")
      ->type_name("DIR");
  CLI::Option* reject = listen->add_flag(
      "--reject", options.reject,
      "Refuse packages; the service offers a refused one again at once, so this ends after one, or "
      "after --count");
  listen
      ->add_option("--ignore", options.ignored_pages,
                   "Accept ink of PAGE, but say that it was not wanted; may be repeated")
      ->check(CheckPage)
      ->type_name("PAGE")
      ->allow_extra_args(false)
      ->excludes(reject);
  listen->add_option("--count", options.count, "End after N packages")
      ->check(CLI::Range(1ul, 1000000000ul))
      ->type_name("N");
  listen->add_option("--idle", options.idle, "End when no package has come for SECONDS")
      ->check(CLI::Range(0.0, 1e6))
      ->type_name("SECONDS");
  AddJson(listen, options.json, "Print one JSON document a package, each on a line");
  listen->callback([&line] {
    if (line.listen.reject && !line.listen.count) line.listen.count = 1;
    line.run = [&line] { return Listen(line.listen); };
  });
}

void DeclareAdd(CLI::App* subscriptions, CommandLine& line) {
  AddOptions& options = line.add;
  CLI::App* add = subscriptions->add_subcommand("add", "Write a subscription");
  add->add_option("application", options.application, "ID of the application")
      ->required()
      ->type_name("APP");
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
  add->callback([&line] { line.run = [&line] { return AddSubscription(line.add); }; });
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
  check->add_option("files", line.checked_files, "Subscription files")
      ->required()
      ->type_name("FILE");
  AddJson(check, line.json);
  check->callback([&line] {
    line.run = [&line] { return CheckSubscriptions(line.checked_files, line.json); };
  });

  DeclareAdd(subscriptions, line);

  CLI::App* remove = subscriptions->add_subcommand("remove", "Remove a subscription");
  remove->add_option("application", line.removed, "ID of the application")
      ->required()
      ->type_name("APP");
  AddJson(remove, line.json);
  remove->callback(
      [&line] { line.run = [&line] { return RemoveSubscription(line.removed, line.json); }; });
}

// A full disk behind standard output is a failure of the command.
int FinishOutput(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  Complain("can't write to standard output");
  return status == kDone ? kRefused : status;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app(kDescription, "quillpost");
  app.formatter(std::make_shared<ShortCommandList>());
  app.set_version_flag("--version", "quillpost " QUILLPOST_VERSION, "Print the version and exit");
  CommandLine line;
  DeclareHelloAndStatus(app, line);
  DeclareImport(app, line);
  DeclareListen(app, line);
  DeclareSubscriptions(app, line);
  try {
    app.parse(argc, argv);
    if (line.run) return FinishOutput(line.run());
    Complain(line.missing + " is missing; --help tells more");
    return kUsage;
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kUsage;
  } catch (const std::exception& error) {
    Complain(error.what());
    return kRefused;
  }
}
