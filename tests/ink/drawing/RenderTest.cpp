#include "ink/drawing/Render.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

#include "ink/InkSupport.h"
#include "ink/drawing/Outline.h"
#include "ink/drawing/Pixels.h"
#include "support/TestRoot.h"

namespace TalvoInk {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

Ink InkOn(const std::vector<std::string>& pages) {
  Ink ink;
  for (const std::string& page : pages) {
    Stroke stroke;
    stroke.page = page;
    stroke.samples = DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 10000, 10000),
                                  Sample(STF2_SAMPLE_COORDINATE, 30000, 20000)});
    ink.items.emplace_back(stroke);
  }
  return ink;
}

Ink SampleInk(const char* name) {
  return ReadDocument(ReadFile(std::string(SAMPLES_FOLDER "/") + name)).ink;
}

// Two renderers' pictures of the same ink differ by the shade of edge pixels alone.
void ExpectAlike(const Pixels& ours, const Pixels& theirs) {
  ASSERT_TRUE(ours.valid() && theirs.valid());
  ASSERT_EQ(theirs.width(), ours.width());
  ASSERT_EQ(theirs.height(), ours.height());
  std::size_t inked = 0;
  std::size_t apart = 0;
  double difference = 0;
  for (int y = 0; y < ours.height(); ++y) {
    for (int x = 0; x < ours.width(); ++x) {
      const int distance = std::abs(ours.At(x, y, 1) - theirs.At(x, y, 1));
      inked += ours.At(x, y, 1) < 200;
      apart += distance > 64;
      difference += distance;
    }
  }
  ASSERT_GT(inked, 5000u);
  EXPECT_LT(apart, inked / 500);
  EXPECT_LT(difference / static_cast<double>(inked), 4);
}

// The millimetres in width="..mm" or height="..mm" of an SVG.
double SizeIn(const std::string& svg, const std::string& name) {
  const std::size_t at = svg.find(name + "=\"");
  return at == std::string::npos ? 0 : std::stod(svg.substr(at + name.size() + 2));
}

std::string Drawn(const Ink& ink, PictureFormat format, const RenderOptions& options = {}) {
  return Render(ink, format, options).bytes;
}

std::string RefusalOf(const Ink& ink, PictureFormat format, const RenderOptions& options = {}) {
  try {
    Drawn(ink, format, options);
  } catch (const InkError& refusal) {
    return refusal.what();
  }
  return "none";
}

TEST(Render, AnSvgIsAsLargeAsTheInkWithItsMargin) {
  // From 10 to 30 mm and 10 to 20 mm, half the pen's width and a margin of 5 mm on every side.
  const std::string svg = Drawn(InkOn({"1.2.3.4"}), PictureFormat::kSvg, {});
  EXPECT_NEAR(SizeIn(svg, "width"), 30.5, 0.01);
  EXPECT_NEAR(SizeIn(svg, "height"), 20.5, 0.01);
}

TEST(Render, APageSizeShowsTheInkWhereItStandsOnThePage) {
  RenderOptions options;
  options.layout.page_size = ParsePageSize("A5");
  const std::string svg = Drawn(InkOn({"1.2.3.4"}), PictureFormat::kSvg, options);
  EXPECT_THAT(svg, HasSubstr("width=\"148.000mm\" height=\"210.000mm\""));
  EXPECT_THAT(svg, HasSubstr("translate(0 0)"));
}

TEST(Render, APngHasThePixelsThatDpiAsksFor) {
  RenderOptions options;
  options.layout.page_size = PageSize{25.4, 50.8};
  options.dpi = 100;
  const Pixels pixels(Drawn(InkOn({"1.2.3.4"}), PictureFormat::kPng, options));
  ASSERT_TRUE(pixels.valid());
  EXPECT_EQ(pixels.width(), 100);
  EXPECT_EQ(pixels.height(), 200);
}

TEST(Render, PaperIsWhiteUnlessTransparent) {
  RenderOptions options;
  const Pixels paper(Drawn(InkOn({"1.2.3.4"}), PictureFormat::kPng, options));
  EXPECT_EQ(paper.At(0, 0, 0), 255);
  EXPECT_THAT(Drawn(InkOn({"1.2.3.4"}), PictureFormat::kSvg, options), HasSubstr("#FFFFFF"));
  options.transparent = true;
  const Pixels clear(Drawn(InkOn({"1.2.3.4"}), PictureFormat::kPng, options));
  EXPECT_EQ(clear.At(0, 0, 3), 0);
  EXPECT_THAT(Drawn(InkOn({"1.2.3.4"}), PictureFormat::kSvg, options), Not(HasSubstr("#FFFFFF")));
}

TEST(Render, OneColourCanReplaceAll) {
  RenderOptions options;
  options.color = 0xFF123456;
  const std::string svg = Drawn(SampleInk("handwriting.inkml"), PictureFormat::kSvg, options);
  EXPECT_THAT(svg, HasSubstr("fill=\"#123456\""));
  EXPECT_THAT(svg, Not(HasSubstr("#1B2A6B")));
}

TEST(Render, PagesStandBelowOneAnother) {
  const std::string one = Drawn(InkOn({"1.1.1.1"}), PictureFormat::kSvg, {});
  const std::string two = Drawn(InkOn({"1.1.1.1", "1.1.1.2"}), PictureFormat::kSvg, {});
  EXPECT_NEAR(SizeIn(two, "height"), 2 * SizeIn(one, "height") + 3, 0.01);
  EXPECT_EQ(SizeIn(two, "width"), SizeIn(one, "width"));
}

TEST(Render, OnePageCanBeDrawnAlone) {
  RenderOptions options;
  options.layout.page = "1.1.1.2";
  const std::string svg = Drawn(InkOn({"1.1.1.1", "1.1.1.2"}), PictureFormat::kSvg, options);
  EXPECT_NEAR(SizeIn(svg, "height"), 20.5, 0.01);
  options.layout.page = "1.1.1.3";
  EXPECT_EQ(RefusalOf(InkOn({"1.1.1.1"}), PictureFormat::kSvg, options),
            "no stroke on page 1.1.1.3");
}

TEST(Render, APdfHasAPageForEachPage) {
  const std::string pdf = Drawn(InkOn({"1.1.1.1", "1.1.1.2"}), PictureFormat::kPdf, {});
  EXPECT_THAT(pdf, StartsWith("%PDF-"));
  EXPECT_THAT(pdf, HasSubstr("/Count 2"));
}

TEST(Render, HighlightersDarkenWhatIsBelowThem) {
  Ink ink = InkOn({"1.1.1.1", "1.1.1.1"});
  std::get<Stroke>(ink.items[0]).width_um = 4000;
  std::get<Stroke>(ink.items[1]).width_um = 6000;
  std::get<Stroke>(ink.items[1]).color = 0xFFFFFF00;
  const auto blue_red_in_the_middle = [&] {
    const Pixels pixels(Drawn(ink, PictureFormat::kPng));
    const int x = pixels.width() / 2, y = pixels.height() / 2;
    return std::make_pair(pixels.At(x, y, 0), pixels.At(x, y, 2));
  };
  EXPECT_EQ(blue_red_in_the_middle(), std::make_pair(0, 255));  // opaque yellow over black
  ink.items.emplace_back(Property{kTipKey, "#FFFFFF00 6000 round darkening"});
  EXPECT_EQ(blue_red_in_the_middle(), std::make_pair(0, 0));
  EXPECT_THAT(Drawn(ink, PictureFormat::kSvg), HasSubstr("mix-blend-mode:multiply"));
}

TEST(Render, TellsWhatItShows) {
  RenderOptions options;
  options.layout.page = "1.1.1.1";
  options.layout.page_size = PageSize{25, 25};
  const Rendering one =
      Render(InkOn({"1.1.1.1", "1.1.1.2", "1.1.1.2"}), PictureFormat::kSvg, options);
  EXPECT_EQ(one.pages, 1u);
  EXPECT_EQ(one.strokes, 1u);
  EXPECT_EQ(one.points, 2u);
  EXPECT_EQ(one.strokes_off_paper, 1u);
}

TEST(Render, InkWithoutStrokesIsRefused) {
  EXPECT_EQ(RefusalOf(Ink(), PictureFormat::kSvg), "no strokes to draw");
}

TEST(Render, APictureTooLargeToHoldIsRefusedBeforeItIsMade) {
  Ink ink = InkOn({"1.1.1.1"});
  std::get<Stroke>(ink.items[0]).samples[2].x_um = 2147483647;
  EXPECT_THAT(RefusalOf(ink, PictureFormat::kPng), StartsWith("the picture would be "));
  EXPECT_THAT(RefusalOf(ink, PictureFormat::kPdf), StartsWith("the page would be "));
}

TEST(Render, InkFarBesideThePaperDoesNotReachIt) {
  Ink ink = InkOn({"1.1.1.1"});
  for (Stf2Sample& sample : std::get<Stroke>(ink.items[0]).samples) sample.x_um += 2000000000;
  RenderOptions options;
  options.layout.page_size = ParsePageSize("A5");
  options.dpi = 50;
  const Pixels pixels(Drawn(ink, PictureFormat::kPng, options));
  for (int y = 0; y < pixels.height(); ++y) {
    for (int x = 0; x < pixels.width(); ++x) ASSERT_EQ(pixels.At(x, y, 0), 255);
  }
}

// Long strokes are filled in parts; those of ink that shows through must not show.
TEST(Render, ScribblesShowThroughEvenly) {
  std::vector<Stf2Sample> points;
  for (int i = 0; i < 400; ++i) {
    points.push_back(
        Sample(STF2_SAMPLE_COORDINATE, 10000 + i * 7919 % 40000, 10000 + i * 104729 % 20000));
  }
  Ink ink = InkOn({"1.1.1.1"});
  Stroke& stroke = std::get<Stroke>(ink.items[0]);
  stroke.samples = DrawThrough(points);
  stroke.color = 0x80000000;
  ASSERT_TRUE(IsLong(stroke));
  RenderOptions options;
  options.dpi = 100;
  const auto darkest = [&] {
    const Pixels pixels(Drawn(ink, PictureFormat::kPng, options));
    int least = 255;
    for (int y = 0; y < pixels.height(); ++y) {
      for (int x = 0; x < pixels.width(); ++x) least = std::min(least, pixels.At(x, y, 1));
    }
    return least;
  };
  EXPECT_NEAR(darkest(), 127, 1);
  EXPECT_THAT(Drawn(ink, PictureFormat::kSvg, options),
              HasSubstr("<g fill=\"#000000\" opacity=\"0.502\">"));
  EXPECT_THAT(Drawn(ink, PictureFormat::kPdf, options), HasSubstr("/S/Transparency"));
  stroke.color = 0xFF808080;
  ink.items.emplace_back(Property{kTipKey, "#808080 0 round darkening"});
  EXPECT_NEAR(darkest(), 128, 2);
}

TEST(Render, ARulingIsPrintedOnThePaper) {
  RenderOptions options;
  options.layout.page_size = ParsePageSize("A6");
  const auto marks = [&](Ruling ruling) {
    options.paper.ruling = ruling;
    const std::string svg = Drawn(InkOn({"1.1.1.1"}), PictureFormat::kSvg, options);
    const std::size_t begin = svg.find("fill=\"#C4D3E3\"");
    if (begin == std::string::npos) return std::ptrdiff_t{0};
    const std::string path = svg.substr(begin, svg.find("/>", begin) - begin);
    return std::count(path.begin(), path.end(), 'z');
  };
  EXPECT_EQ(marks(Ruling::kPlain), 0);
  EXPECT_EQ(marks(Ruling::kRuled), 18);         // 148 mm, every 8
  EXPECT_EQ(marks(Ruling::kSquared), 29 + 20);  // 148 by 105 mm, every 5
  EXPECT_EQ(marks(Ruling::kDotted), 29 * 20);
}

TEST(Render, APdfHasAnOutlineOfItsPages) {
  const std::string pdf = Drawn(InkOn({"1.1.1.1", "1.1.1.2"}), PictureFormat::kPdf, {});
  EXPECT_THAT(pdf, HasSubstr("/Title<FEFF0031002E0031002E0031002E0031>"));
  EXPECT_THAT(pdf, HasSubstr("/Title<FEFF0031002E0031002E0031002E0032>"));
}

// Another reader of PDF finds no fault, and sees the picture that our PNG is.
TEST(Render, ThePdfDrawnByAnotherReaderIsOurPng) {
  const TestRoot root;
  RenderOptions options;
  options.layout.page = "1.2.3.4";
  options.layout.page_size = PageSize{101.6, 152.4};  // 600 and 900 whole pixels
  options.dpi = 150;
  const Ink ink = SampleInk("handwriting.inkml");
  const std::string file = (root.path() / "ink").string();
  WriteFile(file + ".pdf", Drawn(ink, PictureFormat::kPdf, options));
  const std::string command =
      "pdftocairo -png -singlefile -r 150 '" + file + ".pdf' '" + file + "' 2>'" + file + ".err'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(ReadFile(file + ".err"), "");
  ExpectAlike(Pixels(Drawn(ink, PictureFormat::kPng, options)), Pixels(ReadFile(file + ".png")));
}

TEST(Render, AFaultOfTheSinkEndsTheDrawing) {
  const Ink ink = SampleInk("handwriting.inkml");
  for (const PictureFormat format :
       {PictureFormat::kSvg, PictureFormat::kPng, PictureFormat::kPdf}) {
    const Sink full = [](std::string_view) { throw std::length_error("full"); };
    EXPECT_THROW(Render({{&ink, ""}}, format, {}, full), std::length_error);
  }
}

TEST(Render, TellsHowFarItIs) {
  const Ink ink = SampleInk("handwriting.inkml");
  std::vector<double> shares;
  RenderOptions options;
  options.tell = [&](double share) { shares.push_back(share); };
  Drawn(ink, PictureFormat::kPdf, options);
  ASSERT_GT(shares.size(), 10u);
  EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()));
  EXPECT_GT(shares.front(), 0);
  EXPECT_NEAR(shares.back(), 1, 0.02);
}

TEST(Render, TellsHowFarItIsWithinALongStroke) {
  std::vector<Stf2Sample> points;
  for (int i = 0; i < 2000; ++i) {
    points.push_back(Sample(STF2_SAMPLE_COORDINATE, i * 7919 % 90000, i * 104729 % 90000));
  }
  Ink ink = InkOn({"1.1.1.1"});
  std::get<Stroke>(ink.items[0]).samples = DrawThrough(points);
  std::vector<double> shares;
  RenderOptions options;
  options.tell = [&](double share) { shares.push_back(share); };
  Drawn(ink, PictureFormat::kSvg, options);
  ASSERT_GT(shares.size(), 100u);
  EXPECT_LT(shares.front(), 0.01);
  EXPECT_NEAR(shares.back(), 1, 0.02);
}

// An independent renderer of SVG sees the same picture: it differs by the shade of edge pixels
// alone.
TEST(Render, TheSvgDrawnByAnotherRendererIsOurPng) {
  const TestRoot root;
  const Ink ink = SampleInk("handwriting.inkml");
  RenderOptions options;
  options.layout.page = "1.2.3.4";
  options.layout.page_size = PageSize{101.6, 152.4};  // 600 and 900 whole pixels
  options.dpi = 150;
  const std::string svg_file = (root.path() / "ink.svg").string();
  const std::string png_file = (root.path() / "ink.png").string();
  WriteFile(svg_file, Drawn(ink, PictureFormat::kSvg, options));
  const Pixels ours(Drawn(ink, PictureFormat::kPng, options));
  ASSERT_TRUE(ours.valid());
  const std::string command = "rsvg-convert -w " + std::to_string(ours.width()) + " -h " +
                              std::to_string(ours.height()) + " -o '" + png_file + "' '" +
                              svg_file + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  ExpectAlike(ours, Pixels(ReadFile(png_file)));
}

}  // namespace
}  // namespace TalvoInk
