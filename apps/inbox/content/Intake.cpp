#include "content/Intake.h"

#include <TalvoCppUtils/PenId.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "ink/Color.h"
#include "ink/InkError.h"
#include "ink/PageAddress.h"
#include "ink/PagePaper.h"
#include "ink/Stf2File.h"
#include "ink/Summary.h"
#include "ink/file/InkFile.h"

namespace Inbox {

using namespace TalvoInk;

namespace {

constexpr std::size_t kMostPoints = 1000000;
constexpr double kFarthestUm = 10e6;  // ten metres

std::uint64_t NumberOf(const std::string& serial) {
  TalvoCppUtils::PenId pen(0);
  TalvoCppUtils::PenId::Parse(serial, pen);
  return pen.number();
}

bool HasAddress(const std::optional<std::string>& page) {
  return page && IsPageAddress(*page);
}

// What the service would not store the ink without; not pages, if only some strokes lack them.
ReadOptions WhatIsMissing(const Ink& ink, const Origin& origin, Intake& intake) {
  ReadOptions missing;
  std::vector<std::string>& told = intake.told;
  const Summary summary = Summarize(ink);
  if (std::none_of(summary.pages.begin(), summary.pages.end(),
                   [](const PageSummary& page) { return HasAddress(page.page); })) {
    missing.page = intake.own_page = origin.page();
    told.push_back("the ink names no page; it is on page " + *missing.page + " now");
  }
  if (!std::all_of(summary.pages.begin(), summary.pages.end(),
                   [](const PageSummary& page) { return page.timed; })) {
    missing.start_time_ms = static_cast<std::uint64_t>(origin.now_ms);
    told.push_back("the ink does not say when it was written; it counts as written now");
  }
  if (ink.pen == 0) {
    missing.pen = NumberOf(origin.pen());
    told.push_back("the ink names no pen; it has the inbox's own now");
  }
  return missing;
}

// Puts strokes without an address on a page of their own.
void PlaceStrays(Ink& ink, const Origin& origin, Intake& intake) {
  std::size_t strays = 0;
  for (Item& item : ink.items) {
    auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr || HasAddress(stroke->page)) continue;
    if (++strays == 1) intake.own_page = origin.page();
    stroke->page = intake.own_page;
  }
  if (strays == 0) return;
  intake.told.push_back(std::to_string(strays) + (strays == 1 ? " stroke names" : " strokes name") +
                        " no page, and " + (strays == 1 ? "is" : "are") + " on page " +
                        intake.own_page + " now");
}

double Number(const Json::Value& value, double least, double most, const char* name) {
  if (!value.isNumeric()) throw InkError(std::string(name) + " is not a number");
  const double number = value.asDouble();
  if (!(number >= least && number <= most)) {
    throw InkError(std::string(name) + " is out of its range");
  }
  return number;
}

Stf2Sample ReadPoint(const Json::Value& point) {
  if (!point.isArray() || point.size() != 4) {
    throw InkError("a point is not time, x, y and force");
  }
  Stf2Sample sample{};
  sample.time_offset_ms =
      static_cast<std::uint32_t>(Number(point[0], 0, 86400000, "a point's time"));
  sample.x_um = static_cast<std::int32_t>(
      std::lround(Number(point[1], -kFarthestUm, kFarthestUm, "a point's x")));
  sample.y_um = static_cast<std::int32_t>(
      std::lround(Number(point[2], -kFarthestUm, kFarthestUm, "a point's y")));
  sample.force =
      static_cast<std::uint16_t>(std::lround(Number(point[3], 0, 1, "a point's force") * 65535));
  sample.type = STF2_SAMPLE_COORDINATE;
  sample.flags = STF2_SAMPLE_HAS_TIME;
  return sample;
}

Stroke ReadStroke(const Json::Value& json, const std::string& address, std::int64_t now_ms) {
  if (!json.isObject() || !json["points"].isArray() || json["points"].empty()) {
    throw InkError("a stroke has no points");
  }
  Stroke stroke;
  stroke.page = address;
  stroke.start_time_ms = static_cast<std::uint64_t>(now_ms);
  if (json.isMember("start")) {
    const double start = Number(json["start"], 0, 253402300799999.0, "a stroke's start");
    if (start >= 1) stroke.start_time_ms = static_cast<std::uint64_t>(start);
  }
  if (json.isMember("color")) {
    const auto color =
        json["color"].isString() ? ParseColor(json["color"].asString()) : std::nullopt;
    if (!color) throw InkError("a stroke's color is not a color");
    stroke.color = *color;
  }
  if (json.isMember("width")) {
    stroke.width_um =
        static_cast<std::uint32_t>(Number(json["width"], 0, 100000, "a stroke's width"));
  }
  std::vector<Stf2Sample> points;
  for (const Json::Value& point : json["points"]) points.push_back(ReadPoint(point));
  stroke.samples = DrawThrough(points);
  return stroke;
}

}  // namespace

Intake TakeIn(std::string file, const Origin& origin) {
  Intake intake;
  const InkBytes bytes = Unpack(std::move(file));
  if (bytes.format == InkFormat::kSealedStf2) {
    intake.bytes = bytes.bytes;
    return intake;
  }
  Losses losses;
  Ink ink = ReadInk(bytes, {}, losses);
  if (PagesOf(ink).empty()) throw InkError("it has no strokes");
  const ReadOptions missing = WhatIsMissing(ink, origin, intake);
  if (!intake.told.empty()) {
    losses = Losses();
    ink = ReadInk(bytes, missing, losses);
  }
  PlaceStrays(ink, origin, intake);
  for (const std::string& line : losses.Lines()) intake.told.push_back(line);
  intake.pen = TalvoCppUtils::PenId(ink.pen).string();
  for (const auto& page : PagesOf(ink)) intake.pages.push_back(page.value_or(""));
  const bool is_whole = bytes.format == InkFormat::kStf2 && intake.told.empty();
  intake.bytes = is_whole ? bytes.bytes : WriteStf2(ink);
  return intake;
}

std::string WritePadPage(const Json::Value& page, std::uint64_t pen, const std::string& address,
                         std::int64_t now_ms) {
  if (!page.isObject() || !page["strokes"].isArray() || page["strokes"].empty()) {
    throw InkError("there are no strokes");
  }
  Ink ink;
  ink.pen = pen;
  if (page.isMember("width") || page.isMember("height")) {
    PagePaper paper;
    paper.size.width_mm = Number(page["width"], 1000, 5e6, "the page's width") / 1000;
    paper.size.height_mm = Number(page["height"], 1000, 5e6, "the page's height") / 1000;
    ink.items.emplace_back(Marker{address, 0, WritePaper(paper)});
  }
  std::size_t points = 0;
  for (const Json::Value& json : page["strokes"]) {
    Stroke stroke = ReadStroke(json, address, now_ms);
    points += stroke.samples.size();
    if (points > kMostPoints) throw InkError("the page has too many points");
    ink.items.emplace_back(std::move(stroke));
  }
  return WriteStf2(ink);
}

}  // namespace Inbox
