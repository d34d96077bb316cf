#include "Summary.h"

#include <TalvoCppUtils/PenId.h>

#include <algorithm>
#include <map>

#include "Time.h"

namespace InkTool {
namespace {

std::string Millimetres(std::int64_t um) {
  const std::int64_t size = um < 0 ? -um : um;
  const std::string digits = std::to_string(1000 + size % 1000);
  return (um < 0 ? "-" : "") + std::to_string(size / 1000) + "." + digits.substr(1);
}

// One line for a page's address whatever bytes it holds.
std::string Shown(const std::optional<std::string>& page) {
  if (!page) return "(none)";
  std::string out;
  for (const char c : *page) out += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? '?' : c;
  return "'" + out + "'";
}

void TakeCoordinate(const Stroke& stroke, const Stf2Sample& sample, Summary& out,
                    PageSummary& page) {
  ++out.coordinates;
  const bool first = !out.has_bounds;
  out.has_bounds = true;
  out.left_um = first ? sample.x_um : std::min(out.left_um, sample.x_um);
  out.right_um = first ? sample.x_um : std::max(out.right_um, sample.x_um);
  out.top_um = first ? sample.y_um : std::min(out.top_um, sample.y_um);
  out.bottom_um = first ? sample.y_um : std::max(out.bottom_um, sample.y_um);
  out.least_force = first ? sample.force : std::min(out.least_force, sample.force);
  out.most_force = first ? sample.force : std::max(out.most_force, sample.force);
  if ((sample.flags & STF2_SAMPLE_HAS_TIME) == 0 || stroke.start_time_ms == 0) return;
  const std::uint64_t time = stroke.start_time_ms + sample.time_offset_ms;
  out.first_ms = page.timed || out.first_ms != 0 ? std::min(out.first_ms, time) : time;
  out.last_ms = std::max(out.last_ms, time);
  page.timed = true;
}

}  // namespace

std::vector<std::string> Summary::Obstacles() const {
  std::vector<std::string> obstacles;
  constexpr std::size_t kMost = 10;
  for (const PageSummary& page : pages) {
    if (obstacles.size() >= kMost) {
      obstacles.push_back("the same of further pages");
      break;
    }
    const std::string of_page = page.page ? " of page " + Shown(page.page) : "";
    if (!page.page || page.page->empty()) {
      obstacles.push_back("the service will not store " + Counted(page.strokes, "stroke") +
                          " without a page address; --page names one");
    } else if (!IsPageAddress(*page.page)) {
      obstacles.push_back("the service will not store the ink" + of_page +
                          ": not a page address such as 1.2.3.4; --page names another");
    }
    if (!page.timed) {
      obstacles.push_back("the service will not store the ink" + of_page +
                          ": it has no time; --start-time gives one");
    }
  }
  if (pages.empty()) obstacles.push_back("the service will not store it: it has no strokes");
  return obstacles;
}

Summary Summarize(const Ink& ink) {
  Summary out;
  out.pen = ink.pen;
  std::map<std::optional<std::string>, std::size_t> by_page;
  for (const Item& item : ink.items) {
    if (std::holds_alternative<Marker>(item)) ++out.markers;
    if (std::holds_alternative<Property>(item)) ++out.properties;
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr) continue;
    ++out.strokes;
    const auto [found, fresh] = by_page.emplace(stroke->page, out.pages.size());
    if (fresh) out.pages.push_back({stroke->page, 0, false});
    PageSummary& page = out.pages[found->second];
    ++page.strokes;
    out.samples += stroke->samples.size();
    for (const Stf2Sample& sample : stroke->samples) {
      if (sample.type == STF2_SAMPLE_COORDINATE) TakeCoordinate(*stroke, sample, out, page);
    }
  }
  return out;
}

std::string Counted(std::uint64_t count, const char* thing) {
  return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

std::string InShort(const Summary& summary) {
  return Counted(summary.pages.size(), "page") + ", " + Counted(summary.strokes, "stroke") + ", " +
         Counted(summary.coordinates, "point");
}

std::string InLines(const Summary& summary) {
  std::string out = "  pen         " + TalvoCppUtils::PenId(summary.pen).string() + "\n";
  for (std::size_t i = 0; i < summary.pages.size(); ++i) {
    const PageSummary& page = summary.pages[i];
    out += (i == 0 ? "  pages       " : "              ") + Shown(page.page) + ", " +
           Counted(page.strokes, "stroke") + "\n";
  }
  out += "  strokes     " + std::to_string(summary.strokes) + "\n";
  out += "  samples     " + std::to_string(summary.samples) + ", " +
         Counted(summary.coordinates, "coordinate") + "\n";
  out += "  time        " +
         (summary.first_ms == 0
              ? std::string("none")
              : FormatDateTime(summary.first_ms) + " to " + FormatDateTime(summary.last_ms)) +
         "\n";
  if (summary.has_bounds) {
    out += "  bounds      " + Millimetres(summary.left_um) + ", " + Millimetres(summary.top_um) +
           " to " + Millimetres(summary.right_um) + ", " + Millimetres(summary.bottom_um) + " mm\n";
    out += "  force       " + std::to_string(summary.least_force) + " to " +
           std::to_string(summary.most_force) + " of 65535\n";
  }
  out += "  markers     " + std::to_string(summary.markers) + "\n";
  out += "  properties  " + std::to_string(summary.properties) + "\n";
  for (const std::string& obstacle : summary.Obstacles()) out += "  note        " + obstacle + "\n";
  return out;
}

Json::Value AsJson(const Summary& summary) {
  Json::Value json;
  json["pen"] = TalvoCppUtils::PenId(summary.pen).string();
  json["pages"] = Json::arrayValue;
  for (const PageSummary& page : summary.pages) {
    Json::Value entry;
    entry["page"] = page.page ? Json::Value(*page.page) : Json::Value();
    entry["strokes"] = Json::UInt64(page.strokes);
    json["pages"].append(entry);
  }
  json["strokes"] = Json::UInt64(summary.strokes);
  json["samples"] = Json::UInt64(summary.samples);
  json["coordinates"] = Json::UInt64(summary.coordinates);
  json["markers"] = Json::UInt64(summary.markers);
  json["properties"] = Json::UInt64(summary.properties);
  if (summary.first_ms != 0) {
    json["time"]["first_ms"] = Json::UInt64(summary.first_ms);
    json["time"]["last_ms"] = Json::UInt64(summary.last_ms);
  } else {
    json["time"] = Json::Value();
  }
  if (summary.has_bounds) {
    json["bounds_um"]["left"] = summary.left_um;
    json["bounds_um"]["top"] = summary.top_um;
    json["bounds_um"]["right"] = summary.right_um;
    json["bounds_um"]["bottom"] = summary.bottom_um;
    json["force"]["least"] = summary.least_force;
    json["force"]["most"] = summary.most_force;
  } else {
    json["bounds_um"] = Json::Value();
    json["force"] = Json::Value();
  }
  json["storable"] = summary.Obstacles().empty();
  return json;
}

}  // namespace InkTool
