#include "ink/inkml/InkMLWriter.h"

#include <gmock/gmock.h>

#include <random>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr std::uint64_t kTime = 1700000000000;

Ink OneStroke(std::vector<Stf2Sample> samples, std::uint64_t start_time_ms = kTime) {
  Stroke stroke;
  stroke.page = "1.2.3.4";
  stroke.start_time_ms = start_time_ms;
  stroke.samples = std::move(samples);
  Ink ink;
  ink.pen = 81985529216486895;
  ink.items.emplace_back(stroke);
  return ink;
}

Stf2Sample Point(int x, int y, unsigned time) {
  return Sample(STF2_SAMPLE_COORDINATE, x, y, 1000, time, STF2_SAMPLE_HAS_TIME);
}

// What a reader of the written document finds, to be compared with what was written.
void ExpectSameAgain(const Ink& ink) {
  const std::string document = WriteInkML(ink);
  const Reading reading = ReadDocument(document);
  ASSERT_EQ(reading.refusal, "") << document;
  EXPECT_THAT(reading.losses, testing::IsEmpty()) << document;
  EXPECT_TRUE(reading.ink == ink) << document << WriteInkML(reading.ink);
  EXPECT_EQ(WriteInkML(reading.ink), document);
}

TEST(InkMLWriter, WritesMillimetresForceAndTimeThatAnyReaderKnows) {
  const std::string document =
      WriteInkML(OneStroke(DrawThrough({Point(1500, -20, 0), Point(-1, 2147483647, 8)})));
  EXPECT_THAT(document, HasSubstr("<channel name=\"X\" type=\"decimal\" units=\"mm\"/>"));
  EXPECT_THAT(document, HasSubstr("time=\"1700000000000\""));
  EXPECT_THAT(document, HasSubstr("<annotation type=\"pen\">0123-4567-89AB-CDEF</annotation>"));
  EXPECT_THAT(document, HasSubstr("<annotation type=\"page\">1.2.3.4</annotation>"));
  EXPECT_THAT(document, HasSubstr("timeOffset=\"0\">1.5 -0.02 1000 0, -0.001 2147483.647 1000 8<"));
  EXPECT_THAT(document, Not(HasSubstr("SampleType")));
}

TEST(InkMLWriter, TimedStrokesReadBackTheSame) {
  ExpectSameAgain(OneStroke(DrawThrough({Point(1, 2, 0), Point(3, 4, 9)})));
  ExpectSameAgain(OneStroke(DrawThrough({Point(1, 2, 50), Point(3, 4, 9)})));
}

TEST(InkMLWriter, StrokesWithSomeTimesReadBackTheSame) {
  ExpectSameAgain(OneStroke(DrawThrough({Point(1, 2, 5), Sample(STF2_SAMPLE_COORDINATE, 3, 4)})));
  ExpectSameAgain(OneStroke(DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 3, 4), Point(1, 2, 5)})));
}

TEST(InkMLWriter, StrokesWithoutADateReadBackTheSame) {
  ExpectSameAgain(OneStroke(DrawThrough({Point(1, 2, 4000000000u), Point(3, 4, 0)}), 0));
}

TEST(InkMLWriter, StrokesWithoutTimeReadBackTheSame) {
  ExpectSameAgain(OneStroke(DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 3, 4, 9)}), 0));
}

TEST(InkMLWriter, AStartTimeWithoutTimedSamplesReadsBackTheSame) {
  ExpectSameAgain(OneStroke(DrawThrough({Sample(STF2_SAMPLE_COORDINATE, 3, 4, 9)})));
}

TEST(InkMLWriter, StrokesWithoutPenDownAndPenUpReadBackTheSame) {
  ExpectSameAgain(OneStroke({Point(1, 2, 0), Point(3, 4, 9)}));
  ExpectSameAgain(OneStroke({}));
  ExpectSameAgain(OneStroke({Sample(STF2_SAMPLE_PEN_DOWN, 1, 1)}));
  ExpectSameAgain(OneStroke({Point(1, 2, 0), Sample(STF2_SAMPLE_PEN_UP, 3, 4), Point(5, 6, 7)}));
}

TEST(InkMLWriter, SamplesOfUnknownTypesAndFlagsReadBackTheSame) {
  ExpectSameAgain(OneStroke(
      {Point(1, 2, 0), Sample(0, 3, 4), Sample(4, 5, 6, 7, 8, 255), Sample(255, -5, -6, 7, 8, 2)}));
}

TEST(InkMLWriter, TimesFarApartReadBackTheSame) {
  Ink ink = OneStroke({Point(1, 2, 0)}, 5);
  for (const std::uint64_t time : {~std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{0}}) {
    ink.items.push_back(ink.items[0]);
    std::get<Stroke>(ink.items.back()).start_time_ms = time;
  }
  ExpectSameAgain(ink);
}

TEST(InkMLWriter, PropertiesAndMarkersKeepTheirPlaceAmongTheStrokes) {
  Ink ink = OneStroke(DrawThrough({Point(1, 2, 0)}));
  const Item stroke = ink.items[0];
  ink.items = {Property{"writer", "Ada"},
               stroke,
               Marker{"1.2.3.4", kTime, "done"},
               stroke,
               Property{"empty", ""},
               Property{"none", std::nullopt},
               stroke,
               Marker{std::nullopt, 0, std::nullopt},
               Marker{"", ~std::uint64_t{0}, ""}};
  ExpectSameAgain(ink);
}

TEST(InkMLWriter, TextOfAnyKindReadsBackTheSame) {
  Ink ink = OneStroke(DrawThrough({Point(1, 2, 0)}));
  for (const char* text : {"", " ", " a ", "a\nb", "<&>\"'", "100%25", "\x01\x7F", "\xC3\xA4",
                           "\xEF\xBF\xBF", "pen", "page", "marker", "property", "\r\n\t"}) {
    ink.items.emplace_back(Property{text, "value"});
    ink.items.emplace_back(Property{"key", text});
    ink.items.emplace_back(Marker{text, 1, text});
    Stroke stroke = std::get<Stroke>(ink.items[0]);
    stroke.page = text;
    ink.items.emplace_back(stroke);
    stroke.page.reset();
    ink.items.emplace_back(stroke);
  }
  ExpectSameAgain(ink);
}

TEST(InkMLWriter, ColoursAndWidthsReadBackTheSame) {
  Ink ink = OneStroke(DrawThrough({Point(1, 2, 0)}));
  const std::pair<std::uint32_t, std::uint32_t> brushes[] = {
      {0xFF000000, 0}, {0xFF123456, 0}, {0x00000000, 1}, {0x80FFFFFF, 999999}, {kBlack, 350}};
  for (const auto& [color, width] : brushes) {
    Stroke stroke = std::get<Stroke>(ink.items[0]);
    stroke.color = color;
    stroke.width_um = width;
    ink.items.emplace_back(stroke);
  }
  ExpectSameAgain(ink);
}

// Ink of all kinds, drawn by lot.
Ink RandomInk(std::mt19937& random) {
  const auto one_in = [&](unsigned n) { return random() % n == 0; };
  Ink ink;
  ink.pen = random();
  for (unsigned i = random() % 12; i > 0; --i) {
    Stroke stroke;
    if (!one_in(4)) stroke.page = one_in(9) ? "%\n" : "1.2.3." + std::to_string(random() % 3);
    if (!one_in(4)) stroke.start_time_ms = kTime + random() % 100000;
    if (one_in(3)) stroke.color = static_cast<std::uint32_t>(random());
    if (one_in(3)) stroke.width_um = random() % 5000;
    std::vector<Stf2Sample> points(random() % 9);
    for (Stf2Sample& point : points) {
      point = Point(static_cast<int>(random()), static_cast<int>(random()), 0);
      point.force = static_cast<std::uint16_t>(random());
      if (!one_in(3)) point.time_offset_ms = static_cast<std::uint32_t>(random());
      if (one_in(3)) point.flags = static_cast<std::uint8_t>(random() % 3);
      if (one_in(40)) point.type = static_cast<std::uint8_t>(1 + random() % 3);
    }
    stroke.samples = one_in(4) ? points : DrawThrough(points);
    ink.items.emplace_back(stroke);
    if (one_in(5)) ink.items.emplace_back(Marker{stroke.page, random(), "m"});
  }
  return ink;
}

TEST(InkMLWriter, InkOfAllKindsReadsBackTheSame) {
  std::mt19937 random(3);
  for (int i = 0; i < 300; ++i) ASSERT_NO_FATAL_FAILURE(ExpectSameAgain(RandomInk(random))) << i;
}

}  // namespace
}  // namespace TalvoInk
