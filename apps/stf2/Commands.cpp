#include "Commands.h"

#include <TalvoCppUtils/PenId.h>
#include <json/writer.h>

#include <algorithm>
#include <filesystem>

#include "Files.h"
#include "InkMLWriter.h"
#include "Refusal.h"
#include "SealedInfo.h"
#include "Session.h"
#include "Summary.h"
#include "XmlText.h"

namespace InkTool {
namespace {

// The extension of a path in lower case, without its dot.
std::string ExtensionOf(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  if (!extension.empty()) extension.erase(0, 1);
  return LowerCase(extension);
}

// What was asked for on the command line, for ink that did not come from InkML.
void Readdress(Ink& ink, const InkMLOptions& options) {
  if (options.pen) ink.pen = *options.pen;
  for (Item& item : ink.items) {
    auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    if (options.page) stroke->page = options.page;  // STF2 knows no groups
    if (!options.start_time_ms || stroke->start_time_ms != 0) continue;
    stroke->start_time_ms = *options.start_time_ms;
    const auto timed = [](const Stf2Sample& sample) { return sample.flags != 0; };
    if (std::any_of(stroke->samples.begin(), stroke->samples.end(), timed)) continue;
    for (Stf2Sample& sample : stroke->samples) {
      sample.flags |= STF2_SAMPLE_HAS_TIME;
      if (sample.type == STF2_SAMPLE_COORDINATE) break;
    }
  }
}

// The largest file that the service imports.
constexpr std::size_t kMostImportBytes = 104857600;

std::string CompactJson(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

}  // namespace

int Info(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    const std::string bytes = ReadInput(file);
    const std::optional<SealedInfo> sealed = ReadSealedInfo(bytes);
    const bool xml = !sealed && LooksLikeXml(bytes);
    const char* format = sealed ? "sealed STF2" : xml ? "InkML" : "STF2";
    Summary summary;
    if (!sealed) summary = Summarize(session.Load(file, options.inkml));
    if (options.json) {
      Json::Value json = sealed ? AsJson(*sealed) : AsJson(summary);
      json["file"] = file;
      json["format"] = format;
      json["bytes"] = Json::UInt64(bytes.size());
      streams.out << CompactJson(json) << '\n';
    } else {
      streams.out << OneLine(file) << ": " << format << ", " << bytes.size() << " bytes\n"
                  << (sealed ? InLines(*sealed) : InLines(summary));
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
    std::string format = options.format;
    if (format.empty() && !options.output.empty() && !NamesFolder(options.output)) {
      format = ExtensionOf(options.output);
    }
    const bool from_xml = LooksLikeXml(ReadInput(file));
    if (format.empty()) format = from_xml ? "stf2" : "inkml";
    if (format != "stf2" && format != "inkml") {
      throw Refusal("'" + format + "' is neither stf2 nor inkml; --to says which is wanted");
    }
    Ink ink = session.Load(file, inkml);
    if (!from_xml) Readdress(ink, inkml);
    const Summary summary = Summarize(ink);
    const std::string path = OutputPath(file, options.output, StemOf(file) + "." + format);
    const std::string bytes = format == "stf2" ? WriteStf2(ink) : WriteInkML(ink);
    session.Save(path, bytes);
    if (format == "stf2" && bytes.size() > kMostImportBytes) {
      session.Note(file, "note: the service imports files of at most 100 MiB; split it");
    }
    for (const std::string& obstacle : summary.Obstacles()) session.Note(file, "note: " + obstacle);
    return path + " (" + InShort(summary) + ")";
  });
  return session.status();
}

int Split(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    const auto parts = SplitByPage(session.Load(file, options.inkml));
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
  session.Attempt(options.output, [&] {
    Ink merged;
    bool first = true;
    const std::vector<std::string> files = ExpandGlobs(options.inputs);
    for (const std::string& file : files) {
      try {
        Ink ink = session.Load(file, options.inkml);
        if (first) merged.pen = ink.pen;
        if (ink.pen != merged.pen && !options.inkml.pen) {
          throw Refusal("is ink of pen " + TalvoCppUtils::PenId(ink.pen).string() + ", not of " +
                        TalvoCppUtils::PenId(merged.pen).string() +
                        " like the first; --pen names one for all");
        }
        first = false;
        Append(merged, std::move(ink));
      } catch (const Refusal& refusal) {
        throw Refusal(file, refusal.what());
      }
    }
    if (options.inkml.pen) merged.pen = *options.inkml.pen;
    session.Save(options.output, WriteStf2(merged));
    return Counted(files.size(), "file") + " (" + InShort(Summarize(merged)) + ")";
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
    const Ink ink = session.Load(file, options.inkml);
    const std::string path = OutputPath(file, options.output, StemOf(file) + "." + name);
    session.Save(path, Render(ink, format, options.render));
    if (const std::size_t off = StrokesOffPaper(ink, options.render)) {
      session.Note(file, "note: off the paper or over its edge: " + Counted(off, "stroke"));
    }
    return path + " (" + InShort(Summarize(ink)) + ")";
  });
  return session.status();
}

}  // namespace InkTool
