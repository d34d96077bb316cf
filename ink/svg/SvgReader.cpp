#include "ink/svg/SvgReader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <pugixml.hpp>
#include <utility>

#include "ink/Color.h"
#include "ink/InkError.h"
#include "ink/PagePaper.h"
#include "ink/Text.h"
#include "ink/Units.h"
#include "ink/svg/SvgPath.h"
#include "ink/svg/SvgTransform.h"
#include "ink/xml/DrawingReader.h"
#include "ink/xml/XmlEncoding.h"
#include "ink/xml/XmlNodes.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

constexpr int kDeepestGroup = 64;
constexpr double kToleranceUm = 10;
constexpr double kCornerUm = 80;

// What an element inherits from those around it.
struct Style {
  Affine to_um;
  std::optional<std::uint32_t> stroke;  // none: no line is drawn
  bool is_filled = true;
  double width = 1;  // in the drawing's units
  double opacity = 1, stroke_opacity = 1;
  bool is_dashed = false;
};

class Reader : public DrawingReader {
 public:
  Reader(const std::string& text, const ReadOptions& options, Losses& losses)
      : DrawingReader(text, options, losses) {}

  Ink Read(pugi::xml_node root) {
    CheckRoot(root, "svg", "SVG");
    const SvgCanvas canvas = ReadSvgCanvas(root);
    AddPaper(canvas);
    Style style;
    style.to_um = canvas.to_um;
    Inherit(root, style);
    Walk(root, style, 0);
    if (strokes_ == 0) {
      Refuse(root, "no line is left" +
                       (filled_ > 0 ? "; shapes that are filled only: " + std::to_string(filled_)
                                    : std::string()));
    }
    if (filled_ > 0) losses_.Count("shapes that are filled only left out", filled_);
    return Finish();
  }

 private:
  void AddPaper(const SvgCanvas& canvas) {
    const auto is_paper = [](const std::optional<double>& um) {
      return um && *um >= 1e3 && *um <= 5e6;
    };
    if (!is_paper(canvas.width_um) || !is_paper(canvas.height_um)) return;
    const PagePaper paper{{*canvas.width_um / 1000, *canvas.height_um / 1000}, "plain"};
    ink_.items.emplace_back(Marker{options_.page, 0, WritePaper(paper)});
  }

  void Walk(pugi::xml_node parent, const Style& outer, int depth) {
    if (depth > kDeepestGroup) {
      Refuse(parent, "groups nested deeper than " + std::to_string(kDeepestGroup));
    }
    for (const pugi::xml_node& child : parent.children()) {
      if (child.type() != pugi::node_element) continue;
      const std::string name = LocalName(child.name());
      Style style = outer;
      if (!Inherit(child, style)) continue;  // not shown
      if (name == "g" || name == "a" || name == "svg" || name == "switch") {
        Walk(child, style, depth + 1);
      } else if (name == "namedview") {
        TellPages(child);
      } else if (!ReadShape(name, child, style)) {
        LeaveOut(name);
      }
    }
  }

  // An editor's own description of the drawing: it may cut it into pages.
  void TellPages(pugi::xml_node view) {
    std::size_t pages = 0;
    for (const pugi::xml_node& child : view.children()) {
      if (LocalName(child.name()) == "page") ++pages;
    }
    if (pages > 1) losses_.Count("pages of the drawing read as one", pages);
  }

  void LeaveOut(const std::string& name) {
    for (const char* silent : {"defs", "title", "desc", "metadata", "script", "RDF"}) {
      if (name == silent) return;
    }
    losses_.Count("elements <" + name + "> left out", 1);
  }

  // An attribute, or what style="" says of it, which counts more.
  static std::string Said(pugi::xml_node node, const char* name) {
    const std::string style = AttributeOf(node, "style");
    const std::string wanted = name;
    for (std::size_t at = 0; at < style.size();) {
      const std::size_t end = std::min(style.find(';', at), style.size());
      const std::string rule = style.substr(at, end - at);
      const std::size_t colon = rule.find(':');
      if (colon != std::string::npos && Trim(rule.substr(0, colon)) == wanted) {
        return Trim(rule.substr(colon + 1));
      }
      at = end + 1;
    }
    return Trim(AttributeOf(node, name));
  }

  // False for what is not drawn.
  bool Inherit(pugi::xml_node node, Style& style) {
    if (Said(node, "display") == "none" || Said(node, "visibility") == "hidden") return false;
    if (const std::string text = AttributeOf(node, "transform"); !text.empty()) {
      const std::optional<Affine> transform = ParseSvgTransform(text);
      if (!transform) Refuse(node, "transform '" + text + "' can't be read");
      style.to_um = style.to_um * *transform;
    }
    if (const std::string stroke = Said(node, "stroke"); !stroke.empty()) ReadStroke(stroke, style);
    if (const std::string fill = Said(node, "fill"); !fill.empty())
      style.is_filled = fill != "none";
    if (const auto width = ParseSvgLength(Said(node, "stroke-width"))) {
      style.width = *width / (25400.0 / 96);  // of a pixel, which is the drawing's unit
    }
    style.opacity *= Share(Said(node, "opacity"), 1);
    style.stroke_opacity = Share(Said(node, "stroke-opacity"), style.stroke_opacity);
    if (const std::string dashes = Said(node, "stroke-dasharray"); !dashes.empty()) {
      style.is_dashed = dashes != "none";
    }
    if (!AttributeOf(node, "clip-path").empty()) losses_.Add("clip paths not applied");
    return true;
  }

  void ReadStroke(const std::string& stroke, Style& style) {
    if (stroke == "none" || stroke == "transparent") {
      style.stroke.reset();
      return;
    }
    const std::optional<std::uint32_t> color = ParseColor(stroke);
    if (!color && stroke != "currentColor") {
      losses_.Add("colour '" + stroke + "' is not known; black taken");
    }
    style.stroke = color.value_or(kBlack);
  }

  static double Share(const std::string& text, double otherwise) {
    const std::optional<double> number = ParseNumber(text);
    return number ? std::clamp(*number, 0.0, 1.0) : otherwise;
  }

  static double Length(pugi::xml_node node, const char* name, double otherwise = 0) {
    const auto length = ParseSvgLength(AttributeOf(node, name));
    return length ? *length / (25400.0 / 96) : otherwise;
  }

  // False for an element that is not a shape.
  bool ReadShape(const std::string& name, pugi::xml_node node, const Style& style) {
    // A drawing can be so small that its curves need no points, and so large that they need many.
    const double tolerance = kToleranceUm / std::max(style.to_um.Growth(), 1e-9);
    std::vector<SvgRun> runs;
    try {
      if (name == "path") {
        runs = ParseSvgPath(AttributeOf(node, "d"), tolerance);
      } else if (name == "polyline" || name == "polygon") {
        runs = {ParseSvgPoints(AttributeOf(node, "points"))};
        if (name == "polygon" && !runs[0].empty()) runs[0].push_back(runs[0].front());
      } else if (name == "line") {
        runs = {
            {{Length(node, "x1"), Length(node, "y1")}, {Length(node, "x2"), Length(node, "y2")}}};
      } else if (name == "rect") {
        runs = {SvgRectangle(Length(node, "x"), Length(node, "y"), Length(node, "width"),
                             Length(node, "height"), Length(node, "rx", -1), Length(node, "ry", -1),
                             tolerance)};
      } else if (name == "circle" || name == "ellipse") {
        const double r = Length(node, "r"), rx = Length(node, "rx", r), ry = Length(node, "ry", r);
        if (rx > 0 && ry > 0) {
          runs = {SvgEllipse(Length(node, "cx"), Length(node, "cy"), rx, ry, tolerance)};
        }
      } else {
        return false;
      }
    } catch (const InkError& error) {
      Refuse(node, error.what());
    }
    AddRuns(node, runs, style);
    return true;
  }

  void AddRuns(pugi::xml_node node, const std::vector<SvgRun>& runs, const Style& style) {
    if (!style.stroke) {
      if (!runs.empty() && style.is_filled) ++filled_;
      return;
    }
    const auto has_area = [](const SvgRun& run) { return run.size() > 2; };
    if (style.is_filled && std::any_of(runs.begin(), runs.end(), has_area)) {
      losses_.Count("fills of shapes left out", 1);
    }
    if (style.is_dashed) losses_.Count("dashed lines drawn solid", 1);
    for (const SvgRun& run : runs) {
      if (run.empty()) continue;
      points_ += run.size();
      if (points_ > kMostSvgPoints) {
        Refuse(node, "a drawing of more than " + std::to_string(kMostSvgPoints) + " points");
      }
      AddStroke(node, run, style);
    }
  }

  static Stf2Sample At(double x, double y) {
    Stf2Sample point{};
    point.x_um = static_cast<std::int32_t>(std::lround(x));
    point.y_um = static_cast<std::int32_t>(std::lround(y));
    return point;
  }

  // Ink is drawn as a hand's: a curve through its points. Two points more, close to the ends of a
  // long straight piece, keep it straight and its corners sharp.
  static void KeepStraight(const SvgPoint& from, const SvgPoint& to,
                           std::vector<Stf2Sample>& points) {
    const double length = std::hypot(to.x - from.x, to.y - from.y);
    if (length < 5 * kCornerUm) return;
    for (const double way : {kCornerUm / length, 1 - kCornerUm / length}) {
      points.push_back(At(from.x + (to.x - from.x) * way, from.y + (to.y - from.y) * way));
    }
  }

  void AddStroke(pugi::xml_node node, const SvgRun& run, const Style& style) {
    std::vector<Stf2Sample> points;
    SvgPoint last{0, 0};
    for (const SvgPoint& point : run) {
      const auto [x, y] = style.to_um.Map(point.x, point.y);
      constexpr double kMost = std::numeric_limits<std::int32_t>::max();
      // Written so that a number that overflowed is refused as well.
      if (!(std::abs(x) < kMost && std::abs(y) < kMost)) {
        Refuse(node, "a point is more than 2147 m from the page's corner");
      }
      if (!points.empty()) KeepStraight(last, {x, y}, points);
      points.push_back(At(x, y));
      last = {x, y};
    }
    Stroke stroke;
    stroke.page = options_.page;
    const double width = style.width * style.to_um.Growth();
    if (!(width < 4e9)) Refuse(node, "a line wider than any page");
    stroke.width_um = static_cast<std::uint32_t>(std::max(1.0, std::round(width)));
    const double share = style.opacity * style.stroke_opacity * (*style.stroke >> 24);
    stroke.color = (*style.stroke & 0x00FFFFFF) | static_cast<std::uint32_t>(std::lround(share))
                                                      << 24;
    stroke.samples = DrawThrough(points);
    ink_.items.emplace_back(std::move(stroke));
    Count(node);
  }

  std::size_t filled_ = 0, points_ = 0;
};

}  // namespace

Ink ReadSvg(const std::string& bytes, const ReadOptions& options, Losses& losses) {
  return ReadDrawing<Reader>(bytes, options, losses);
}

}  // namespace TalvoInk
