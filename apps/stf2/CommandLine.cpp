#include "CommandLine.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoCppUtils/Printable.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>

#include "Files.h"
#include "Session.h"
#include "cli/Shown.h"
#include "ink/Color.h"
#include "ink/PageAddress.h"
#include "ink/Paper.h"
#include "ink/Time.h"
#include "ink/Units.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

// An option whose text `parse` turns into an optional value; none is wrong usage.
template <typename Value, typename Parse>
CLI::Option* AddParsed(CLI::App& app, const std::string& name, std::optional<Value>& value,
                       Parse parse, const std::string& form, const std::string& help) {
  const auto take = [&value, parse, name, form](const std::string& text) {
    value = parse(text);
    if (!value) throw CLI::ValidationError(name, "'" + text + "' is not " + form);
  };
  return app.add_option_function<std::string>(name, take, help)->take_last();
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
  AddParsed(app, "--pen", options.reading.pen, ParsePen, "a pen such as 0123-4567-89AB-CDEF",
            "The pen, instead of the file's");
  app.add_flag("--strict", options.strict, "Refuse ink of which something would be lost");
  AddParsed(app, "--units", options.reading.unit_um, MicrometresOf,
            "one of mm, cm, in, pt, px, himetric",
            "The unit of positions that have none in the InkML");
}

void AddAddressing(CLI::App& app, Options& options) {
  AddParsed(app, "--page", options.reading.page, ParsePage, "a page address such as 1.2.3.4",
            "The page address, instead of the file's");
  app.add_flag("--page-per-group", options.reading.page_for_each_group,
               "Count the last field of --page up for each trace group in the InkML's root");
  app.add_flag("--page-per-file", options.page_for_each_file,
               "Count the last field of --page up for each file");
  AddParsed(app, "--start-time", options.reading.start_time_ms, ParseStartTime,
            "a time such as 2026-01-31T12:34:56Z, milliseconds since 1970, or now",
            "When ink began that does not say so");
}

// "256x256", or "256" for both: pixels.
std::optional<PixelSize> ParsePixelSize(const std::string& text) {
  PixelSize size;
  const char* const end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc()) return std::nullopt;
  size.height = size.width;
  if (width.ptr != end) {
    if (*width.ptr != 'x') return std::nullopt;
    const auto height = std::from_chars(width.ptr + 1, end, size.height);
    if (height.ec != std::errc() || height.ptr != end) return std::nullopt;
  }
  const auto fits = [](int pixels) { return pixels >= 1 && pixels <= 32000; };
  return fits(size.width) && fits(size.height) ? std::optional<PixelSize>(size) : std::nullopt;
}

CLI::Option* AddPicture(CLI::App& app, Options& options) {
  LayoutOptions& layout = options.render.layout;
  AddParsed(app, "--page-size", layout.page_size, ParsePageSize,
            "A3 to A6, Letter, Legal or millimetres such as 210x297",
            "The paper, instead of the ink's bounds: A3 to A6, Letter, Legal, WxH in mm");
  app.add_flag("--own-paper", layout.own_paper,
               "The size and ruling that the ink states for its pages (.xopp, SVG)");
  app.add_flag("--landscape", options.landscape, "The paper with its long side across");
  CLI::Option* dpi = app.add_option("--dpi", options.render.dpi, "Pixels per inch of a PNG (200)")
                         ->check(CLI::Range(1.0, 4800.0));
  app.add_flag("--transparent", options.render.transparent, "No white paper (SVG, PNG)");
  AddParsed(app, "--color", options.render.color, ParseColor, "a colour such as #203080 or navy",
            "One colour for all strokes");
  app.add_option_function<std::string>(
      "--page",
      [&](const std::string& page) {
        options.first_page = page == "first";
        if (!options.first_page) layout.page = page;
      },
      "Draw this page alone; 'first' is the first one");
  app.add_option("--margin", layout.margin_mm,
                 "Millimetres around the ink (5), or with --fit to the paper's edge (10)")
      ->check(CLI::Range(0.0, 1000.0));
  const auto place = [&app, &layout](const char* name, Placement placement, const char* help) {
    return app.add_flag_callback(
        name, [&layout, placement] { layout.placement = placement; }, help);
  };
  CLI::Option* fit = place("--fit", Placement::kFitted, "Scale the ink to fill the paper");
  place("--center", Placement::kCentred, "Put the ink in the paper's middle")->excludes(fit);
  return dpi;
}

void AddPaper(CLI::App& app, Options& options, CLI::Option* dpi) {
  RenderOptions& render = options.render;
  AddParsed(app, "--size", render.fit, ParsePixelSize, "pixels such as 256x256",
            "The most pixels of a PNG, such as 256x256 or 256, instead of --dpi")
      ->excludes(dpi);
  app.add_option_function<std::string>(
         "--ruling", [&](const std::string& name) { render.paper.ruling = *ParseRuling(name); },
         "What is printed on the paper: plain, ruled, squared or dotted")
      ->check(CLI::IsMember({"plain", "ruled", "squared", "dotted"}));
  CLI::Option* background =
      app.add_option("--background", options.background, "A PDF to draw upon: its first page");
  app.add_option("--background-page", options.background_page, "Another page of it")
      ->check(CLI::Range(1, 1000000))
      ->needs(background);
  CLI::Option* contact = app.add_flag("--contact-sheet", render.contact_sheet,
                                      "All pages of all files small on one sheet");
  app.add_option("--columns", render.columns, "Pages side by side on it (4)")
      ->check(CLI::Range(1, 20))
      ->needs(contact);
}

void AddSpeed(CLI::App& app, Options& options) {
  app.add_option("--speed", options.speed, "How many times as fast as the pen was (1)")
      ->check(CLI::Range(0.01, 1000.0));
  app.add_option("--max-pause", options.max_pause_s,
                 "Seconds to which longer pauses are shortened (2)")
      ->check(CLI::Range(0.0, 1e9));
  app.add_option("--frames", options.frames, "A folder for PNGs, instead of an SVG");
  app.add_option("--fps", options.frames_per_second, "PNGs of a second (25)")
      ->check(CLI::Range(1.0, 240.0));
}

void AddInputs(CLI::App& app, Options& options) {
  app.add_option("FILE", options.inputs,
                 "Files, patterns such as 'ink/*.stf2', or - for standard input")
      ->required();
}

CLI::Option* AddOutput(CLI::App& app, Options& options, const char* help) {
  app.add_flag("-q,--quiet", options.quiet, "Tell nothing but failures");
  app.add_flag("-f,--force", options.force, "Replace files that are there already");
  return app.add_option("-o,--output", options.output, help);
}

const char kFileOrFolder[] = "A file, a folder, or - for standard output (beside the input)";

void AddFormats(CLI::App& app, Options& options, const std::vector<std::string>& formats,
                const char* help) {
  app.add_option("--to", options.format, help)->check(CLI::IsMember(formats));
}

void AddInfo(CLI::App& app, Options& options) {
  AddInputs(app, options);
  app.add_flag("--json", options.json, "One JSON document a line");
  AddReading(app, options);
}

void AddConvert(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options, kFileOrFolder);
  AddFormats(app, options, {"stf2", "inkml", "xopp"},
             "stf2, inkml or xopp (what the output's name says)");
  AddReading(app, options);
  AddAddressing(app, options);
}

void AddSplit(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options, "A folder (beside the input)");
  AddReading(app, options);
}

void AddMerge(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options, "The file to make, or - for standard output")->required();
  AddReading(app, options);
}

void AddRender(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options,
            "A file, a folder, - for standard output, or a name with {page} or {n} in it for a "
            "picture of each page (beside the input)");
  AddFormats(app, options, {"svg", "png", "pdf"}, "svg, png or pdf (what the output's name says)");
  AddReading(app, options);
  AddPaper(app, options, AddPicture(app, options));
}

void AddStats(CLI::App& app, Options& options) {
  AddInputs(app, options);
  CLI::Option* json =
      app.add_flag("--json", options.json, "One JSON document a line, strokes and all");
  app.add_flag("--csv", options.csv, "Comma-separated values, a line for each stroke")
      ->excludes(json);
  app.add_flag("-q,--quiet", options.quiet, "Tell nothing of what reading lost");
  AddReading(app, options);
}

void AddReplay(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options, kFileOrFolder);
  AddReading(app, options);
  AddPicture(app, options);
  AddSpeed(app, options);
}

void AddKeyGen(CLI::App& app, Options& options) {
  AddOutput(app, options, "The secret key's file; the public key's ends in .pub")->required();
}

void AddSeal(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options, kFileOrFolder);
  app.add_option("--key", options.key, "The receiver's public key's file")->required();
}

void AddOpen(CLI::App& app, Options& options) {
  AddInputs(app, options);
  AddOutput(app, options, kFileOrFolder);
  app.add_option("--key", options.key, "The secret key's file")->required();
}

struct Command {
  const char* name;
  const char* summary;
  const char* examples;
  void (*add)(CLI::App&, Options&);  // its options
  int (*run)(const Options&, Streams);
};

const char kExamples[] =
    "Examples:\n"
    "  stf2 convert letter.inkml -o letter.stf2     handwriting for the service\n"
    "  stf2 info letter.stf2                        what is in it\n"
    "  stf2 render letter.stf2 -o letter.png        a picture of it\n"
    "  stf2 replay letter.stf2                      written again in a browser\n"
    "  stf2 split letter.stf2 -o pages/             one file for each page\n"
    "  stf2 keygen -o key                           a key pair: key and key.pub\n"
    "  stf2 seal --key key.pub letter.stf2          only the owner of key can open it\n\n";

const Command kCommands[] = {
    {"info", "Tell what is in ink files (STF2, sealed STF2, InkML, xopp, SVG)",
     "Examples:\n"
     "  stf2 info letter.stf2\n"
     "  stf2 info --json ink/*.stf2                  one JSON document a line\n\n",
     AddInfo, Info},
    {"convert", "Make STF2 of InkML, xopp or SVG, and InkML or xopp of any",
     "Examples:\n"
     "  stf2 convert letter.inkml -o letter.stf2\n"
     "  stf2 convert letter.stf2 -o letter.inkml\n"
     "  stf2 convert notebook.xopp --page 1.2.3.1 -o notebook.stf2\n"
     "  stf2 convert --pen 0123-4567-89AB-CDEF --page 1.2.3.4 --start-time now sketch.inkml\n"
     "  stf2 convert --page 1.2.3.1 --page-per-file scans/*.inkml -o ink/\n"
     "  stf2 convert --page 1.2.3.1 --page-per-group book.inkml\n\n",
     AddConvert, Convert},
    {"split", "Make one STF2 file for each page",
     "Examples:\n"
     "  stf2 split letter.stf2                       letter-1.2.3.4.stf2, letter-1.2.3.5.stf2\n"
     "  stf2 split ink/*.stf2 -o pages/\n\n",
     AddSplit, Split},
    {"merge", "Make one STF2 file of several of one pen",
     "Examples:\n"
     "  stf2 merge monday.stf2 tuesday.stf2 -o week.stf2\n\n",
     AddMerge, Merge},
    {"render", "Draw ink as SVG, PNG or PDF",
     "Examples:\n"
     "  stf2 render letter.stf2 -o letter.svg\n"
     "  stf2 render letter.stf2 -o letter.png --dpi 300 --transparent\n"
     "  stf2 render letter.stf2 -o letter.pdf --page-size A4 --ruling squared\n"
     "  stf2 render letter.stf2 -o filled.pdf --background form.pdf\n"
     "  stf2 render ink/*.stf2 -o all.pdf            one PDF with an outline\n"
     "  stf2 render ink/*.stf2 --to png -o pictures/\n"
     "  stf2 render letter.stf2 -o 'pages/{name}-{page}.png' --size 256x256\n"
     "  stf2 render ink/*.stf2 --contact-sheet -o all.png\n\n",
     AddRender, RenderFiles},
    {"replay", "Let ink be written again: an SVG that plays in a browser, or a film's pictures",
     "Examples:\n"
     "  stf2 replay letter.stf2                      letter.replay.svg\n"
     "  stf2 replay letter.stf2 -o letter.svg --speed 3 --max-pause 0.5\n"
     "  stf2 replay letter.stf2 --frames film/ --fps 30 --page-size A4\n\n",
     AddReplay, Replay},
    {"stats", "Tell how ink was written: lengths, times, speeds, pauses, force",
     "Examples:\n"
     "  stf2 stats letter.stf2                       a line for each page\n"
     "  stf2 stats --csv ink/*.stf2 > strokes.csv    a line for each stroke\n\n",
     AddStats, Stats},
    {"keygen", "Make a key pair for sealed ink",
     "Examples:\n"
     "  stf2 keygen -o key                           key (keep it) and key.pub (give it away)\n\n",
     AddKeyGen, KeyGen},
    {"seal", "Seal STF2 so that only one receiver can open it",
     "Examples:\n"
     "  stf2 seal --key key.pub letter.stf2          letter.sealed.stf2\n\n",
     AddSeal, Seal},
    {"open", "Open sealed STF2",
     "Examples:\n"
     "  stf2 open --key key letter.sealed.stf2 -o letter.stf2\n\n",
     AddOpen, Open},
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

// What the options can't say together; empty if all is well.
std::string Contradiction(const std::string& name, const Options& options) {
  const auto piped = std::count(options.inputs.begin(), options.inputs.end(), "-");
  if (piped + (options.key == "-" ? 1 : 0) > 1) return name + ": standard input can be read once";
  if (name == "split" && options.output == "-") {
    return "split: several files need a folder: -o names one";
  }
  const bool one_output = !options.output.empty() && !NamesFolder(options.output);
  if (name == "split") {
    return one_output ? "split: -o names no folder: " + options.output : "";
  }
  if (name == "merge" || name == "keygen") {
    return one_output ? "" : name + ": -o names a folder: " + options.output;
  }
  if (name == "info" || name == "stats") return {};
  const bool takes_many = name == "render" && (IsPattern(options.output) || IsOneForAll(options));
  if (one_output && !takes_many && ExpandGlobs(options.inputs).size() > 1) {
    return name + ": several files need a folder: -o " + options.output + "/";
  }
  const bool has_paper = options.render.layout.page_size || !options.background.empty();
  if (options.render.layout.placement != Placement::kAsWritten && !has_paper) {
    return name + ": --fit and --center need the paper's size: --page-size A4";
  }
  if (options.landscape && !options.render.layout.page_size) {
    return name + ": --landscape needs the paper's size: --page-size A4";
  }
  if (!options.frames.empty() && (!options.output.empty() || options.inputs.size() > 1)) {
    return name + ": --frames takes one file, and no -o";
  }
  const bool numbered = options.page_for_each_file || options.reading.page_for_each_group;
  if (numbered && !options.reading.page) return name + ": --page names the first of the pages";
  return {};
}

// What is wrong with the first word, which should be a command; empty if it is one or an option.
std::string UnknownCommand(const std::vector<std::string>& arguments) {
  std::string names;
  for (const Command& command : kCommands) {
    if (!arguments.empty() && arguments[0] == command.name) return {};
    names += (names.empty() ? "" : ", ") + std::string(command.name);
  }
  if (arguments.empty()) return "stf2: a command is missing: one of " + names;
  if (!arguments[0].empty() && arguments[0][0] == '-') return {};
  return "stf2: '" + TalvoCppUtils::Printable(arguments[0]) +
         "' is not one of its commands: " + names;
}

void TurnPaper(PageSize& size) {
  if (size.width_mm < size.height_mm) std::swap(size.width_mm, size.height_mm);
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
  app.set_version_flag("--version", std::string("stf2 ") + QUILLPOST_VERSION, "The version");
  app.require_subcommand(1);
  for (const Command& command : kCommands) {
    CLI::App* sub = app.add_subcommand(command.name, command.summary);
    sub->set_help_flag("-h,--help", "This help");
    command.add(*sub, options);
  }
  try {
    app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::ParseError& error) {
    return app.exit(error, streams.out, streams.err) == 0 ? 0 : 2;
  }
  for (const Command& command : kCommands) {
    if (!app.got_subcommand(command.name)) continue;
    const std::string contradiction = Contradiction(command.name, options);
    if (options.landscape && options.render.layout.page_size)
      TurnPaper(*options.render.layout.page_size);
    if (contradiction.empty()) return command.run(options, streams);
    return WrongUsage(contradiction, streams);
  }
  return 2;
}

}  // namespace InkTool
