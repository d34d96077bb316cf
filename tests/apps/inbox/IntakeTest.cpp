#include "content/Intake.h"

#include <gmock/gmock.h>
#include <json/reader.h>

#include <sstream>

#include "ink/InkError.h"
#include "ink/PagePaper.h"
#include "ink/Stf2File.h"
#include "support/InkFile.h"
#include "support/TestRoot.h"

using namespace Inbox;
using namespace TalvoInk;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char kOwnPage[] = "2147483647.5.1.1";
constexpr std::int64_t kNow = 1700000000000;

Origin MakeOrigin() {
  return {[] { return std::string("FFFF-0000-0000-0001"); }, [] { return std::string(kOwnPage); },
          kNow};
}

std::string Sample(const std::string& name) {
  return ReadFile(std::string(SAMPLES) + "/" + name);
}

Json::Value Parse(const std::string& text) {
  Json::Value value;
  std::istringstream(text) >> value;
  return value;
}

std::string WhyNotOnThePad(const std::string& text) {
  try {
    WritePadPage(Parse(text), 1, kOwnPage, kNow);
    return "";
  } catch (const InkError& error) {
    return error.what();
  }
}

std::string PadOfStroke(const std::string& stroke) {
  return "{\"strokes\":[" + stroke + "]}";
}

}  // namespace

TEST(Intake, InkThatHasAllKeepsItsBytes) {
  const std::string bytes = InkFile().AddStroke("1.2.3.4", 5000).bytes();
  const Intake intake = TakeIn(bytes, MakeOrigin());
  EXPECT_EQ(intake.bytes, bytes);
  EXPECT_THAT(intake.told, IsEmpty());
}

TEST(Intake, SealedInkKeepsItsBytes) {
  const std::string sealed = Seal(InkFile().AddStroke("1.2.3.4", 5000).bytes());
  EXPECT_EQ(TakeIn(sealed, MakeOrigin()).bytes, sealed);
}

TEST(Intake, StrokesWithoutAPageGetOneAndTheOthersKeepTheirs) {
  const Intake intake = TakeIn(InkFile()
                                   .AddStroke("1.2.3.4", 5000)
                                   .AddStroke(nullptr, 6000)
                                   .AddStroke("no address", 7000)
                                   .AddStroke("1.2.3.5", 8000)
                                   .bytes(),
                               MakeOrigin());
  EXPECT_THAT(intake.pages, ElementsAre("1.2.3.4", kOwnPage, "1.2.3.5"));
  EXPECT_EQ(intake.own_page, kOwnPage);
  EXPECT_THAT(intake.told,
              ElementsAre("2 strokes name no page, and are on page 2147483647.5.1.1 now"));
}

TEST(Intake, InkMLBecomesInkOnItsOwnPages) {
  const Ink ink = ReadStf2(TakeIn(Sample("handwriting.inkml"), MakeOrigin()).bytes);
  for (const auto& page : PagesOf(ink)) EXPECT_THAT(*page, HasSubstr("1.2.3."));
}

TEST(Intake, InkWithoutPenPageAndTimeGetsThem) {
  const Intake intake = TakeIn("<ink><trace>1 1, 2 2, 3 3</trace></ink>", MakeOrigin());
  const Ink ink = ReadStf2(intake.bytes);
  EXPECT_EQ(ink.pen, 0xFFFF000000000001u);
  EXPECT_EQ(*PagesOf(ink).front(), kOwnPage);
  EXPECT_EQ(std::get<Stroke>(ink.items[0]).start_time_ms, std::uint64_t(kNow));
  EXPECT_THAT(intake.told, Contains("the ink names no page; it is on page 2147483647.5.1.1 now"));
}

TEST(Intake, PagesOfANotebookAreCountedUp) {
  const char kStroke[] =
      "<layer><stroke tool=\"pen\" color=\"#000000ff\" width=\"1\">1 1 9 9</stroke></layer>";
  const std::string page = std::string("<page width=\"100\" height=\"100\">") + kStroke + "</page>";
  const Intake intake =
      TakeIn("<?xml version=\"1.0\"?><xournal>" + page + page + "</xournal>", MakeOrigin());
  const auto pages = PagesOf(ReadStf2(intake.bytes));
  ASSERT_EQ(pages.size(), 2u);
  EXPECT_EQ(*pages[0], kOwnPage);
  EXPECT_EQ(*pages[1], "2147483647.5.1.2");
}

TEST(Intake, WhatIsNoInkIsRefusedWithTheReason) {
  EXPECT_THROW(TakeIn("hello", MakeOrigin()), InkError);
  EXPECT_THROW(TakeIn(InkFile().AddProperty("a", "b").bytes(), MakeOrigin()), InkError);
  EXPECT_THROW(TakeIn("<ink/>", MakeOrigin()), InkError);
}

TEST(Pad, StrokesAreInkOfItsPage) {
  const Ink ink = ReadStf2(WritePadPage(
      Parse(R"({"width":100000,"height":50000,"strokes":[{"color":"#102030","width":600,
             "start":1700000000123,"points":[[0,1000,2000,0],[15,3000,4000,1]]}]})"),
      77, kOwnPage, kNow));
  EXPECT_EQ(ink.pen, 77u);
  ASSERT_EQ(ink.items.size(), 2u);
  EXPECT_EQ(*std::get<Marker>(ink.items[0]).name, "paper 100x50 mm plain");
  const Stroke& stroke = std::get<Stroke>(ink.items[1]);
  EXPECT_EQ(*stroke.page, kOwnPage);
  EXPECT_EQ(stroke.color, 0xFF102030u);
  EXPECT_EQ(stroke.width_um, 600u);
  EXPECT_EQ(stroke.start_time_ms, 1700000000123u);
  ASSERT_EQ(stroke.samples.size(), 4u);
  EXPECT_EQ(stroke.samples[2].time_offset_ms, 15u);
  EXPECT_EQ(stroke.samples[2].x_um, 3000);
  EXPECT_EQ(stroke.samples[2].force, 65535u);
}

TEST(Pad, AStrokeWithoutAStartBeginsNow) {
  const Ink ink =
      ReadStf2(WritePadPage(Parse(PadOfStroke(R"({"points":[[0,1,1,0.5]]})")), 1, kOwnPage, kNow));
  EXPECT_EQ(std::get<Stroke>(ink.items[0]).start_time_ms, std::uint64_t(kNow));
}

TEST(Pad, WhatIsNoPageIsRefused) {
  EXPECT_EQ(WhyNotOnThePad("{}"), "there are no strokes");
  EXPECT_EQ(WhyNotOnThePad(R"({"strokes":[]})"), "there are no strokes");
  EXPECT_EQ(WhyNotOnThePad(R"({"strokes":{}})"), "there are no strokes");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke("1")), "a stroke has no points");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[]})")), "a stroke has no points");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[1,2,3]]})")),
            "a point is not time, x, y and force");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[-1,2,3,0]]})")),
            "a point's time is out of its range");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[0,"2",3,0]]})")),
            "a point's x is not a number");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[0,1e300,3,0]]})")),
            "a point's x is out of its range");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[0,1,3,1.5]]})")),
            "a point's force is out of its range");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[0,1,3,0]],"color":"nonsense"})")),
            "a stroke's color is not a color");
  EXPECT_EQ(WhyNotOnThePad(PadOfStroke(R"({"points":[[0,1,3,0]],"width":-1})")),
            "a stroke's width is out of its range");
  EXPECT_EQ(WhyNotOnThePad(R"({"width":0,"height":1,"strokes":[{"points":[[0,1,3,0]]}]})"),
            "the page's width is out of its range");
}
