#include "ink/drawing/CoveredTiles.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

#include "ink/drawing/Canvas.h"

namespace TalvoInk {
namespace {

constexpr double kDpi = 254;  // a pixel is 100 micrometres

Surface Image(std::int64_t width_um, std::int64_t height_um, bool transparent = false) {
  return MakeImage({0, 0, width_um, height_um}, kDpi, transparent);
}

Polygon Bar(std::int64_t left, std::int64_t top, std::int64_t right, std::int64_t bottom) {
  return {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
}

// A thin bar somewhere on the image or beyond its edges.
Polygon AnyBar(std::mt19937& random) {
  const auto at = [&] { return static_cast<std::int64_t>(random() % 30000) - 5000; };
  const Corner a{at(), at()}, b{at(), at()};
  const double length = std::max(std::hypot(double(b.x - a.x), double(b.y - a.y)), 1.0);
  const auto x = std::llround(double(b.y - a.y) / length * 400);
  const auto y = std::llround(double(a.x - b.x) / length * 400);
  return {{a.x + x, a.y + y}, {b.x + x, b.y + y}, {b.x - x, b.y - y}, {a.x - x, a.y - y}};
}

std::uint32_t PixelOf(const Surface& image, int x, int y) {
  cairo_surface_flush(image.get());
  const unsigned char* const data = cairo_image_surface_get_data(image.get());
  const std::ptrdiff_t stride = cairo_image_surface_get_stride(image.get());
  return reinterpret_cast<const std::uint32_t*>(data + y * stride)[x];
}

// The largest difference of a colour's share, of 255.
int Difference(const Surface& a, const Surface& b) {
  int most = 0;
  for (int y = 0; y < cairo_image_surface_get_height(a.get()); ++y) {
    for (int x = 0; x < cairo_image_surface_get_width(a.get()); ++x) {
      for (const int shift : {0, 8, 16}) {
        const auto part = [&](const Surface& image) {
          return static_cast<int>(PixelOf(image, x, y) >> shift & 255);
        };
        most = std::max(most, std::abs(part(a) - part(b)));
      }
    }
  }
  return most;
}

// Two pens cover the picture again and again; a marker that shows through and one that darkens come
// in between. Filled in full or where it can be seen alone, the picture is the same.
TEST(CoveredTiles, APictureIsTheSameAsFilledInFull) {
  for (const bool transparent : {false, true}) {
    const Surface image = Image(20000, 20000, transparent), full = Image(20000, 20000, transparent);
    const auto painter = MakeImagePainter(image, kDpi);
    const Context context = DrawOn(full, kDpi);
    std::mt19937 random(4);
    for (int i = 0; i < 3000; ++i) {
      const std::uint32_t pen = i / 500 % 2 == 0 ? 0xFF1B2A6B : 0xFFC04010;
      const Look look = i % 701 == 700   ? Look{0x80FFEE00, false}
                        : i % 907 == 906 ? Look{0xFFFFEE00, true}
                                         : Look{pen, false};
      const std::vector<Polygon> bars{AnyBar(random), AnyBar(random)};
      painter->Fill(look, bars);
      Fill(context.get(), look, bars);
    }
    painter->Finish();
    EXPECT_LE(Difference(image, full), 4);
  }
}

TEST(CoveredTiles, WhatIsCoveredNeedNotBeFilledAgain) {
  const Surface image = Image(10000, 10000);
  const Context context = DrawOn(image, kDpi);
  CoveredTiles tiles(image.get());
  cairo_matrix_t to_pixels;
  cairo_get_matrix(context.get(), &to_pixels);
  const std::vector<Polygon> left{Bar(0, 0, 4800, 10000)}, all{Bar(-900, -900, 19000, 19000)};
  int fills = 0;
  for (; tiles.WhereSeen(kBlack, left, to_pixels) && fills < 100; ++fills) {
    Fill(context.get(), {kBlack, false}, left);
    tiles.HasFilled(kBlack);
  }
  // The tiles beside the bar's edge stay open: half of each is paper.
  EXPECT_EQ(fills, 100);
  const std::vector<Polygon> inner{Bar(200, 200, 4500, 9800)};
  EXPECT_FALSE(tiles.WhereSeen(kBlack, inner, to_pixels));
  EXPECT_TRUE(tiles.WhereSeen(0xFFFF0000, inner, to_pixels));
  const auto rest = tiles.WhereSeen(kBlack, all, to_pixels);
  ASSERT_TRUE(rest);
  EXPECT_EQ(rest->left, 48);
  EXPECT_GE(rest->right, 100);
  tiles.Forget();
  EXPECT_TRUE(tiles.WhereSeen(kBlack, inner, to_pixels));
}

TEST(CoveredTiles, InkBesideTheImageIsNotSeen) {
  const Surface image = Image(10000, 10000);
  const Context context = DrawOn(image, kDpi);
  CoveredTiles tiles(image.get());
  cairo_matrix_t to_pixels;
  cairo_get_matrix(context.get(), &to_pixels);
  EXPECT_FALSE(tiles.WhereSeen(kBlack, {Bar(30000, 0, 40000, 10000)}, to_pixels));
  EXPECT_FALSE(tiles.WhereSeen(kBlack, {Bar(0, -9000, 10000, -3000)}, to_pixels));
  EXPECT_FALSE(tiles.WhereSeen(kBlack, {}, to_pixels));
}

}  // namespace
}  // namespace TalvoInk
