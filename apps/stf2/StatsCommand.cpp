// The command that tells how ink was written.

#include <TalvoCppUtils/Printable.h>
#include <json/value.h>

#include <algorithm>
#include <vector>

#include "Commands.h"
#include "Report.h"
#include "Session.h"
#include "cli/Shown.h"
#include "ink/Statistics.h"
#include "ink/Time.h"
#include "ink/Units.h"

namespace InkTool {

using namespace TalvoInk;

namespace {

using Row = std::vector<std::string>;

std::string Shown(double number, int digits) {
  return FormatNumber(number, digits);
}

// A number if it is known; else what stands for it.
std::string Shown(const std::optional<double>& number, double scale, int digits,
                  const char* unknown) {
  return number ? Shown(*number * scale, digits) : unknown;
}

Row TableRow(const std::string& name, const PageStatistics& page) {
  return {name,
          std::to_string(page.strokes.size()),
          Shown(page.length_mm, 1),
          Shown(page.writing_ms, 1e-3, 2, "-"),
          Shown(page.speed_mm_s, 1, 1, "-"),
          page.pauses == 0 && page.strokes.size() > 1 ? "-" : std::to_string(page.pauses),
          page.pauses == 0 ? "-" : Shown(page.pause_ms / double(page.pauses) / 1000, 2),
          page.pauses == 0 ? "-" : Shown(page.longest_pause_ms / 1000, 2),
          page.force ? Shown(page.force->mean, 2) : "-",
          page.force ? Shown(page.force->most, 2) : "-"};
}

// Columns as wide as their widest entry, the first to the left and numbers to the right.
std::string Table(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string out;
  for (const Row& row : rows) {
    out += "  " + row[0] + std::string(widths[0] - row[0].size(), ' ');
    for (std::size_t i = 1; i < row.size(); ++i) {
      out += "  " + std::string(widths[i] - row[i].size(), ' ') + row[i];
    }
    out += '\n';
  }
  return out;
}

std::string AsTable(const std::vector<PageStatistics>& pages) {
  std::vector<Row> rows = {
      {"page", "strokes", "mm", "s", "mm/s", "pauses", "mean s", "longest s", "force", "most"}};
  for (const PageStatistics& page : pages) {
    rows.push_back(TableRow(TalvoCppUtils::Printable(page.page.value_or("(none)")), page));
  }
  return Table(rows);
}

// A field of CSV (RFC 4180).
std::string Field(const std::string& text) {
  if (text.find_first_of("\",\r\n") == std::string::npos) return text;
  std::string out = "\"";
  for (const char c : text) out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
}

const char kCsvTitle[] =
    "file,page,stroke,start,points,length_mm,duration_ms,speed_mm_s,pause_ms,force_mean,"
    "force_least,force_most\r\n";

std::string AsCsv(const std::string& file, const std::vector<PageStatistics>& pages) {
  std::string out;
  for (const PageStatistics& page : pages) {
    for (std::size_t i = 0; i < page.strokes.size(); ++i) {
      const StrokeStatistics& stroke = page.strokes[i];
      const auto force = [&](double ForceStatistics::*part) {
        return stroke.force ? Shown((*stroke.force).*part, 4) : std::string();
      };
      out += Field(file) + "," + Field(page.page.value_or("")) + "," + std::to_string(i + 1) + "," +
             (stroke.start_ms == 0 ? "" : FormatDateTime(stroke.start_ms)) + "," +
             std::to_string(stroke.points) + "," + Shown(stroke.length_mm, 3) + "," +
             Shown(stroke.duration_ms, 1, 0, "") + "," + Shown(stroke.speed_mm_s, 1, 3, "") + "," +
             Shown(stroke.pause_ms, 1, 0, "") + "," + force(&ForceStatistics::mean) + "," +
             force(&ForceStatistics::least) + "," + force(&ForceStatistics::most) + "\r\n";
    }
  }
  return out;
}

Json::Value OrNull(const std::optional<double>& number) {
  return number ? Json::Value(*number) : Json::Value();
}

Json::Value AsJson(const std::optional<ForceStatistics>& force) {
  Json::Value json;
  if (!force) return json;
  json["mean"] = force->mean;
  json["least"] = force->least;
  json["most"] = force->most;
  return json;
}

Json::Value AsJson(const StrokeStatistics& stroke) {
  Json::Value json;
  json["start_ms"] = stroke.start_ms == 0 ? Json::Value() : Json::UInt64(stroke.start_ms);
  json["points"] = Json::UInt64(stroke.points);
  json["length_mm"] = stroke.length_mm;
  json["duration_ms"] = OrNull(stroke.duration_ms);
  json["speed_mm_s"] = OrNull(stroke.speed_mm_s);
  json["pause_ms"] = OrNull(stroke.pause_ms);
  json["force"] = AsJson(stroke.force);
  return json;
}

Json::Value AsJson(const PageStatistics& page) {
  Json::Value json;
  json["page"] = page.page ? Json::Value(*page.page) : Json::Value();
  json["points"] = Json::UInt64(page.points);
  json["length_mm"] = page.length_mm;
  json["writing_ms"] = OrNull(page.writing_ms);
  json["speed_mm_s"] = OrNull(page.speed_mm_s);
  json["pauses"] = Json::UInt64(page.pauses);
  json["pause_ms"] = page.pause_ms;
  json["longest_pause_ms"] = page.longest_pause_ms;
  json["force"] = AsJson(page.force);
  json["strokes"] = Json::arrayValue;
  for (const StrokeStatistics& stroke : page.strokes) json["strokes"].append(AsJson(stroke));
  return json;
}

}  // namespace

int Stats(const Options& options, Streams streams) {
  Session session(options, streams);
  if (options.csv) streams.out << kCsvTitle;
  session.ForEachInput([&](const std::string& file) {
    const std::vector<PageStatistics> pages = StatisticsOf(session.Load(file));
    if (options.csv) {
      streams.out << AsCsv(ShownInput(file), pages);
    } else if (options.json) {
      Json::Value json;
      json["file"] = ShownInput(file);
      json["pages"] = Json::arrayValue;
      for (const PageStatistics& page : pages) json["pages"].append(AsJson(page));
      streams.out << OneLine(json) << '\n';
    } else {
      streams.out << TalvoCppUtils::Printable(ShownInput(file)) << ":\n" << AsTable(pages);
    }
    return std::string();
  });
  return session.status();
}

}  // namespace InkTool
