// The painter of SVG: what it hands on for each thing that it is told.

#include <gmock/gmock.h>

#include "ink/drawing/Painter.h"

namespace TalvoInk {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class SvgPainter : public testing::Test {
 protected:
  SvgPainter() { painter_->BeginLeaf({0, 1, 1000, 2000}); }

  // All that is handed on for what `paint` does, without what was before.
  template <typename Paint>
  std::string Drawn(const Paint& paint) {
    painter_->Finish();
    out_.clear();
    paint();
    painter_->Finish();
    return out_;
  }

  const Picture picture_;
  std::string out_;
  const std::unique_ptr<Painter> painter_ =
      MakeSvgPainter(picture_, true, [this](std::string_view piece) { out_ += piece; });
};

const Polygon kTriangle = {{1, 2}, {3, 4}, {0, 9}};

TEST_F(SvgPainter, APictureIsALeafOfSheets) {
  Placed placed;
  placed.sheet.width = 30;
  placed.sheet.height = 40;
  EXPECT_EQ(Drawn([&] {
              for (int i = 0; i < 2; ++i) {
                painter_->BeginSheet(placed);
                painter_->EndSheet();
              }
              painter_->EndLeaf();
            }),
            "<clipPath id=\"page0\"><rect width=\"30\" height=\"40\"/></clipPath>\n"
            "<g transform=\"translate(0 0)\" clip-path=\"url(#page0)\">\n</g>\n"
            "<clipPath id=\"page1\"><rect width=\"30\" height=\"40\"/></clipPath>\n"
            "<g transform=\"translate(0 0)\" clip-path=\"url(#page1)\">\n</g>\n</svg>\n");
}

TEST_F(SvgPainter, PolygonsOfOneShapeAreOnePath) {
  EXPECT_EQ(Drawn([&] {
              painter_->Fill({0x80102030, false}, {kTriangle, kTriangle});
            }),
            "<path fill=\"#102030\" fill-opacity=\"0.502\" d=\"M1 2l2 2-3 5zM1 2l2 2-3 5z\"/>\n");
}

TEST_F(SvgPainter, AGroupShowsThroughAsOne) {
  EXPECT_EQ(Drawn([&] {
              painter_->BeginGroup({0x80102030, true});
              painter_->Fill({0xFF102030, false}, {kTriangle});
              painter_->EndGroup();
            }),
            "<g fill=\"#102030\" opacity=\"0.502\" style=\"mix-blend-mode:multiply\">\n"
            "<path fill=\"#102030\" d=\"M1 2l2 2-3 5z\"/>\n</g>\n");
}

TEST_F(SvgPainter, ABackdropIsHeldOnceHoweverOftenItIsShown) {
  const Backdrop backdrop{1, 1, std::string("\xFF\x00\x00", 3), {210, 297}};
  const std::string first = Drawn([&] { painter_->Show(backdrop, 0.5); });
  EXPECT_THAT(first, HasSubstr("<g transform=\"scale(0.5)\"><image id=\"backdrop\" "
                               "preserveAspectRatio=\"none\" width=\"210000\" height=\"297000\" "
                               "href=\"data:image/png;base64,iVBORw0KGgo"));
  EXPECT_THAT(first, EndsWith("\"/></g>\n"));
  EXPECT_EQ(Drawn([&] { painter_->Show(backdrop, 0.25); }),
            "<g transform=\"scale(0.25)\"><use href=\"#backdrop\"/></g>\n");
}

TEST_F(SvgPainter, WordsMayHoldWhatMeansSomethingInXml) {
  EXPECT_EQ(Drawn([&] { painter_->Write("a<b & \"c\"", 500, 600, 30); }),
            "<text x=\"500\" y=\"600\" font-size=\"30\" font-family=\"sans-serif\" "
            "text-anchor=\"middle\">a&lt;b &amp; &quot;c&quot;</text>\n");
}

// A page of half a million points must not be held in memory.
TEST_F(SvgPainter, MuchIsHandedOnAsItIsDrawn) {
  out_.clear();
  for (int i = 0; i < 10000; ++i) painter_->Fill({0xFF000000, false}, {kTriangle});
  EXPECT_GT(out_.size(), 256 * 1024u);
}

TEST(SvgPainterOfPaper, PaperIsWhiteUnlessTransparent) {
  std::string out;
  const Picture picture;
  const auto painter =
      MakeSvgPainter(picture, false, [&](std::string_view piece) { out += piece; });
  painter->BeginLeaf({0, 1, 1000, 2000});
  painter->Finish();
  EXPECT_THAT(out, EndsWith("<rect width=\"100%\" height=\"100%\" fill=\"#FFFFFF\"/>\n"));
}

}  // namespace
}  // namespace TalvoInk
