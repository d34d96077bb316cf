// SVG, handed on as it is drawn.

#include <cmath>

#include "ink/Units.h"
#include "ink/drawing/Canvas.h"
#include "ink/drawing/Painter.h"
#include "ink/drawing/SvgText.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

std::string Base64(const std::string& bytes) {
  static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t three = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      three = three << 8 | (i + k < bytes.size() ? static_cast<std::uint8_t>(bytes[i + k]) : 0u);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      out += i + k > bytes.size() ? '=' : kDigits[three >> (18 - 6 * k) & 63];
    }
  }
  return out;
}

class SvgPainter : public Painter {
 public:
  SvgPainter(bool transparent, const Sink& sink) : transparent_(transparent), out_(sink) {}

  void BeginLeaf(const Leaf& leaf) override { out_.text += BeginSvg(leaf, transparent_); }
  void EndLeaf() override { out_.text += "</svg>\n"; }
  void BeginSheet(const Placed& sheet) override {
    out_.text += TalvoInk::BeginSheet(sheet, sheets_++);
  }
  void EndSheet() override { out_.text += "</g>\n"; }

  void Fill(const Look& look, const std::vector<Polygon>& polygons) override {
    out_.text += "<path" + FillAttributes(look, false) + " d=\"";
    for (const Polygon& polygon : polygons) AppendPath(out_.text, polygon);
    out_.text += "\"/>\n";
    out_.HandOn();
  }

  void BeginGroup(const Look& look) override {
    out_.text += "<g" + FillAttributes(look, true) + ">\n";
  }
  void EndGroup() override { out_.text += "</g>\n"; }

  // The first time the picture itself, later a reference to it.
  void Show(const Backdrop& backdrop, double scale) override {
    const std::string size =
        " width=\"" + std::to_string(std::llround(backdrop.size.width_mm * 1000)) + "\" height=\"" +
        std::to_string(std::llround(backdrop.size.height_mm * 1000)) + "\"";
    out_.text += "<g transform=\"scale(" + FormatNumber(scale, 6) + ")\">";
    if (shown_) {
      out_.text += "<use href=\"#backdrop\"/></g>\n";
      return;
    }
    out_.text += "<image id=\"backdrop\" preserveAspectRatio=\"none\"" + size +
                 " href=\"data:image/png;base64," + Base64(WritePng(ImageOf(backdrop))) +
                 "\"/></g>\n";
    shown_ = true;
    out_.HandOn();
  }

  void Write(const std::string& words, std::int64_t x, std::int64_t baseline,
             std::int64_t size) override {
    out_.text += "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(baseline) +
                 "\" font-size=\"" + std::to_string(size) +
                 "\" font-family=\"sans-serif\" text-anchor=\"middle\">" + EscapeXml(words) +
                 "</text>\n";
  }

  void Finish() override { out_.Finish(); }

 private:
  const bool transparent_;
  TextSink out_;
  std::size_t sheets_ = 0;
  bool shown_ = false;
};

}  // namespace

std::unique_ptr<Painter> MakeSvgPainter(const Picture&, bool transparent, const Sink& sink) {
  return std::make_unique<SvgPainter>(transparent, sink);
}

}  // namespace TalvoInk
