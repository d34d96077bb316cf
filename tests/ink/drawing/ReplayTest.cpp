#include "ink/drawing/Replay.h"

#include <gmock/gmock.h>

#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/drawing/Render.h"
#include "ink/xml/XmlDocument.h"
#include "support/TestRoot.h"

namespace TalvoInk {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A line of 100 mm that takes a second.
Ink SlowLine(std::uint32_t color = kBlack) {
  std::vector<Stf2Sample> points;
  for (int i = 0; i <= 100; ++i) {
    points.push_back(
        Sample(STF2_SAMPLE_COORDINATE, i * 1000, 0, 0, unsigned(i) * 10, STF2_SAMPLE_HAS_TIME));
  }
  Stroke stroke;
  stroke.start_time_ms = 1700000000000;
  stroke.color = color;
  stroke.samples = DrawThrough(points);
  Ink ink;
  ink.items = {stroke};
  return ink;
}

// The times at which a part of an SVG appears, in seconds.
std::vector<double> Beginnings(const std::string& svg) {
  std::vector<double> times;
  const std::string mark = " begin=\"";
  for (std::size_t at = svg.find(mark); at != std::string::npos; at = svg.find(mark, at + 1)) {
    times.push_back(std::stod(svg.substr(at + mark.size())));
  }
  return times;
}

std::vector<std::string> Frames(const Ink& ink, const ReplayOptions& options) {
  std::vector<std::string> frames;
  const ReplayInfo info =
      ReplayAsFrames(ink, options, [&](std::size_t number, const std::string& png) {
        EXPECT_EQ(number, frames.size());
        frames.push_back(png);
      });
  EXPECT_EQ(info.frames, frames.size());
  return frames;
}

TEST(Replay, AnSvgAppearsAsThePenWrote) {
  ReplayInfo info;
  const std::string svg = ReplayAsSvg(SlowLine(), {}, info);
  const std::vector<double> times = Beginnings(svg);
  EXPECT_EQ(info.duration_ms, 1000);
  EXPECT_GE(times.size(), 20u);
  EXPECT_EQ(times.front(), 0);
  EXPECT_NEAR(times.back(), 0.97, 0.04);
  EXPECT_TRUE(std::is_sorted(times.begin(), times.end()));
  EXPECT_THAT(svg, Not(HasSubstr("<script")));
  pugi::xml_document document;
  EXPECT_NO_THROW(ParseXml(svg, document));
}

TEST(Replay, SpeedShortensIt) {
  ReplayOptions options;
  options.speed = 4;
  ReplayInfo info;
  EXPECT_LT(Beginnings(ReplayAsSvg(SlowLine(), options, info)).back(), 0.25);
}

TEST(Replay, TransparentInkShowsThroughAsOne) {
  ReplayInfo info;
  EXPECT_THAT(ReplayAsSvg(SlowLine(0x80FF0000), {}, info),
              HasSubstr("<g fill=\"#FF0000\" opacity=\"0.502\">"));
}

TEST(Replay, AFilmBeginsWithThePaperAndEndsWithThePicture) {
  ReplayOptions options;
  options.frames_per_second = 10;
  const std::vector<std::string> frames = Frames(SlowLine(), options);
  ASSERT_EQ(frames.size(), 12u);
  for (const std::string& frame : frames) EXPECT_THAT(frame, StartsWith("\x89PNG"));
  EXPECT_NE(frames[0], frames[1]);
  EXPECT_NE(frames[4], frames[5]);
  RenderOptions still;
  still.dpi = options.dpi;
  EXPECT_EQ(frames.back(), Render(SlowLine(), PictureFormat::kPng, still).bytes);
}

TEST(Replay, ALongFilmIsRefusedBeforeItIsMade) {
  ReplayOptions options;
  options.speed = 1e-4;
  EXPECT_THROW(Frames(SlowLine(), options), PictureSizeError);
}

TEST(Replay, InkWithoutStrokesIsRefused) {
  ReplayInfo info;
  EXPECT_THROW(ReplayAsSvg(Ink(), {}, info), InkError);
}

TEST(Replay, PagesStandBelowOneAnother) {
  ReplayInfo info;
  const Ink ink = ReadDocument(ReadFile(SAMPLES_FOLDER "/handwriting.inkml")).ink;
  const std::string svg = ReplayAsSvg(ink, {}, info);
  EXPECT_EQ(info.pages, 2u);
  EXPECT_EQ(info.strokes, 117u);
  EXPECT_THAT(svg, HasSubstr("<clipPath id=\"page1\">"));
}

}  // namespace
}  // namespace TalvoInk
