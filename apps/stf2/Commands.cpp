#include "Commands.h"

#include <TalvoCppUtils/PenId.h>

#include <algorithm>
#include <filesystem>

#include "Files.h"
#include "Refusal.h"
#include "Report.h"
#include "Session.h"
#include "ink/Gzip.h"
#include "ink/InkError.h"
#include "ink/PageAddress.h"
#include "ink/Stf2File.h"
#include "ink/Text.h"
#include "ink/inkml/InkMLWriter.h"
#include "ink/xopp/XoppWriter.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

namespace fs = std::filesystem;

// The extension of a path in lower case, without its dot.
std::string ExtensionOf(const std::string& path) {
  std::string extension = fs::path(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  return LowerCase(extension);
}

// The largest file that the service imports.
constexpr std::size_t kMostImportBytes = 104857600;

// What --to or the output's name says; else InkML for STF2, and STF2 for all others.
std::string FormatToWrite(const Options& options, InkFormat from) {
  std::string format = options.format;
  if (format.empty() && !options.output.empty() && !NamesFolder(options.output)) {
    const fs::path output(options.output);
    format = ExtensionOf(ExtensionOf(output) == "gz" ? output.stem() : output);
  }
  if (format.empty()) format = from == InkFormat::kStf2 ? "inkml" : "stf2";
  if (format != "stf2" && format != "inkml" && format != "xopp") {
    throw Refusal("'" + format + "' is none of stf2, inkml and xopp; --to says which is wanted");
  }
  return format;
}

// The picture, or a refusal that says which option makes it smaller.
Rendering Draw(const Ink& ink, PictureFormat format, const RenderOptions& options) {
  try {
    return Render(ink, format, options);
  } catch (const PictureSizeError& error) {
    const char* help = format == PictureFormat::kPng ? "; give a smaller --dpi or a --page-size"
                                                     : "; give a --page-size";
    throw Refusal(error.what() + std::string(help));
  }
}

}  // namespace

int Info(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    const InkBytes bytes = session.Read(file);
    const std::string format =
        (bytes.was_gzipped ? "gzipped " : "") + std::string(NameOf(bytes.format));
    const std::optional<SealedInfo> sealed = ReadSealedInfo(bytes.bytes);
    Summary summary;
    Losses losses;
    if (!sealed) summary = Summarize(session.Load(file, bytes, options.inkml, &losses));
    if (options.json) {
      Json::Value json = sealed ? AsJson(*sealed) : AsJson(summary);
      json["file"] = ShownInput(file);
      json["format"] = format;
      json["bytes"] = Json::UInt64(bytes.bytes.size());
      json["lost"] = LossesAsJson(losses.Lines());
      json["notes"] = LossesAsJson(NotesOf(losses));
      streams.out << OneLine(json) << '\n';
    } else if (!options.quiet) {
      streams.out << OneLine(ShownInput(file)) << ": " << format << ", " << bytes.bytes.size()
                  << " bytes\n"
                  << (sealed ? InLines(*sealed) : InLines(summary) + InLines(losses));
    }
    return std::string();
  });
  return session.status();
}

int Convert(const Options& options, Streams streams) {
  Session session(options, streams);
  std::uint64_t number = 0;
  session.ForEachInput([&](const std::string& file) {
    InkMLOptions inkml = options.inkml;
    if (options.page_for_each_file && inkml.page) inkml.page = PageAfter(*inkml.page, number++);
    const InkBytes bytes = session.Read(file);
    const bool gzipped = ExtensionOf(options.output) == "gz";
    const std::string format = FormatToWrite(options, bytes.format);
    const Ink ink = session.Load(file, bytes, inkml);
    const Summary summary = Summarize(ink);
    const std::string path = session.PathFor(file, StemOf(file) + "." + format);
    Losses losses;
    const std::string written = format == "stf2"    ? WriteStf2(ink)
                                : format == "inkml" ? WriteInkML(ink)
                                                    : WriteXopp(ink, losses);
    session.TellLosses(file, losses);
    session.Save(path, gzipped ? Gzip(written) : written);
    if (format == "stf2" && written.size() > kMostImportBytes) {
      session.Note(file, "note: the service imports files of at most 100 MiB; split it");
    }
    for (const std::string& obstacle : ObstaclesOf(summary))
      session.Note(file, "note: " + obstacle);
    return ShownOutput(path) + " (" + InShort(summary) + ")";
  });
  return session.status();
}

int Split(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    const auto parts = SplitByPage(session.Load(file));
    OutputSet outputs(options.force);
    std::string line = Counted(parts.size(), "part");
    for (const auto& [page, ink] : parts) {
      const std::string name =
          StemOf(file) + "-" + (page ? SafeName(*page) : "without-page") + ".stf2";
      const std::string path = OutputPath(file, options.output, name);
      outputs.Add(path, WriteStf2(ink));
      line += ", " + path;
    }
    outputs.Commit();
    return line;
  });
  return session.status();
}

int Merge(const Options& options, Streams streams) {
  Session session(options, streams);
  session.Attempt(ShownOutput(options.output), [&] {
    session.AgreeOnUnit();
    std::vector<Ink> documents;
    for (const std::string& file : ExpandGlobs(options.inputs)) {
      try {
        documents.push_back(session.Load(file));
        const std::uint64_t first = documents.front().pen, pen = documents.back().pen;
        if (pen == first) continue;
        throw Refusal("is ink of pen " + TalvoCppUtils::PenId(pen).string() + ", not of " +
                      TalvoCppUtils::PenId(first).string() +
                      " like the first; --pen names one for all");
      } catch (const std::runtime_error& error) {  // Refusal and InkError
        throw Refusal(ShownInput(file), error.what());
      }
    }
    const std::size_t count = documents.size();
    std::size_t moved = 0;
    const Ink merged = Merge(std::move(documents), moved);
    session.Save(options.output, WriteStf2(merged));
    if (moved > 0) {
      session.Note(ShownOutput(options.output),
                   "note: properties of single files made markers of "
                   "their pages: " +
                       std::to_string(moved));
    }
    return Counted(count, "file") + " (" + InShort(Summarize(merged)) + ")";
  });
  return session.status();
}

int RenderFiles(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    std::string name = options.format;
    if (name.empty() && !NamesFolder(options.output)) name = ExtensionOf(options.output);
    if (name.empty()) name = "svg";
    if (name != "svg" && name != "png" && name != "pdf") {
      throw Refusal("'" + name + "' is none of svg, png and pdf; --to says which is wanted");
    }
    const PictureFormat format = name == "svg"   ? PictureFormat::kSvg
                                 : name == "png" ? PictureFormat::kPng
                                                 : PictureFormat::kPdf;
    const Ink ink = session.Load(file);
    const std::string path = session.PathFor(file, StemOf(file) + "." + name);
    const Rendering picture = Draw(ink, format, options.render);
    session.Save(path, picture.bytes);
    if (picture.strokes_off_paper > 0) {
      session.Note(file, "note: off the paper or over its edge: " +
                             Counted(picture.strokes_off_paper, "stroke") + "; --fit shows all");
    }
    return ShownOutput(path) + " (" + InShort(picture) + ")";
  });
  return session.status();
}

}  // namespace InkTool
