#include "Report.h"

#include <TalvoCppUtils/PenId.h>
#include <json/writer.h>

#include "cli/Shown.h"
#include "ink/PageAddress.h"
#include "ink/Time.h"

namespace InkTool {

using namespace TalvoInk;

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

}  // namespace

std::vector<std::string> ObstaclesOf(const Summary& summary) {
  std::vector<std::string> obstacles;
  constexpr std::size_t kMost = 10;
  for (const PageSummary& page : summary.pages) {
    if (obstacles.size() >= kMost) {
      obstacles.push_back("the same of further pages");
      break;
    }
    const std::string of_page = page.page ? " of page " + Shown(page.page) : "";
    if (!page.page || page.page->empty()) {
      obstacles.push_back("the service will not store " + FormatCount(page.strokes, "stroke") +
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
  if (summary.pages.empty())
    obstacles.push_back("the service will not store it: it has no strokes");
  return obstacles;
}

static std::string InShort(std::uint64_t pages, std::uint64_t strokes, std::uint64_t points) {
  return FormatCount(pages, "page") + ", " + FormatCount(strokes, "stroke") + ", " +
         FormatCount(points, "point");
}

std::string InShort(const Summary& summary) {
  return InShort(summary.pages.size(), summary.strokes, summary.coordinates);
}

std::string InShort(const Rendering& picture) {
  return InShort(picture.pages, picture.strokes, picture.points);
}

std::string InLines(const Summary& summary) {
  std::string out = "  pen         " + TalvoCppUtils::PenId(summary.pen).string() + "\n";
  for (std::size_t i = 0; i < summary.pages.size(); ++i) {
    const PageSummary& page = summary.pages[i];
    out += (i == 0 ? "  pages       " : "              ") + Shown(page.page) + ", " +
           FormatCount(page.strokes, "stroke") + "\n";
  }
  out += "  strokes     " + std::to_string(summary.strokes) + "\n";
  out += "  samples     " + std::to_string(summary.samples) + ", " +
         FormatCount(summary.coordinates, "coordinate") + "\n";
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
  for (const std::string& obstacle : ObstaclesOf(summary))
    out += "  note        " + obstacle + "\n";
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
  json["storable"] = ObstaclesOf(summary).empty();
  return json;
}

std::string InLines(const SealedInfo& info) {
  return "  pen         " + TalvoCppUtils::PenId(info.pen).string() + "\n  recipient   " +
         info.recipient + "\n  algorithm   " + std::to_string(info.algorithm) + "\n";
}

Json::Value AsJson(const SealedInfo& info) {
  Json::Value json;
  json["pen"] = TalvoCppUtils::PenId(info.pen).string();
  json["recipient"] = info.recipient;
  json["algorithm"] = info.algorithm;
  return json;
}

std::vector<std::string> NotesOf(const Losses& losses) {
  std::vector<std::string> notes = losses.Notes();
  if (losses.is_pen_assumed()) {
    notes.push_back("names no pen; 0000-0000-0000-0000 taken, --pen names another");
  }
  return notes;
}

std::string InLines(const Losses& losses) {
  std::string out;
  for (const std::string& line : losses.Lines()) out += "  lost        " + line + "\n";
  for (const std::string& line : NotesOf(losses)) out += "  note        " + line + "\n";
  return out;
}

std::string OneLine(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string FailureAsJson(const std::string& file, const std::string& reason) {
  Json::Value json;
  json["file"] = file;
  json["failed"] = reason;
  return OneLine(json);
}

Json::Value LossesAsJson(const std::vector<std::string>& lines) {
  Json::Value json = Json::arrayValue;
  for (const std::string& line : lines) json.append(line);
  return json;
}

}  // namespace InkTool
