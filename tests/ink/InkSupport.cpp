#include "ink/InkSupport.h"

#include <algorithm>

namespace TalvoInk {

namespace {

template <typename ToText>
std::string JoinCoordinates(const Stroke& stroke, const ToText& to_text) {
  std::string joined;
  for (const Stf2Sample& sample : stroke.samples) {
    if (sample.type != STF2_SAMPLE_COORDINATE) continue;
    joined += (joined.empty() ? "" : " ") + to_text(sample);
  }
  return joined;
}

}  // namespace

std::vector<Stroke> Reading::Strokes() const {
  std::vector<Stroke> strokes;
  for (const Item& item : ink.items) {
    if (const auto* stroke = std::get_if<Stroke>(&item)) strokes.push_back(*stroke);
  }
  return strokes;
}

bool Reading::Lost(const std::string& line) const {
  return std::find(losses.begin(), losses.end(), line) != losses.end();
}

bool Reading::Noted(const std::string& line) const {
  return std::find(notes.begin(), notes.end(), line) != notes.end();
}

Reading ReadDocument(const std::string& bytes, const ReadOptions& options) {
  Reading reading;
  Losses losses;
  try {
    reading.ink = ReadInkML(bytes, options, losses);
  } catch (const InkError& refusal) {
    reading.refusal = refusal.what();
  }
  reading.losses = losses.Lines();
  reading.notes = losses.Notes();
  reading.is_pen_assumed = losses.is_pen_assumed();
  return reading;
}

std::string Document(const std::string& body) {
  return "<ink xmlns=\"http://www.w3.org/2003/InkML\">" + body + "</ink>";
}

std::string TraceDocument(const std::string& trace, const std::string& channels) {
  return Document(
      "<definitions><context xml:id=\"c\"><traceFormat><channel name=\"X\" units=\"mm\"/>"
      "<channel name=\"Y\" units=\"mm\"/>" +
      channels + "</traceFormat></context></definitions><trace contextRef=\"#c\">" + trace +
      "</trace>");
}

std::string WithChannels(const std::string& x, const std::string& y, const std::string& more,
                         const std::string& trace) {
  return Document("<definitions><context xml:id='c'><inkSource><traceFormat><channel name='X' " +
                  x + "/><channel name='Y' " + y + "/></traceFormat>" + more +
                  "</inkSource></context></definitions><trace contextRef='#c'>" + trace +
                  "</trace>");
}

std::string Positions(const Stroke& stroke) {
  return JoinCoordinates(stroke, [](const Stf2Sample& sample) {
    return std::to_string(sample.x_um) + "," + std::to_string(sample.y_um);
  });
}

std::string FirstPositions(const Reading& reading) {
  const std::vector<Stroke> strokes = reading.Strokes();
  return strokes.empty() ? "no strokes: " + reading.refusal : Positions(strokes[0]);
}

std::string Times(const Stroke& stroke) {
  return JoinCoordinates(stroke, [&stroke](const Stf2Sample& sample) {
    return std::to_string(stroke.start_time_ms + sample.time_offset_ms);
  });
}

std::string Forces(const Stroke& stroke) {
  return JoinCoordinates(stroke,
                         [](const Stf2Sample& sample) { return std::to_string(sample.force); });
}

Stf2Sample Sample(int type, int x_um, int y_um, int force, unsigned time, int flags) {
  Stf2Sample sample{};
  sample.type = static_cast<std::uint8_t>(type);
  sample.x_um = x_um;
  sample.y_um = y_um;
  sample.force = static_cast<std::uint16_t>(force);
  sample.time_offset_ms = time;
  sample.flags = static_cast<std::uint8_t>(flags);
  return sample;
}

Stroke StrokeOn(std::optional<std::string> page, std::uint64_t time) {
  Stroke stroke;
  stroke.page = std::move(page);
  stroke.start_time_ms = time;
  stroke.samples = DrawThrough({Sample(STF2_SAMPLE_COORDINATE, -5, 6, 10, 0, 1),
                                Sample(STF2_SAMPLE_COORDINATE, 7, 8, 900, 20, 1)});
  return stroke;
}

}  // namespace TalvoInk
