#include "api/PageJson.h"

#include <json/writer.h>

#include <charconv>
#include <cmath>
#include <limits>

#include "ink/Color.h"
#include "ink/Tips.h"
#include "ink/Units.h"
#include "ink/drawing/Outline.h"
#include "ink/drawing/ReplayTimes.h"
#include "ink/drawing/SvgText.h"

namespace Inbox {

using namespace TalvoInk;

namespace {

void AppendInteger(std::string& out, std::int64_t number) {
  char digits[24];
  out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void AppendLine(std::string& out, const Stroke& stroke, const Tip& tip) {
  const std::vector<Stf2Sample> points = PositionsOf(stroke);
  const std::vector<double> widths = WidthsOf(stroke, tip);
  const std::vector<double> times =
      ReplayTimes({&stroke}, std::numeric_limits<double>::max(), 1).Of(0);
  out += '[';
  for (std::size_t i = 0; i < points.size(); ++i) {
    out += i == 0 ? "[" : ",[";
    AppendInteger(out, std::llround(times[i]));
    out += ',';
    AppendInteger(out, points[i].x_um);
    out += ',';
    AppendInteger(out, points[i].y_um);
    out += ',';
    AppendInteger(out, std::llround(widths[i]));
    out += ']';
  }
  out += ']';
}

void AppendStroke(std::string& out, std::int64_t id, const Stroke& stroke, const Tip& tip) {
  out += "{\"id\":";
  AppendInteger(out, id);
  out += ",\"color\":\"" + FormatColor(stroke.color) + "\",\"opacity\":";
  out += FormatNumber((stroke.color >> 24) / 255.0, 3);
  out += tip.darkens ? ",\"darkens\":true,\"start\":" : ",\"darkens\":false,\"start\":";
  AppendInteger(out, static_cast<std::int64_t>(stroke.start_time_ms));
  out += ",\"d\":\"";
  for (const Polygon& polygon : OutlineOf(stroke, tip)) AppendPath(out, polygon);
  out += "\",\"line\":";
  AppendLine(out, stroke, tip);
  out += '}';
}

}  // namespace

Json::Value ToJson(const PageRow& row) {
  Json::Value json;
  json["id"] = Json::Int64(row.id);
  json["pen"] = row.pen;
  json["address"] = row.address;
  json["title"] = row.title;
  json["strokes"] = Json::Int64(row.summary.strokes);
  json["points"] = Json::Int64(row.summary.points);
  json["start"] = Json::Int64(row.summary.first_ms);
  json["end"] = Json::Int64(row.summary.last_ms);
  json["arrived"] = Json::Int64(row.arrived_ms);
  json["revision"] = Json::Int64(row.revision);
  json["width"] = Json::Int64(row.summary.paper.width);
  json["height"] = Json::Int64(row.summary.paper.height);
  json["kind"] = NameOf(row.kind);
  json["reason"] = row.reason;
  json["trashed"] = Json::Int64(row.trashed_ms);
  return json;
}

Json::Value ToJson(const StreamLink::State& state) {
  Json::Value json;
  json["state"] = state.is_connected ? "connected" : "away";
  json["hindrance"] = state.hindrance;
  return json;
}

std::string ToText(const Json::Value& value) {
  static const Json::StreamWriterBuilder builder = [] {
    Json::StreamWriterBuilder made;
    made["indentation"] = "";
    made["emitUTF8"] = true;
    return made;
  }();
  return Json::writeString(builder, value);
}

std::string InkToJson(const StoredInk& stored, std::int64_t since) {
  const PaperBox& paper = stored.row.summary.paper;
  std::string out = "{\"revision\":" + std::to_string(stored.row.revision) +
                    ",\"paper\":{\"x\":" + std::to_string(paper.left) +
                    ",\"y\":" + std::to_string(paper.top) +
                    ",\"width\":" + std::to_string(paper.width) +
                    ",\"height\":" + std::to_string(paper.height) + "},\"strokes\":[";
  const Tips tips(stored.ink);
  std::size_t number = 0;
  bool is_first = true;
  for (const Item& item : stored.ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr || number >= stored.strokes.size()) continue;
    const std::int64_t id = stored.strokes[number++];
    if (id < since) continue;
    if (!is_first) out += ',';
    is_first = false;
    AppendStroke(out, id, *stroke, tips.Of(*stroke));
  }
  return out + "]}";
}

}  // namespace Inbox
