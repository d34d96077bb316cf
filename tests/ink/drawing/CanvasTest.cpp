#include "ink/drawing/Canvas.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <utility>

#include "ink/InkError.h"
#include "ink/drawing/Pixels.h"

// The library of fonts keeps its configuration until the process ends, in pointers with marks in
// their lowest bits: the checker of leaks takes it for lost.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig";
}

namespace TalvoInk {
namespace {

constexpr double kOnePixelEachUm = 25400;  // dots an inch

constexpr Look kBlackInk{0xFF000000, false};
constexpr Look kWhiteInk{0xFFFFFFFF, false};

Polygon Square(std::int64_t left, std::int64_t top, std::int64_t size) {
  return {{left, top}, {left + size, top}, {left + size, top + size}, {left, top + size}};
}

Surface PixelsOf(std::int64_t width, std::int64_t height, bool transparent = false) {
  return MakeImage({0, 1, width, height}, kOnePixelEachUm, transparent);
}

std::string SizeRefusal(std::int64_t width, std::int64_t height) {
  try {
    PixelsOf(width, height);
  } catch (const PictureSizeError& refusal) {
    return refusal.what();
  }
  return "none";
}

// Red, green and blue of a pixel as 0xRRGGBB.
int ColorAt(const Pixels& pixels, int x, int y) {
  return pixels.At(x, y, 2) << 16 | pixels.At(x, y, 1) << 8 | pixels.At(x, y, 0);
}

int ColorAt(const Surface& image, int x, int y) {
  return ColorAt(Pixels(WritePng(image)), x, y);
}

TEST(Canvas, AnImageHasAPixelForEachBegunOne) {
  const auto size = [](std::int64_t width, std::int64_t height, double dpi) {
    const Pixels pixels(WritePng(MakeImage({0, 1, width, height}, dpi, false)));
    return std::make_pair(pixels.width(), pixels.height());
  };
  EXPECT_EQ(size(25400, 50800, 100), std::make_pair(100, 200));
  EXPECT_EQ(size(25401, 50799, 100), std::make_pair(101, 200));
  EXPECT_EQ(size(0, 0, 100), std::make_pair(1, 1));
}

TEST(Canvas, AnImageTooLargeIsRefusedBeforeItTakesMemory) {
  EXPECT_EQ(SizeRefusal(32000, 1), "none");
  EXPECT_EQ(SizeRefusal(32001, 1), "the picture would be 32001 x 1 pixels");
  EXPECT_EQ(SizeRefusal(1, 32001), "the picture would be 1 x 32001 pixels");
  EXPECT_EQ(SizeRefusal(20000, 15001), "the picture would be 20000 x 15001 pixels");
}

TEST(Canvas, PaperIsWhiteOrTransparent) {
  EXPECT_EQ(ColorAt(PixelsOf(2, 2), 1, 1), 0xFFFFFF);
  const Pixels clear(WritePng(PixelsOf(2, 2, true)));
  EXPECT_EQ(clear.At(1, 1, 3), 0);
}

TEST(Canvas, ABackdropsPixelsStandRowByRow) {
  const Backdrop backdrop{2, 2, std::string("\x10\x20\x30\xFF\0\0\0\xFF\0\0\0\xFF", 12), {}};
  const Pixels pixels(WritePng(ImageOf(backdrop)));
  EXPECT_EQ(ColorAt(pixels, 0, 0), 0x102030);
  EXPECT_EQ(ColorAt(pixels, 1, 0), 0xFF0000);
  EXPECT_EQ(ColorAt(pixels, 0, 1), 0x00FF00);
  EXPECT_EQ(ColorAt(pixels, 1, 1), 0x0000FF);
}

TEST(Canvas, PolygonsOfOneShapeAreEvenWhereTheyOverlap) {
  const Surface image = PixelsOf(40, 40);
  Fill(DrawOn(image, kOnePixelEachUm).get(), {0x80000000, false},
       {Square(0, 0, 30), Square(10, 10, 30)});
  EXPECT_EQ(ColorAt(image, 5, 5), ColorAt(image, 20, 20));
  EXPECT_NEAR(ColorAt(image, 20, 20) & 255, 127, 1);
}

// Corners beyond what the drawing library can count must not wrap round onto the page.
TEST(Canvas, CornersFarAwayStayThere) {
  EXPECT_EQ(Near(10000000), 10000000);
  EXPECT_EQ(Near(INT64_MAX), 10000000);
  EXPECT_EQ(Near(INT64_MIN), -10000000);
  const Surface image = PixelsOf(10, 10);
  Fill(DrawOn(image, kOnePixelEachUm).get(), kBlackInk, {Square(std::int64_t{1} << 40, 0, 10)});
  EXPECT_EQ(ColorAt(image, 5, 5), 0xFFFFFF);
}

TEST(Canvas, NothingIsDrawnBesideTheSheet) {
  const Surface image = PixelsOf(30, 30);
  const Context context = DrawOn(image, kOnePixelEachUm);
  Placed placed;
  placed.left = placed.top = 10;
  placed.sheet.width = placed.sheet.height = 10;
  SaveAndClip(context.get(), placed);
  Fill(context.get(), kBlackInk, {Square(-100, -100, 200)});
  cairo_restore(context.get());
  const Pixels pixels(WritePng(image));
  EXPECT_EQ(ColorAt(pixels, 15, 15), 0);
  EXPECT_EQ(ColorAt(pixels, 8, 15), 0xFFFFFF);
  EXPECT_EQ(ColorAt(pixels, 15, 21), 0xFFFFFF);
}

// The sink's fault passes through the drawing library, which is C.
TEST(Canvas, WhatTheSinkThrowsReachesTheCaller) {
  const Sink full = [](std::string_view) { throw std::length_error("full"); };
  EXPECT_THROW(WritePng(PixelsOf(10, 10), full), std::length_error);
}

TEST(Canvas, AFaultOfTheDrawingLibraryIsAnInkError) {
  CheckCairo(CAIRO_STATUS_SUCCESS);
  EXPECT_THROW(CheckCairo(CAIRO_STATUS_NO_MEMORY), InkError);
}

class ImagePainter : public testing::Test {
 protected:
  const Surface image_ = PixelsOf(300, 300);
  const std::unique_ptr<Painter> painter_ = MakeImagePainter(image_, kOnePixelEachUm);
};

TEST_F(ImagePainter, InkThatDarkensNeverMakesLighter) {
  painter_->Fill({0xFF0000FF, false}, {Square(0, 0, 300)});
  painter_->Fill({0xFFFFFF00, true}, {Square(0, 0, 300)});
  EXPECT_EQ(ColorAt(image_, 150, 150), 0);
}

TEST_F(ImagePainter, AGroupShowsThroughAsOne) {
  painter_->BeginGroup({0x80000000, false});
  painter_->Fill(kBlackInk, {Square(0, 0, 200)});
  painter_->Fill(kBlackInk, {Square(100, 100, 200)});
  painter_->EndGroup();
  EXPECT_NEAR(ColorAt(image_, 150, 150) & 255, 127, 1);
  EXPECT_EQ(ColorAt(image_, 150, 150), ColorAt(image_, 50, 50));
}

// Places that are covered with a colour are not filled with it again. Whatever is drawn over them
// in between must be noticed.
TEST_F(ImagePainter, ACoveredPlaceIsFilledAgainIfSomethingLiesOnIt) {
  const auto cover = [&] {
    for (int i = 0; i < 100; ++i) painter_->Fill(kBlackInk, {Square(0, 0, 300)});
  };
  const auto expect_black = [&](const char* after) {
    cover();
    EXPECT_EQ(ColorAt(image_, 150, 150), 0) << after;
  };
  expect_black("white paper");
  painter_->Fill(kWhiteInk, {Square(0, 0, 300)});
  expect_black("white ink");
  painter_->Fill({0xC0FFFFFF, false}, {Square(0, 0, 300)});
  expect_black("translucent ink");
  painter_->BeginGroup({0xC0FFFFFF, false});
  painter_->Fill(kWhiteInk, {Square(0, 0, 300)});
  painter_->EndGroup();
  expect_black("a group");
  painter_->Show({1, 1, "\xFF\xFF\xFF", {0.3, 0.3}}, 1);
  expect_black("a backdrop");
}

TEST_F(ImagePainter, ABackdropIsAsLargeAsItsPageAtItsScale) {
  painter_->Show({1, 1, std::string("\xFF\0\0", 3), {0.2, 0.1}}, 0.5);  // 100 by 50 um
  const Pixels pixels(WritePng(image_));
  EXPECT_EQ(pixels.At(50, 25, 2), 255);  // red
  EXPECT_LT(pixels.At(50, 25, 1), 16);
  EXPECT_EQ(ColorAt(pixels, 250, 25), 0xFFFFFF);
  EXPECT_EQ(ColorAt(pixels, 50, 150), 0xFFFFFF);
}

TEST_F(ImagePainter, WordsStandInTheMiddle) {
  painter_->Write("HH", 150, 150, 60);
  painter_->Finish();
  const Pixels pixels(WritePng(image_));
  int left = 300, right = 0, bottom = 0;
  for (int y = 0; y < 300; ++y) {
    for (int x = 0; x < 300; ++x) {
      if (ColorAt(pixels, x, y) > 0x7F7F7F) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      bottom = std::max(bottom, y);
    }
  }
  EXPECT_GT(right - left, 40);
  EXPECT_NEAR((left + right) / 2, 150, 4);
  EXPECT_NEAR(bottom, 149, 2);  // on the baseline
}

}  // namespace
}  // namespace TalvoInk
