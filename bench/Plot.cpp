#include "Plot.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

#include "Peer.h"

namespace bench {

namespace {

constexpr double kColumns = 3;
constexpr double kPartWidth = 400;  // one part of the picture, with its labels
constexpr double kPartHeight = 320;
constexpr double kTop = 70;     // above the parts: title and legend
constexpr double kBottom = 30;  // below them: the origin

// The axes within a part.
constexpr double kLeft = 70;
constexpr double kRight = kPartWidth - 24;
constexpr double kUpper = 44;
constexpr double kLower = kPartHeight - 56;

struct Point {
  double x;
  double seconds;
};

struct Part {
  std::string title;
  std::string x_name;
  std::map<std::string, std::vector<Point>> curves;
};

struct Style {
  const char* name;
  const char* colour;
  const char* dashes;
  double width;
};

// In the order in which they are drawn: the service lies above the others.
constexpr Style kStyles[] = {{"floor", "#555555", "6 4", 2},
                             {kBeanstalkd, "#b7791f", "", 1.5},
                             {kRedis, "#c0392b", "", 1.5},
                             {kJetStream, "#2e8b57", "", 1.5},
                             {"quillpostd", "#1f5fbf", "", 3}};

// In the order in which the report has them.
std::vector<Part> PartsOf(const Report& report) {
  std::vector<Part> parts;
  for (const Case& measured : report.cases()) {
    const Growth& growth = measured.growth;
    if (growth.title.empty()) continue;
    auto part = std::find_if(parts.begin(), parts.end(),
                             [&](const Part& other) { return other.title == growth.title; });
    if (part == parts.end()) part = parts.insert(parts.end(), {growth.title, growth.x_name, {}});
    const auto add = [&](const std::string& curve, const Samples& samples) {
      if (!samples.empty()) part->curves[curve].push_back({growth.x, samples.Median()});
    };
    add("floor", measured.floor);
    add("quillpostd", measured.service);
    for (const auto& [peer, samples] : measured.peers) add(peer, samples);
  }
  return parts;
}

// A logarithmic axis: from `low` at `start` to `high` at `end`.
struct Axis {
  double low;
  double high;
  double start;
  double end;

  double At(double value) const {
    const double part = std::log10(value / low) / std::log10(high / low);
    return start + part * (end - start);
  }
};

// The decades of an axis; of one that is short, steps between them, too.
std::vector<double> Ticks(const Axis& axis) {
  std::vector<double> ticks;
  const bool is_short = axis.high / axis.low < 150;
  for (double decade = axis.low; decade < axis.high * 1.1; decade *= 10) {
    for (const double step : {1, 2, 5}) {
      if (step == 1 || (is_short && step * decade < axis.high)) ticks.push_back(step * decade);
    }
  }
  return ticks;
}

// 12500 as "12,500".
std::string Grouped(double value) {
  std::string text = std::to_string(std::lround(value));
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, ",");
  return text;
}

// 0.001 as "1 ms".
std::string Time(double seconds) {
  std::ostringstream text;
  if (seconds < 0.9e-6) {
    text << std::lround(seconds * 1e9) << " ns";
  } else if (seconds < 0.9e-3) {
    text << std::lround(seconds * 1e6) << " µs";
  } else if (seconds < 0.9) {
    text << std::lround(seconds * 1e3) << " ms";
  } else {
    text << std::lround(seconds) << " s";
  }
  return text.str();
}

void WriteText(std::ostream& svg, double x, double y, const char* look, const std::string& text) {
  svg << "<text x='" << x << "' y='" << y << "' class='" << look << "'>" << text << "</text>\n";
}

void WriteLine(std::ostream& svg, double x1, double y1, double x2, double y2, const char* look) {
  svg << "<line x1='" << x1 << "' y1='" << y1 << "' x2='" << x2 << "' y2='" << y2 << "' class='"
      << look << "'/>\n";
}

void WriteCurve(std::ostream& svg, const Style& style, const std::vector<Point>& points,
                const Axis& x, const Axis& y) {
  svg << "<polyline fill='none' stroke='" << style.colour << "' stroke-width='" << style.width
      << "' stroke-dasharray='" << (*style.dashes ? style.dashes : "none") << "' points='";
  for (const Point& point : points) svg << x.At(point.x) << ',' << y.At(point.seconds) << ' ';
  svg << "'/>\n";
  for (const Point& point : points) {
    svg << "<circle cx='" << x.At(point.x) << "' cy='" << y.At(point.seconds) << "' r='"
        << style.width + 1.5 << "' fill='" << style.colour << "'/>\n";
  }
}

// The decades that hold all times, and all sizes with some space beside them.
std::pair<Axis, Axis> AxesOf(const Part& part) {
  Axis x = {1e300, 0, kLeft, kRight};
  Axis y = {1e300, 0, kLower, kUpper};
  for (const auto& [name, points] : part.curves) {
    for (const Point& point : points) {
      x.low = std::min(x.low, point.x / 1.5);
      x.high = std::max(x.high, point.x * 1.5);
      y.low = std::min(y.low, std::pow(10, std::floor(std::log10(point.seconds))));
      y.high = std::max(y.high, std::pow(10, std::ceil(std::log10(point.seconds) + 1e-9)));
    }
  }
  return {x, y};
}

void WritePart(std::ostream& svg, const Part& part) {
  const auto [x, y] = AxesOf(part);
  WriteText(svg, kLeft, kUpper - 16, "title", part.title);
  for (const double time : Ticks(y)) {
    WriteLine(svg, kLeft, y.At(time), kRight, y.At(time), "grid");
    WriteText(svg, kLeft - 8, y.At(time) + 4, "y", Time(time));
  }
  std::map<double, bool> sizes;
  for (const auto& [name, points] : part.curves) {
    for (const Point& point : points) sizes[point.x] = true;
  }
  for (const auto& [size, unused] : sizes) {
    WriteLine(svg, x.At(size), kLower, x.At(size), kLower + 5, "axis");
    WriteText(svg, x.At(size), kLower + 20, "x", Grouped(size));
  }
  WriteLine(svg, kLeft, kLower, kRight, kLower, "axis");
  WriteLine(svg, kLeft, kLower, kLeft, kUpper, "axis");
  WriteText(svg, (kLeft + kRight) / 2, kLower + 40, "x", part.x_name);
  for (const Style& style : kStyles) {
    const auto curve = part.curves.find(style.name);
    if (curve != part.curves.end()) WriteCurve(svg, style, curve->second, x, y);
  }
}

void WriteLegend(std::ostream& svg, const std::vector<Part>& parts) {
  double at = kLeft;
  for (const Style& style : kStyles) {
    const bool is_there = std::any_of(parts.begin(), parts.end(), [&](const Part& part) {
      return part.curves.count(style.name) > 0;
    });
    if (!is_there) continue;
    WriteCurve(svg, {style.name, style.colour, style.dashes, style.width}, {{1, 1}, {10, 1}},
               {1, 10, at, at + 34}, {0.1, 10, 56, 44});
    WriteText(svg, at + 44, 54, "legend", style.name);
    at += 64 + 7.5 * static_cast<double>(std::string(style.name).size());
  }
}

constexpr const char* kLooks = R"(<style>
text { font-family: "DejaVu Sans", Verdana, sans-serif; font-size: 12px; fill: #222 }
.heading { font-size: 18px; font-weight: bold }
.title { font-size: 13px; font-weight: bold }
.x { text-anchor: middle }
.y { text-anchor: end }
.origin { font-size: 11px; fill: #555 }
.grid { stroke: #dddddd }
.axis { stroke: #555555 }
</style>
)";

}  // namespace

void WritePlot(const Report& report, const std::filesystem::path& file) {
  const std::vector<Part> parts = PartsOf(report);
  const double rows = std::ceil(static_cast<double>(parts.size()) / kColumns);
  const double width = kColumns * kPartWidth;
  const double height = kTop + rows * kPartHeight + kBottom;
  std::ofstream svg(file);
  svg << "<svg xmlns='http://www.w3.org/2000/svg' viewBox='0 0 " << width << ' ' << height
      << "' width='" << width << "' height='" << height << "'>\n"
      << kLooks << "<rect width='100%' height='100%' fill='#ffffff'/>\n";
  WriteText(svg, kLeft, 28, "heading", "How cost grows: medians, both axes logarithmic");
  WriteLegend(svg, parts);
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const double column = std::fmod(static_cast<double>(i), kColumns);
    const double row = std::floor(static_cast<double>(i) / kColumns);
    svg << "<g transform='translate(" << column * kPartWidth << ' ' << kTop + row * kPartHeight
        << ")'>\n";
    WritePart(svg, parts[i]);
    svg << "</g>\n";
  }
  WriteText(svg, kLeft, height - 12, "origin", Report::Origin());
  svg << "</svg>\n";
  if (!svg.flush()) throw std::runtime_error("can't write " + file.string());
}

}  // namespace bench
