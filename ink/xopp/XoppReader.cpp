#include "ink/xopp/XoppReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <pugixml.hpp>
#include <utility>
#include <vector>

#include "ink/Color.h"
#include "ink/InkError.h"
#include "ink/PageAddress.h"
#include "ink/PagePaper.h"
#include "ink/Text.h"
#include "ink/Tips.h"
#include "ink/Units.h"
#include "ink/xml/DrawingReader.h"
#include "ink/xml/XmlEncoding.h"
#include "ink/xml/XmlNodes.h"

namespace TalvoInk {
namespace {

constexpr double kPointUm = 25400.0 / 72;
constexpr std::uint32_t kWhite = 0xFFFFFFFF;
constexpr double kWidest = 1e6;  // points: no line is 350 m wide

// The program's own names of colours that differ from those of HTML.
std::optional<std::uint32_t> ColorOf(const std::string& text) {
  static const std::pair<const char*, std::uint32_t> kOwn[] = {
      {"blue", 0xFF3333CC},       {"green", 0xFF008000},   {"lightblue", 0xFF00C0FF},
      {"lightgreen", 0xFF00FF00}, {"magenta", 0xFFFF00FF}, {"orange", 0xFFFF8000},
      {"gray", 0xFF808080}};
  for (const auto& [name, color] : kOwn) {
    if (Trim(text) == name) return color;
  }
  return ParseColor(text);
}

class Reader : public DrawingReader {
 public:
  Reader(const std::string& text, const ReadOptions& options, Losses& losses)
      : DrawingReader(text, options, losses) {}

  Ink Read(pugi::xml_node root) {
    CheckRoot(root, "xournal", "a notebook");
    for (const pugi::xml_node& child : root.children()) {
      if (IsNamed(child, "page")) ReadPage(child);
    }
    NamePages();
    AddTips();
    return Finish();
  }

 private:
  void ReadPage(pugi::xml_node page) {
    const std::size_t before = strokes_;
    std::vector<Item> items;
    std::size_t layers = 0;
    for (const pugi::xml_node& child : page.children()) {
      if (!IsNamed(child, "layer")) continue;
      layers += child.first_child() ? 1 : 0;
      for (const pugi::xml_node& part : child.children()) ReadPart(part, items);
    }
    if (layers > 1) losses_.Count("layers merged into the first of their page", layers - 1);
    if (strokes_ == before) {
      losses_.Note("pages without ink left out", 1);
      return;
    }
    pages_.push_back({std::move(items), PaperOf(page)});
  }

  PagePaper PaperOf(pugi::xml_node page) {
    PagePaper paper;
    const auto width = ParseNumber(AttributeOf(page, "width"));
    const auto height = ParseNumber(AttributeOf(page, "height"));
    const auto is_size = [](const std::optional<double>& size) {
      return size && *size >= 3 && *size <= 14000;
    };
    if (is_size(width) && is_size(height)) {
      paper.size = {*width * kPointUm / 1000, *height * kPointUm / 1000};
    }
    const pugi::xml_node background = ChildOf(page, "background");
    const std::string type = AttributeOf(background, "type");
    if (type == "pdf" || type == "pixmap") {
      losses_.Count("backgrounds of pages left out", 1);
    } else {
      if (!AttributeOf(background, "style").empty()) {
        paper.ruling = AttributeOf(background, "style");
      }
      const std::string color = AttributeOf(background, "color");
      if (!color.empty() && ColorOf(color) != kWhite) {
        losses_.Count("colours of paper left out", 1);
      }
    }
    return paper;
  }

  void ReadPart(pugi::xml_node part, std::vector<Item>& items) {
    if (part.type() != pugi::node_element) return;
    if (IsNamed(part, "stroke")) {
      ReadStroke(part, items);
    } else if (IsNamed(part, "text")) {
      losses_.Count("texts left out", 1);
    } else if (IsNamed(part, "image") || IsNamed(part, "teximage")) {
      losses_.Count("pictures left out", 1);
    } else {
      losses_.Add(std::string("element <") + part.name() + "> left out");
    }
  }

  // All numbers of a text; refused if one is not a number.
  std::vector<double> NumbersOf(pugi::xml_node node, const std::string& text) const {
    std::vector<double> numbers;
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto is_white = [](char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; };
    for (;;) {
      while (at != end && is_white(*at)) ++at;
      if (at == end) return numbers;
      double number = 0;
      const auto result = std::from_chars(at, end, number);
      if (result.ec != std::errc() || !std::isfinite(number) ||
          (result.ptr != end && !is_white(*result.ptr))) {
        Refuse(node, "not a number: '" + std::string(at, std::find_if(at, end, is_white)) + "'");
      }
      numbers.push_back(number);
      at = result.ptr;
    }
  }

  void ReadStroke(pugi::xml_node node, std::vector<Item>& items) {
    const std::vector<double> numbers = NumbersOf(node, TextOf(node));
    if (numbers.size() < 2) {
      losses_.Count("strokes without points left out", 1);
      return;
    }
    if (numbers.size() % 2 != 0) Refuse(node, "an X without a Y at the end of the stroke");
    std::vector<Stf2Sample> points(numbers.size() / 2);
    for (std::size_t i = 0; i < points.size(); ++i) {
      points[i].x_um = Place(node, numbers[2 * i]);
      points[i].y_um = Place(node, numbers[2 * i + 1]);
    }
    Stroke stroke;
    Press(node, stroke, points);
    stroke.color = ReadColor(node);
    const std::string tool = AttributeOf(node, "tool");
    Tip tip;
    tip.darkens = tip.is_constant = tool == "highlighter";
    stroke.width_um = tips_.Claim(stroke.color, stroke.width_um, tip);
    if (!AttributeOf(node, "fill").empty()) losses_.Count("fills of shapes left out", 1);
    const std::string style = AttributeOf(node, "style");
    if (!style.empty() && style != "plain") losses_.Count("dashed lines drawn solid", 1);
    const std::string ends = AttributeOf(node, "capStyle");
    if (!ends.empty() && ends != "round") losses_.Count("ends of lines drawn round", 1);
    if (tool == "eraser") losses_.Count("strokes of an eraser kept as ink", 1);
    stroke.samples = DrawThrough(points);
    items.emplace_back(std::move(stroke));
    Count(node);
  }

  std::int32_t Place(pugi::xml_node node, double points) const {
    const double um = std::round(points * kPointUm);
    if (std::abs(um) > std::numeric_limits<std::int32_t>::max()) {
      Refuse(node, "a point is more than 2147 m from the page's corner");
    }
    return static_cast<std::int32_t>(um);
  }

  std::uint32_t ReadColor(pugi::xml_node node) {
    const std::string text = AttributeOf(node, "color");
    const std::optional<std::uint32_t> color = ColorOf(text);
    if (!color && !text.empty()) losses_.Add("colour '" + text + "' is not known; black taken");
    return color.value_or(kBlack);
  }

  // The widths: the pen's own, then that of the line from each point to the next if the pen was
  // pressed. Force makes a line between half and one and a half times as wide as its stroke.
  void Press(pugi::xml_node node, Stroke& stroke, std::vector<Stf2Sample>& points) {
    std::vector<double> widths = NumbersOf(node, AttributeOf(node, "width"));
    const bool pressed = widths.size() > 1;
    if (widths.empty()) return;
    for (const double width : widths) {
      if (!(width >= 0) || width > kWidest) Refuse(node, "a width is not that of a line");
    }
    double own = widths.front();
    if (pressed) widths.erase(widths.begin());
    const auto [least, most] = std::minmax_element(widths.begin(), widths.end());
    if (pressed && (*most > 1.5 * own || *least < 0.5 * own)) own = *most / 1.5;
    stroke.width_um = static_cast<std::uint32_t>(std::max(1LL, std::llround(own * kPointUm)));
    if (!pressed || own == 0) return;
    std::size_t finer = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
      const double width = widths[std::min(i, widths.size() - 1)];
      if (width < 0.49 * own) ++finer;
      const double share = std::clamp(width / own - 0.5, 0.0, 1.0);
      points[i].force = static_cast<std::uint16_t>(std::lround(share * 65535));
    }
    if (finer > 0) losses_.Count("points finer than a third of their stroke drawn wider", finer);
  }

  void NamePages() {
    for (std::size_t i = 0; i < pages_.size(); ++i) {
      std::optional<std::string> name;
      if (pages_.size() > 1) name = std::to_string(i + 1);
      if (options_.page) name = PageAfter(*options_.page, i);
      ink_.items.emplace_back(Marker{name, 0, WritePaper(pages_[i].paper)});
      for (Item& item : pages_[i].items) {
        std::get<Stroke>(item).page = name;
        ink_.items.push_back(std::move(item));
      }
    }
  }

  void AddTips() {
    std::vector<Property> properties = tips_.AsProperties();
    ink_.items.insert(ink_.items.begin(), properties.begin(), properties.end());
  }

  struct Page {
    std::vector<Item> items;
    PagePaper paper;
  };

  Tips tips_;
  std::vector<Page> pages_;  // with strokes
};

}  // namespace

Ink ReadXopp(const std::string& bytes, const ReadOptions& options, Losses& losses) {
  return ReadDrawing<Reader>(bytes, options, losses);
}

}  // namespace TalvoInk
