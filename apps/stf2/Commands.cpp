#include "Commands.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoCppUtils/Printable.h>
#include <TalvoQuillpost/Limits.h>

#include <algorithm>

#include "Files.h"
#include "Packing.h"
#include "Refusal.h"
#include "Report.h"
#include "Session.h"
#include "cli/Shown.h"
#include "ink/InkError.h"
#include "ink/PageAddress.h"
#include "ink/Stf2File.h"
#include "ink/Text.h"
#include "ink/inkml/InkMLWriter.h"
#include "ink/xopp/XoppWriter.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

// What --to or the output's name says; else InkML for STF2, and STF2 for all others.
std::string FormatToWrite(const Options& options, InkFormat from) {
  std::string format = options.format;
  if (format.empty() && !options.output.empty() && !NamesFolder(options.output)) {
    format = FormatExtensionOf(options.output);
  }
  if (format.empty()) format = from == InkFormat::kStf2 ? "inkml" : "stf2";
  if (format != "stf2" && format != "inkml" && format != "xopp") {
    throw Refusal("'" + format + "' is not one of stf2, inkml and xopp; --to says which is wanted");
  }
  return format;
}

// Writes the ink in a format, packed with gzip if it is to be. Answers how many bytes it was
// before.
std::size_t Write(const Ink& ink, const std::string& format, bool gzipped, Losses& losses,
                  const Sink& sink) {
  if (format == "xopp") {  // packed anyway
    WriteXopp(ink, losses, sink);
    return 0;
  }
  std::size_t size = 0;
  const auto make = [&](const Sink& packed) {
    const Sink write = [&](std::string_view piece) {
      size += piece.size();
      packed(piece);
    };
    format == "stf2" ? WriteStf2(ink, write) : WriteInkML(ink, write);
  };
  Pack(gzipped, make, sink);
  return size;
}

// Refuses what the format would lose before anything is written.
void CheckThatAllIsKept(const Ink& ink, const std::string& format, Session& session) {
  if (format != "xopp") return;
  Losses losses;
  WriteXopp(ink, losses, [](std::string_view) {});
  session.CheckStrict(losses);
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
    if (!sealed) summary = Summarize(session.Load(file, bytes, options.reading, &losses));
    if (options.json) {
      Json::Value json = sealed ? AsJson(*sealed) : AsJson(summary);
      json["file"] = ShownInput(file);
      json["format"] = format;
      json["bytes"] = Json::UInt64(bytes.bytes.size());
      json["lost"] = LossesAsJson(losses.Lines());
      json["notes"] = LossesAsJson(NotesOf(losses));
      streams.out << OneLine(json) << '\n';
    } else if (!options.quiet) {
      streams.out << TalvoCppUtils::Printable(ShownInput(file)) << ": " << format << ", "
                  << bytes.bytes.size() << " bytes\n"
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
    ReadOptions reading = options.reading;
    if (options.page_for_each_file && reading.page)
      reading.page = PageAfter(*reading.page, number++);
    InkBytes bytes = session.Read(file);
    const std::string format = FormatToWrite(options, bytes.format);
    const Ink ink = session.Load(file, bytes, reading);
    bytes.bytes = std::string();  // the ink and what is written of it are memory enough
    const Summary summary = Summarize(ink);
    const std::string path = session.PathFor(file, StemOf(file) + "." + format);
    if (options.strict) CheckThatAllIsKept(ink, format, session);
    Losses losses;
    std::size_t size = 0;
    session.Save(path, [&](const Sink& sink) {
      size = Write(ink, format, IsPackedName(options.output), losses, sink);
    });
    session.TellLosses(file, losses);
    if (format == "stf2" && size > TalvoQuillpost::kMaxImportBytes) {
      session.Note(file, "note: the service imports files of at most " +
                             std::to_string(TalvoQuillpost::kMaxImportMebibytes) +
                             " MiB; split it");
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
    std::string line = FormatCount(parts.size(), "part");
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
    session.Save(options.output, [&](const Sink& sink) { WriteStf2(merged, sink); });
    if (moved > 0) {
      session.Note(ShownOutput(options.output),
                   "note: properties of single files made markers of "
                   "their pages: " +
                       std::to_string(moved));
    }
    return FormatCount(count, "file") + " (" + InShort(Summarize(merged)) + ")";
  });
  return session.status();
}

}  // namespace InkTool
