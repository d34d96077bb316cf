#include "CommandLine.h"

#include <TalvoCppUtils/PenId.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>

#include "Color.h"
#include "Files.h"
#include "Session.h"
#include "Time.h"
#include "Units.h"

namespace InkTool {
namespace {

struct Command {
  const char* name;
  const char* summary;
  const char* examples;
  int (*run)(const Options&, Streams);
};

const char kExamples[] =
    "Examples:\n"
    "  stf2 convert letter.inkml -o letter.stf2     handwriting for the service\n"
    "  stf2 info letter.stf2                        what is in it\n"
    "  stf2 render letter.stf2 -o letter.png        a picture of it\n"
    "  stf2 split letter.stf2 -o pages/             one file for each page\n"
    "  stf2 keygen -o key                           a key pair: key and key.pub\n"
    "  stf2 seal --key key.pub letter.stf2          only the owner of key can open it\n\n";

const Command kCommands[] = {
    {"info", "Tell what is in ink files (STF2, sealed STF2, InkML)",
     "Examples:\n"
     "  stf2 info letter.stf2\n"
     "  stf2 info --json ink/*.stf2                  one JSON document a line\n\n",
     Info},
    {"convert", "Make STF2 of InkML, or InkML of STF2",
     "Examples:\n"
     "  stf2 convert letter.inkml -o letter.stf2\n"
     "  stf2 convert letter.stf2 -o letter.inkml\n"
     "  stf2 convert --pen 0123-4567-89AB-CDEF --page 1.2.3.4 --start-time now sketch.inkml\n"
     "  stf2 convert --page 1.2.3.1 --page-per-file scans/*.inkml -o ink/\n"
     "  stf2 convert --page 1.2.3.1 --page-per-group book.inkml\n\n",
     Convert},
    {"split", "Make one STF2 file for each page",
     "Examples:\n"
     "  stf2 split letter.stf2                       letter-1.2.3.4.stf2, letter-1.2.3.5.stf2\n"
     "  stf2 split ink/*.stf2 -o pages/\n\n",
     Split},
    {"merge", "Make one STF2 file of several of one pen",
     "Examples:\n"
     "  stf2 merge monday.stf2 tuesday.stf2 -o week.stf2\n\n",
     Merge},
    {"render", "Draw ink as SVG, PNG or PDF",
     "Examples:\n"
     "  stf2 render letter.stf2 -o letter.svg\n"
     "  stf2 render letter.stf2 -o letter.png --dpi 300 --transparent\n"
     "  stf2 render letter.stf2 -o letter.pdf --page-size A4\n"
     "  stf2 render ink/*.stf2 --to png -o pictures/\n\n",
     RenderFiles},
    {"keygen", "Make a key pair for sealed ink",
     "Examples:\n"
     "  stf2 keygen -o key                           key (keep it) and key.pub (give it away)\n\n",
     KeyGen},
    {"seal", "Seal STF2 so that only one receiver can open it",
     "Examples:\n"
     "  stf2 seal --key key.pub letter.stf2          letter.sealed.stf2\n\n",
     Seal},
    {"open", "Open sealed STF2",
     "Examples:\n"
     "  stf2 open --key key letter.sealed.stf2 -o letter.stf2\n\n",
     Open},
};

// Help that begins with examples.
class Help : public CLI::Formatter {
 public:
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::string examples = app->get_parent() == nullptr ? kExamples : "";
    for (const Command& command : kCommands) {
      if (app->get_name() == command.name) examples = command.examples;
    }
    return examples + CLI::Formatter::make_help(app, name, mode);
  }
};

// An option whose text `parse` turns into an optional value; none is wrong usage.
template <typename Value, typename Parse>
void AddParsed(CLI::App& app, const std::string& name, std::optional<Value>& value, Parse parse,
               const std::string& form, const std::string& help) {
  const auto take = [&value, parse, name, form](const std::string& text) {
    value = parse(text);
    if (!value) throw CLI::ValidationError(name, "'" + text + "' is not " + form);
  };
  app.add_option_function<std::string>(name, take, help)->take_last();
}

std::optional<std::uint64_t> ParsePen(const std::string& text) {
  TalvoCppUtils::PenId pen(0);
  if (!TalvoCppUtils::PenId::Parse(text, pen)) return std::nullopt;
  return pen.number();
}

std::optional<std::string> ParsePage(const std::string& text) {
  return IsOnePageAddress(text) ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<std::uint64_t> ParseStartTime(const std::string& text) {
  if (text == "now") {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  }
  std::uint64_t time = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, time);
  if (result.ec != std::errc() || result.ptr != end) {
    const std::optional<DateTime> date = ParseDateTime(text);
    time = date ? date->time_ms : 0;
  }
  return time > 0 && time <= kLastTimeMs ? std::optional<std::uint64_t>(time) : std::nullopt;
}

void AddReading(CLI::App& app, Options& options) {
  AddParsed(app, "--pen", options.inkml.pen, ParsePen, "a pen such as 0123-4567-89AB-CDEF",
            "The pen, instead of the file's");
  app.add_flag("--strict", options.strict, "Refuse InkML of which something would be lost");
  AddParsed(app, "--units", options.inkml.unit_um, MicrometresOf,
            "one of mm, cm, in, pt, px, himetric",
            "The unit of positions that have none in the InkML");
}

void AddAddressing(CLI::App& app, Options& options) {
  AddParsed(app, "--page", options.inkml.page, ParsePage, "a page address such as 1.2.3.4",
            "The page address, instead of the file's");
  app.add_flag("--page-per-group", options.inkml.page_for_each_group,
               "Count the last field of --page up for each trace group in the InkML's root");
  app.add_flag("--page-per-file", options.page_for_each_file,
               "Count the last field of --page up for each file");
  AddParsed(app, "--start-time", options.inkml.start_time_ms, ParseStartTime,
            "a time such as 2026-01-31T12:34:56Z, milliseconds since 1970, or now",
            "When ink began that does not say so");
}

void AddPicture(CLI::App& app, Options& options) {
  AddParsed(app, "--page-size", options.render.page_size, ParsePageSize,
            "A4, A5, Letter or millimetres such as 210x297",
            "The paper, instead of the ink's bounds: A4, A5, Letter, WxH in mm");
  app.add_option("--dpi", options.render.dpi, "Pixels per inch of a PNG (200)")
      ->check(CLI::Range(1.0, 4800.0));
  app.add_flag("--transparent", options.render.transparent, "No white paper (SVG, PNG)");
  AddParsed(app, "--color", options.render.color, ParseColor, "a colour such as #203080 or navy",
            "One colour for all strokes");
  app.add_option("--page", options.render.page, "Draw this page alone");
}

void AddInputs(CLI::App& app, Options& options) {
  app.add_option("FILE", options.inputs, "Files, or patterns such as 'ink/*.stf2'")->required();
}

CLI::Option* AddOutput(CLI::App& app, Options& options, const char* help) {
  app.add_flag("-f,--force", options.force, "Replace files that are there already");
  return app.add_option("-o,--output", options.output, help);
}

void AddOptions(CLI::App& app, const std::string& name, Options& options) {
  static const char kFileOrFolder[] = "A file, or a folder (beside the input)";
  if (name == "keygen") {
    AddOutput(app, options, "The secret key's file; the public key's ends in .pub")->required();
    return;
  }
  AddInputs(app, options);
  if (name == "info") {
    app.add_flag("--json", options.json, "One JSON document a line");
    AddReading(app, options);
  } else if (name == "convert") {
    AddOutput(app, options, kFileOrFolder);
    app.add_option("--to", options.format, "stf2 or inkml (what the output's name says)")
        ->check(CLI::IsMember({"stf2", "inkml"}));
    AddReading(app, options);
    AddAddressing(app, options);
  } else if (name == "split") {
    AddOutput(app, options, "A folder (beside the input)");
    AddReading(app, options);
  } else if (name == "merge") {
    AddOutput(app, options, "The file to make")->required();
    AddReading(app, options);
  } else if (name == "render") {
    AddOutput(app, options, kFileOrFolder);
    app.add_option("--to", options.format, "svg, png or pdf (what the output's name says)")
        ->check(CLI::IsMember({"svg", "png", "pdf"}));
    AddReading(app, options);
    AddPicture(app, options);
  } else {
    AddOutput(app, options, kFileOrFolder);
    app.add_option("--key", options.key,
                   name == "seal" ? "The receiver's public key's file" : "The secret key's file")
        ->required();
  }
}

// What the options can't say together; empty where all is well.
std::string Contradiction(const std::string& name, const Options& options) {
  std::vector<std::string> files = options.inputs;
  files.push_back(options.output);
  files.push_back(options.key);
  if (std::find(files.begin(), files.end(), "-") != files.end()) {
    return name + ": standard input and output are not used; a file called - is named ./-";
  }
  const bool one_output = !options.output.empty() && !NamesFolder(options.output);
  if (name == "split") {
    return one_output ? "split: -o names no folder: " + options.output : "";
  }
  if (name == "merge" || name == "keygen") {
    return one_output ? "" : name + ": -o names a folder: " + options.output;
  }
  if (name == "info") return {};
  if (one_output && ExpandGlobs(options.inputs).size() > 1) {
    return name + ": several files need a folder: -o " + options.output + "/";
  }
  const bool numbered = options.page_for_each_file || options.inkml.page_for_each_group;
  if (numbered && !options.inkml.page) return name + ": --page names the first of the pages";
  return {};
}

// What is wrong with the first word, where it should be a command; empty where it is one or an
// option.
std::string UnknownCommand(const std::vector<std::string>& arguments) {
  std::string names;
  for (const Command& command : kCommands) {
    if (!arguments.empty() && arguments[0] == command.name) return {};
    names += (names.empty() ? "" : ", ") + std::string(command.name);
  }
  if (arguments.empty()) return "stf2: a command is missing: one of " + names;
  if (!arguments[0].empty() && arguments[0][0] == '-') return {};
  return "stf2: '" + OneLine(arguments[0]) + "' is none of its commands: " + names;
}

int WrongUsage(const std::string& reason, Streams streams) {
  streams.err << reason << "\nRun with --help for more information.\n";
  return 2;
}

}  // namespace

int RunTool(const std::vector<std::string>& arguments, Streams streams) {
  const std::string unknown = UnknownCommand(arguments);
  if (!unknown.empty()) return WrongUsage(unknown, streams);
  Options options;
  CLI::App app("Works on files of handwriting.", "stf2");
  app.formatter(std::make_shared<Help>());
  app.set_help_flag("-h,--help", "This help");
  app.set_version_flag("--version", std::string("stf2 ") + STF2_VERSION, "The version");
  app.require_subcommand(1);
  for (const Command& command : kCommands) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->set_help_flag("-h,--help", "This help");
    AddOptions(*sub, command.name, options);
  }
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    return app.exit(error, streams.out, streams.err) == 0 ? 0 : 2;
  }
  for (const Command& command : kCommands) {
    if (!app.got_subcommand(command.name)) continue;
    const std::string contradiction = Contradiction(command.name, options);
    if (contradiction.empty()) return command.run(options, streams);
    return WrongUsage(contradiction, streams);
  }
  return 2;
}

}  // namespace InkTool
