#include "ink/xopp/XoppWriter.h"

#include <algorithm>
#include <map>
#include <vector>

#include "ink/Color.h"
#include "ink/Gzip.h"
#include "ink/InkError.h"
#include "ink/PagePaper.h"
#include "ink/Units.h"
#include "ink/drawing/Layout.h"
#include "ink/drawing/Outline.h"

namespace TalvoInk {
namespace {

constexpr double kUmPoint = 72 / 25400.0;  // points of a micrometre
constexpr int kLevel = 6;                  // of packing, as usual

// Four digits of a point are a thirtieth of a micrometre.
std::string Points(double um) {
  return FormatNumber(um * kUmPoint, 4);
}

// Of a width, fine enough to give back each of the 65536 forces.
std::string FinePoints(double um) {
  return FormatNumber(um * kUmPoint, 7);
}

std::string ColorText(std::uint32_t color) {
  const std::uint8_t alpha = static_cast<std::uint8_t>(color >> 24);
  std::string text = FormatColor(color);
  static const char kDigits[] = "0123456789ABCDEF";
  return text + kDigits[alpha >> 4] + kDigits[alpha & 15];
}

class Writer {
 public:
  Writer(const Ink& ink, Losses& losses, const Sink& sink)
      : ink_(ink),
        tips_(ink),
        losses_(losses),
        packer_(Packer::Frame::kGzip, kLevel, sink),
        text_([this](std::string_view piece) { packer_.Append(piece); }) {}

  void Write() {
    const Layout layout = LayOut(ink_, tips_, {});
    SurveyMarkers();
    out_ =
        "<?xml version=\"1.0\" standalone=\"no\"?>\n"
        "<xournal creator=\"stf2\" fileversion=\"4\">\n<title>Ink</title>\n";
    for (const Sheet& sheet : layout.sheets) WritePage(sheet);
    out_ += "</xournal>\n";
    TellLosses();
    text_.Finish();
    packer_.Finish();
  }

 private:
  void SurveyMarkers() {
    for (const Item& item : ink_.items) {
      if (const auto* property = std::get_if<Property>(&item)) {
        if (property->key != kTipKey) losses_.Count("properties left out", 1);
      }
      const auto* marker = std::get_if<Marker>(&item);
      if (marker == nullptr) continue;
      const auto paper = ParsePaper(marker->name.value_or(""));
      if (paper) papers_.emplace(marker->page, *paper);
      if (!paper) losses_.Count("markers left out", 1);
    }
  }

  PagePaper PaperFor(const Sheet& sheet) const {
    const auto stated = papers_.find(sheet.page);
    if (stated != papers_.end()) return stated->second;
    PagePaper paper;
    for (const Stroke* stroke : sheet.strokes) {
      const Box box = BoxOf(*stroke, tips_.Of(*stroke));
      paper.size.width_mm = std::max(paper.size.width_mm, double(box.right) / 1000 + 5);
      paper.size.height_mm = std::max(paper.size.height_mm, double(box.bottom) / 1000 + 5);
    }
    return paper;
  }

  void WritePage(const Sheet& sheet) {
    const PagePaper paper = PaperFor(sheet);
    out_ += "<page width=\"" + FormatNumber(paper.size.width_mm * 1000 * kUmPoint, 2) +
            "\" height=\"" + FormatNumber(paper.size.height_mm * 1000 * kUmPoint, 2) +
            "\">\n<background type=\"solid\" color=\"#ffffffff\" "
            "style=\"" +
            paper.ruling + "\"/>\n<layer>\n";
    for (const Stroke* stroke : sheet.strokes) WriteStroke(*stroke);
    out_ += "</layer>\n</page>\n";
    has_pages_ = has_pages_ || sheet.page.has_value();
  }

  void WriteStroke(const Stroke& stroke) {
    std::vector<Stf2Sample> points = PositionsOf(stroke);
    if (points.empty()) {
      losses_.Count("strokes without points left out", 1);
      return;
    }
    if (points.size() == 1) points.push_back(points.front());  // a line from a dot to itself
    const Tip tip = tips_.Of(stroke);
    if (tip.shape != Tip::Shape::kRound) losses_.Count("tips drawn round", 1);
    timed_ = timed_ || stroke.start_time_ms != 0;
    out_ += std::string("<stroke tool=\"") + (tip.darkens ? "highlighter" : "pen") + "\" color=\"" +
            ColorText(stroke.color) + "\" width=\"" + Widths(stroke, tip, points) + "\">";
    for (std::size_t i = 0; i < points.size(); ++i) {
      if (i > 0) out_ += ' ';
      out_ += Points(points[i].x_um) + " " + Points(points[i].y_um);
    }
    out_ += "</stroke>\n";
    text_.HandOn();
  }

  // A highlighter is as wide as its tip is broad, whichever side is the broad one.
  std::string Widths(const Stroke& stroke, const Tip& tip, const std::vector<Stf2Sample>& points) {
    double width = stroke.width_um == 0 ? kDefaultWidthUm : stroke.width_um;
    if (tip.darkens) width = std::max<double>(width, tip.height_um);
    std::string widths = FinePoints(width);
    const auto has_force = [](const Stf2Sample& point) { return point.force != 0; };
    if (tip.is_constant || std::none_of(points.begin(), points.end(), has_force)) return widths;
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
      widths += " " + FinePoints(width * (0.5 + points[i].force / 65535.0));
    }
    return widths;
  }

  void TellLosses() {
    if (ink_.pen != 0) losses_.Add("the pen's serial left out");
    if (has_pages_) losses_.Add("addresses of pages left out");
    if (timed_) losses_.Add("times left out");
  }

  const Ink& ink_;
  const Tips tips_;
  Losses& losses_;
  Packer packer_;
  TextSink text_;
  std::string& out_ = text_.text;
  std::map<std::optional<std::string>, PagePaper> papers_;
  bool timed_ = false;
  bool has_pages_ = false;
};

}  // namespace

void WriteXopp(const Ink& ink, Losses& losses, const Sink& sink) {
  Writer(ink, losses, sink).Write();
}

std::string WriteXopp(const Ink& ink, Losses& losses) {
  std::string bytes;
  WriteXopp(ink, losses, [&](std::string_view piece) { bytes += piece; });
  return bytes;
}

}  // namespace TalvoInk
