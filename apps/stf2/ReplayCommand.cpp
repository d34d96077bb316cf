// The command that lets ink be written again.

#include <cstdio>

#include "Commands.h"
#include "Files.h"
#include "Packing.h"
#include "Refusal.h"
#include "Report.h"
#include "Session.h"
#include "cli/Shown.h"
#include "ink/InkError.h"
#include "ink/drawing/Replay.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

ReplayOptions ReplayOf(const Options& options) {
  ReplayOptions replay;
  replay.layout = options.render.layout;
  if (options.first_page) replay.layout.number = 0;
  replay.speed = options.speed;
  replay.max_pause_ms = options.max_pause_s * 1000;
  replay.transparent = options.render.transparent;
  replay.color = options.render.color;
  replay.dpi = options.render.dpi;
  replay.frames_per_second = options.frames_per_second;
  return replay;
}

std::string InShort(const ReplayInfo& info) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.1f s", info.duration_ms / 1000);
  return FormatCount(info.pages, "page") + ", " + FormatCount(info.strokes, "stroke") + ", " +
         seconds;
}

// Refuses a name that promises something else than a replay is.
void CheckName(const std::string& output) {
  if (output.empty() || NamesFolder(output)) return;
  const std::string format = FormatExtensionOf(output);
  if (format.empty() || format == "svg") return;
  throw Refusal("a replay is an SVG, not '" + format + "'; --frames makes PNGs");
}

// One file for each picture: frame-000000.png and so on.
ReplayInfo SaveFrames(const Ink& ink, const Options& options, const ReplayOptions& replay) {
  const auto save = [&](std::size_t number, const std::string& png) {
    char name[32];
    std::snprintf(name, sizeof name, "frame-%06zu.png", number);
    OutputSet outputs(options.force);
    outputs.Add(OutputPath("", options.frames + "/", name), png);
    outputs.Commit();
  };
  try {
    return ReplayAsFrames(ink, replay, save);
  } catch (const PictureSizeError& error) {
    throw Refusal(error.what() + std::string("; give a smaller --dpi, --fps or --max-pause"));
  }
}

}  // namespace

int Replay(const Options& options, Streams streams) {
  Session session(options, streams);
  session.ForEachInput([&](const std::string& file) {
    const Ink ink = session.Load(file);
    ReplayOptions replay = ReplayOf(options);
    replay.tell = session.TellFrom(kShareOfReading, 1);
    ReplayInfo info;
    std::string path = options.frames;
    if (options.frames.empty()) {
      path = session.PathFor(file, StemOf(file) + ".replay.svg");
      CheckName(options.output);
      session.Save(path, [&](const Sink& sink) {
        Pack(
            IsPackedName(options.output),
            [&](const Sink& packed) { info = ReplayAsSvg(ink, replay, packed); }, sink);
      });
    } else {
      info = SaveFrames(ink, options, replay);
    }
    if (info.assumed > 0) {
      session.Note(file, "note: a hand's usual speed taken for strokes without times: " +
                             std::to_string(info.assumed));
    }
    const std::string frames = info.frames > 0 ? ", " + FormatCount(info.frames, "picture") : "";
    return ShownOutput(path) + " (" + InShort(info) + frames + ")";
  });
  return session.status();
}

}  // namespace InkTool
