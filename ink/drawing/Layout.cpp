#include "ink/drawing/Layout.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

#include "ink/InkError.h"
#include "ink/PagePaper.h"
#include "ink/drawing/Outline.h"

namespace TalvoInk {
namespace {

constexpr double kMarginMm = 5;
constexpr double kPaperMarginMm = 10;

std::int64_t Micrometres(double mm) {
  return std::llround(mm * 1000);
}

Box BoxOf(const Sheet& sheet, const Tips& tips) {
  Box box;
  for (const Stroke* stroke : sheet.strokes) box.Take(BoxOf(*stroke, tips.Of(*stroke)));
  return box;
}

void FitToInk(Sheet& sheet, const Box& box, double margin_um) {
  sheet.move_x = margin_um - static_cast<double>(box.left);
  sheet.move_y = margin_um - static_cast<double>(box.top);
  sheet.width =
      std::max<std::int64_t>(1, std::llround(double(box.right - box.left) + 2 * margin_um));
  sheet.height =
      std::max<std::int64_t>(1, std::llround(double(box.bottom - box.top) + 2 * margin_um));
}

void PutOnPaper(Sheet& sheet, const Box& box, const LayoutOptions& options) {
  sheet.width = Micrometres(options.page_size->width_mm);
  sheet.height = Micrometres(options.page_size->height_mm);
  if (options.placement == Placement::kAsWritten) return;
  const double ink_width = double(box.right - box.left), ink_height = double(box.bottom - box.top);
  if (options.placement == Placement::kFitted) {
    const double margin = options.margin_mm.value_or(kPaperMarginMm) * 1000;
    const double room_x = std::max(double(sheet.width) - 2 * margin, 1000.0);
    const double room_y = std::max(double(sheet.height) - 2 * margin, 1000.0);
    sheet.scale = std::min(room_x / std::max(ink_width, 1.0), room_y / std::max(ink_height, 1.0));
  }
  sheet.move_x =
      (double(sheet.width) - ink_width * sheet.scale) / 2 - double(box.left) * sheet.scale;
  sheet.move_y =
      (double(sheet.height) - ink_height * sheet.scale) / 2 - double(box.top) * sheet.scale;
}

void PutOn(Sheet& sheet, const PaperBox& paper) {
  sheet.width = std::max<std::int64_t>(1, paper.width);
  sheet.height = std::max<std::int64_t>(1, paper.height);
  sheet.move_x = -static_cast<double>(paper.left);
  sheet.move_y = -static_cast<double>(paper.top);
}

Ruling RulingOf(const PagePaper& paper) {
  if (paper.ruling == "lined" || paper.ruling == "ruled") return Ruling::kRuled;
  if (paper.ruling == "graph") return Ruling::kSquared;
  return paper.ruling == "dotted" ? Ruling::kDotted : Ruling::kPlain;
}

// By the pages whose markers state them; of two for one page the first counts.
std::map<std::optional<std::string>, PagePaper> PapersOf(const Ink& ink) {
  std::map<std::optional<std::string>, PagePaper> papers;
  for (const Item& item : ink.items) {
    const auto* marker = std::get_if<Marker>(&item);
    if (marker == nullptr || !marker->name) continue;
    if (const auto paper = ParsePaper(*marker->name)) papers.emplace(marker->page, *paper);
  }
  return papers;
}

void PutOnOwnPaper(Sheet& sheet, const PagePaper& paper) {
  sheet.width = std::max<std::int64_t>(1, Micrometres(paper.size.width_mm));
  sheet.height = std::max<std::int64_t>(1, Micrometres(paper.size.height_mm));
  sheet.ruling = RulingOf(paper);
}

bool IsOff(const Sheet& sheet, const Stf2Sample& point) {
  const Corner at = sheet.Place({point.x_um, point.y_um});
  return at.x < 0 || at.y < 0 || at.x > sheet.width || at.y > sheet.height;
}

void Count(const Sheet& sheet, Layout& layout) {
  for (const Stroke* stroke : sheet.strokes) {
    bool is_off = false;
    for (const Stf2Sample& point : PositionsOf(*stroke)) {
      if (point.type == STF2_SAMPLE_COORDINATE) ++layout.points;
      is_off = is_off || IsOff(sheet, point);
    }
    ++layout.strokes;
    if (is_off) ++layout.strokes_off_paper;
  }
}

}  // namespace

Corner Sheet::Place(const Corner& corner) const {
  return {std::llround(double(corner.x) * scale + move_x),
          std::llround(double(corner.y) * scale + move_y)};
}

void Sheet::Scale(double factor) {
  width = std::max<std::int64_t>(1, std::llround(double(width) * factor));
  height = std::max<std::int64_t>(1, std::llround(double(height) * factor));
  scale *= factor;
  move_x *= factor;
  move_y *= factor;
  paper_scale *= factor;
}

Layout LayOut(const Ink& ink, const Tips& tips, const LayoutOptions& options) {
  Layout layout;
  std::map<std::optional<std::string>, std::size_t> by_page;
  for (const Item& item : ink.items) {
    const auto* stroke = std::get_if<Stroke>(&item);
    if (stroke == nullptr || (options.page && stroke->page != options.page)) continue;
    const auto [found, fresh] = by_page.emplace(stroke->page, layout.sheets.size());
    if (fresh) layout.sheets.emplace_back().page = stroke->page;
    layout.sheets[found->second].strokes.push_back(stroke);
  }
  if (layout.sheets.empty()) {
    throw InkError(options.page ? "no stroke on page " + *options.page : "no strokes to draw");
  }
  if (options.number) {
    if (*options.number >= layout.sheets.size()) throw InkError("no page of this number");
    layout.sheets = {std::move(layout.sheets[*options.number])};
  }
  const auto own_papers = options.own_paper ? PapersOf(ink) : decltype(PapersOf(ink))();
  for (Sheet& sheet : layout.sheets) {
    const auto own_paper = own_papers.find(sheet.page);
    sheet.tips = &tips;
    const Box box = BoxOf(sheet, tips);
    const auto paper = options.papers.find(sheet.page);
    if (paper != options.papers.end()) {
      PutOn(sheet, paper->second);
    } else if (own_paper != own_papers.end()) {
      PutOnOwnPaper(sheet, own_paper->second);
    } else if (options.page_size) {
      PutOnPaper(sheet, box, options);
    } else {
      FitToInk(sheet, box, options.margin_mm.value_or(kMarginMm) * 1000);
    }
    Count(sheet, layout);
  }
  return layout;
}

}  // namespace TalvoInk
