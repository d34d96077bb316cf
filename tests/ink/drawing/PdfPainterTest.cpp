// The painter of PDF, as another reader of PDF sees what it drew.

#include <gmock/gmock.h>

#include <cstdlib>

#include "ink/InkSupport.h"
#include "ink/drawing/Painter.h"
#include "ink/drawing/Pixels.h"
#include "support/TestRoot.h"

namespace TalvoInk {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr std::int64_t kPixelUm = 254;  // at 100 dots an inch

Polygon Square(std::int64_t left, std::int64_t top, std::int64_t size) {
  return {{left * kPixelUm, top * kPixelUm},
          {(left + size) * kPixelUm, top * kPixelUm},
          {(left + size) * kPixelUm, (top + size) * kPixelUm},
          {left * kPixelUm, (top + size) * kPixelUm}};
}

// A page of 100 by 200 pixels with a sheet that covers it.
class PdfPainter : public testing::Test {
 protected:
  PdfPainter() {
    picture_.titles = {""};
    Placed placed;
    placed.title = "1.2.3.4";
    placed.sheet.width = 100 * kPixelUm;
    placed.sheet.height = 200 * kPixelUm;
    picture_.sheets = {placed};
    picture_.leaves = {{0, 1, placed.sheet.width, placed.sheet.height}};
  }

  // The PDF with what `paint` does on the sheet of each leaf.
  template <typename Paint>
  std::string Drawn(const Paint& paint) {
    std::string out;
    const auto painter = MakePdfPainter(picture_, [&](std::string_view piece) { out += piece; });
    for (const Leaf& leaf : picture_.leaves) {
      painter->BeginLeaf(leaf);
      painter->BeginSheet(picture_.sheets[leaf.begin]);
      paint(*painter);
      painter->EndSheet();
      painter->EndLeaf();
    }
    painter->Finish();
    return out;
  }

  std::string FileOf(const std::string& pdf) {
    const std::string file = (root_.path() / "page").string();
    WriteFile(file + ".pdf", pdf);
    return file;
  }

  // The first page as another reader draws it, without a word of complaint.
  Pixels Seen(const std::string& pdf) {
    const std::string file = FileOf(pdf);
    const std::string command = "pdftocairo -png -singlefile -antialias none -r 100 '" + file +
                                ".pdf' '" + file + "' 2>'" + file + ".err'";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(ReadFile(file + ".err"), "");
    return Pixels(ReadFile(file + ".png"));
  }

  // The words of all pages.
  std::string Words(const std::string& pdf) {
    const std::string file = FileOf(pdf);
    EXPECT_EQ(std::system(("pdftotext -enc UTF-8 '" + file + ".pdf' '" + file + ".txt'").c_str()),
              0);
    return ReadFile(file + ".txt");
  }

  TestRoot root_;
  Picture picture_;
};

std::string TitleOf(const std::string& ascii) {
  std::string title = "/Title<FEFF";
  for (const char c : ascii) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%04X", static_cast<unsigned>(c));
    title += digits;
  }
  return title + ">";
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
    ++count;
  return count;
}

TEST_F(PdfPainter, CornersCountFromTheTopLeft) {
  const Pixels page = Seen(Drawn([](Painter& painter) {
    painter.Fill({0xFF0000FF, false}, {Square(10, 20, 30)});
  }));
  EXPECT_EQ(page.width(), 100);
  EXPECT_EQ(page.height(), 200);
  EXPECT_EQ(page.At(25, 35, 2), 0);
  EXPECT_EQ(page.At(25, 35, 0), 255);
  EXPECT_EQ(page.At(5, 35, 2), 255);
  EXPECT_EQ(page.At(25, 165, 2), 255);
}

TEST_F(PdfPainter, AShapeIsEvenWhereItsPolygonsOverlap) {
  const Pixels page = Seen(Drawn([](Painter& painter) {
    painter.Fill({0x80000000, false}, {Square(0, 0, 60), Square(40, 40, 60)});
  }));
  EXPECT_NEAR(page.At(20, 20, 1), 127, 2);
  EXPECT_EQ(page.At(50, 50, 1), page.At(20, 20, 1));
}

TEST_F(PdfPainter, AGroupShowsThroughAsOneAndTheInkBehindItGoesOn) {
  const Pixels page = Seen(Drawn([](Painter& painter) {
    painter.BeginGroup({0x80000000, false});
    painter.Fill({0xFF000000, false}, {Square(0, 0, 60)});
    painter.Fill({0xFF000000, false}, {Square(40, 40, 60)});
    painter.EndGroup();
    painter.Fill({0xFF000000, false}, {Square(0, 150, 20)});
  }));
  EXPECT_NEAR(page.At(20, 20, 1), 127, 2);
  EXPECT_EQ(page.At(50, 50, 1), page.At(20, 20, 1));
  EXPECT_EQ(page.At(10, 160, 1), 0);
}

TEST_F(PdfPainter, InkThatDarkensNeverMakesLighter) {
  const Pixels page = Seen(Drawn([](Painter& painter) {
    painter.Fill({0xFF0000FF, false}, {Square(0, 0, 50)});
    painter.Fill({0xFFFFFF00, true}, {Square(0, 0, 50)});
  }));
  EXPECT_EQ(page.At(25, 25, 0), 0);
  EXPECT_EQ(page.At(25, 25, 1), 0);
}

TEST_F(PdfPainter, NothingIsDrawnBesideTheSheet) {
  picture_.sheets[0].left = 50 * kPixelUm;
  const Pixels page = Seen(Drawn([](Painter& painter) {
    painter.Fill({0xFF000000, false}, {Square(-100, 0, 300)});
  }));
  EXPECT_EQ(page.At(25, 50, 1), 255);
  EXPECT_EQ(page.At(75, 50, 1), 0);
}

TEST_F(PdfPainter, ABackdropIsHeldOnceForAllPages) {
  picture_.sheets.push_back(picture_.sheets[0]);
  picture_.leaves.push_back({1, 2, picture_.leaves[0].width, picture_.leaves[0].height});
  const Backdrop backdrop{1, 2, std::string("\xFF\0\0\0\xFF\0", 6), {25.4, 50.8}};
  const std::string pdf = Drawn([&](Painter& painter) { painter.Show(backdrop, 1); });
  EXPECT_EQ(CountOf(pdf, "/Subtype/Image"), 1u);
  const Pixels page = Seen(pdf);
  EXPECT_EQ(page.At(50, 25, 2), 255);   // the upper half is red
  EXPECT_EQ(page.At(50, 175, 1), 255);  // the lower one green
  EXPECT_EQ(page.At(50, 175, 2), 0);
}

TEST_F(PdfPainter, WordsAreTextAndWhatTheFontHasNotIsAQuestionMark) {
  const std::string pdf = Drawn([](Painter& painter) {
    painter.Write("Zo\xC3\xAB (1.2.3.4) \xE2\x98\x83\xFF\\", 50 * kPixelUm, 100 * kPixelUm,
                  10 * kPixelUm);
  });
  EXPECT_THAT(Words(pdf), HasSubstr("Zo\xC3\xAB (1.2.3.4) ??\\"));
}

TEST_F(PdfPainter, OneDocumentsOutlineIsItsPages) {
  const std::string pdf = Drawn([](Painter&) {});
  EXPECT_THAT(pdf, StartsWith("%PDF-"));
  EXPECT_THAT(pdf, HasSubstr(TitleOf("1.2.3.4")));
  EXPECT_EQ(CountOf(pdf, "/Title<"), 1u);
}

TEST_F(PdfPainter, SeveralDocumentsOutlineTheirPages) {
  picture_.titles = {"letter", "list"};
  picture_.sheets.push_back(picture_.sheets[0]);
  picture_.sheets[1].document = 1;
  picture_.leaves.push_back({1, 2, picture_.leaves[0].width, picture_.leaves[0].height});
  const std::string pdf = Drawn([](Painter&) {});
  EXPECT_THAT(pdf, HasSubstr(TitleOf("letter")));
  EXPECT_THAT(pdf, HasSubstr(TitleOf("list")));
  EXPECT_EQ(CountOf(pdf, TitleOf("1.2.3.4")), 2u);
}

TEST_F(PdfPainter, MuchIsHandedOnAsItIsDrawn) {
  std::size_t bytes = 0;
  const auto painter =
      MakePdfPainter(picture_, [&](std::string_view piece) { bytes += piece.size(); });
  painter->BeginLeaf(picture_.leaves[0]);
  painter->BeginSheet(picture_.sheets[0]);
  std::uint32_t noise = 1;
  for (int i = 0; i < 50000; ++i) {
    noise = noise * 1664525 + 1013904223;
    painter->Fill({0xFF000000, false}, {Square(noise >> 24, noise >> 16 & 255, 1 + (noise & 7))});
  }
  EXPECT_GT(bytes, 256 * 1024u);
}

TEST_F(PdfPainter, APageLargerThanReadersShowIsRefused) {
  const Sink sink = [](std::string_view) { ADD_FAILURE() << "nothing may be written"; };
  picture_.leaves[0].width = 5080001;
  try {
    MakePdfPainter(picture_, sink);
    ADD_FAILURE() << "it was not refused";
  } catch (const PictureSizeError& refusal) {
    EXPECT_STREQ(refusal.what(), "the page would be larger than a PDF's 5 m");
  }
  picture_.leaves[0].width = 5080000;
  EXPECT_THAT(Drawn([](Painter&) {}), StartsWith("%PDF-"));
}

}  // namespace
}  // namespace TalvoInk
