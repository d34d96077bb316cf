#include "api/Export.h"

#include <algorithm>
#include <utility>

#include "ink/Stf2File.h"
#include "ink/drawing/Render.h"
#include "ink/inkml/InkMLWriter.h"
#include "ink/xopp/XoppWriter.h"

namespace Inbox {

using namespace TalvoInk;

namespace {

constexpr double kUmPerInch = 25400;

constexpr struct {
  const char* format;
  const char* type;
} kTypes[] = {{"pdf", "application/pdf"},     {"png", "image/png"},
              {"svg", "image/svg+xml"},       {"inkml", "application/inkml+xml"},
              {"xopp", "application/x-xopp"}, {"stf2", "application/vnd.talvo.stf2"}};

// A page under one name, so that two pens' ink of one address stays apart on one sheet each.
void PutOnPage(Ink& ink, const std::string& page) {
  for (Item& item : ink.items) {
    if (auto* stroke = std::get_if<Stroke>(&item)) stroke->page = page;
    auto* marker = std::get_if<Marker>(&item);
    if (marker != nullptr && marker->page) marker->page = page;
  }
}

// All pages as one ink, on pages "1", "2" and so on if `is_numbered`.
Ink Gather(std::vector<StoredInk>& pages, bool is_numbered) {
  std::vector<Ink> inks;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    if (is_numbered) PutOnPage(pages[i].ink, std::to_string(i + 1));
    inks.push_back(std::move(pages[i].ink));
  }
  std::size_t moved = 0;
  return Merge(std::move(inks), moved);
}

RenderOptions PapersOf(const std::vector<StoredInk>& pages, const Ink& ink) {
  RenderOptions options;
  const auto names = PagesOf(ink);
  for (std::size_t i = 0; i < std::min(pages.size(), names.size()); ++i) {
    options.layout.papers[names[i]] = pages[i].row.summary.paper;
  }
  return options;
}

std::string NameOf(const std::vector<StoredInk>& pages, const std::string& format) {
  if (pages.size() > 1) return "ink-" + std::to_string(pages.size()) + "-pages." + format;
  std::string name = "page-";
  for (const char c : pages.front().row.address) {
    const bool is_plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || c == '.' || c == '-';
    name += is_plain ? c : '_';
  }
  return name + "." + format;
}

void RefuseClosed(const std::vector<StoredInk>& pages) {
  for (const StoredInk& page : pages) {
    if (page.row.kind != PageKind::kInk) {
      throw ExportError("page " + page.row.address + " can't be shown: " + page.row.reason);
    }
  }
}

void RefuseSeveralPens(const std::vector<StoredInk>& pages, const std::string& format) {
  for (const StoredInk& page : pages) {
    if (page.row.pen != pages.front().row.pen) {
      throw ExportError("a file of " + format + " holds the ink of one pen; export the pages of " +
                        page.row.pen + " by themselves");
    }
  }
}

}  // namespace

std::string Draw(const StoredInk& page, bool is_png, int size) {
  RenderOptions options;
  const PaperBox& paper = page.row.summary.paper;
  for (const auto& name : PagesOf(page.ink)) options.layout.papers[name] = paper;
  const double longer = double(std::max<std::int64_t>({paper.width, paper.height, 1}));
  options.dpi = size * kUmPerInch / longer;
  return Render(page.ink, is_png ? PictureFormat::kPng : PictureFormat::kSvg, options).bytes;
}

ExportedFile Export(std::vector<StoredInk> pages, const std::string& format) {
  ExportedFile file;
  for (const auto& known : kTypes) {
    if (format == known.format) file.type = known.type;
  }
  if (file.type.empty()) throw ExportError("there is no format '" + format + "'");
  if (pages.empty()) throw ExportError("there is no page to export");
  std::stable_sort(pages.begin(), pages.end(), [](const StoredInk& page, const StoredInk& other) {
    return ComesBefore(page.row, other.row);
  });
  file.name = NameOf(pages, format);
  if (format == "stf2" && pages.size() == 1 && pages.front().row.kind != PageKind::kInk) {
    file.bytes = std::move(pages.front().closed);
    return file;
  }
  RefuseClosed(pages);
  if (format == "png" || format == "svg") {
    if (pages.size() > 1) throw ExportError("a picture shows one page; a PDF shows several");
    constexpr int kA4At200Dpi = 2339;
    file.bytes = Draw(pages.front(), format == "png", kA4At200Dpi);
  } else if (format == "pdf") {
    const Ink ink = Gather(pages, true);
    file.bytes = Render(ink, PictureFormat::kPdf, PapersOf(pages, ink)).bytes;
  } else if (format == "xopp") {
    Losses losses;
    file.bytes = WriteXopp(Gather(pages, true), losses);
  } else {
    RefuseSeveralPens(pages, format);
    const Ink ink = Gather(pages, false);
    file.bytes = format == "stf2" ? WriteStf2(ink) : WriteInkML(ink);
  }
  return file;
}

}  // namespace Inbox
