#include "Ink.h"

#include <gmock/gmock.h>

#include "InkSupport.h"
#include "Summary.h"
#include "stf2_generated.h"

namespace InkTool {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Stroke StrokeOn(std::optional<std::string> page, std::uint64_t time = 1700000000000) {
  Stroke stroke;
  stroke.page = std::move(page);
  stroke.start_time_ms = time;
  stroke.samples = DrawThrough({Sample(STF2_SAMPLE_COORDINATE, -5, 6, 10, 0, 1),
                                Sample(STF2_SAMPLE_COORDINATE, 7, 8, 900, 20, 1)});
  return stroke;
}

std::string RefusalOf(const std::string& bytes) {
  try {
    ReadStf2(bytes);
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
  return {};
}

TEST(Ink, Stf2KeepsEverything) {
  Ink ink;
  ink.pen = 42;
  Stroke stroke = StrokeOn("1.2.3.4");
  stroke.color = 0x80123456;
  stroke.width_um = 350;
  ink.items = {Property{"k", "v"}, Property{"none", std::nullopt}, Marker{"1.2.3.4", 9, "m"},
               stroke, StrokeOn(std::nullopt, 0)};
  EXPECT_TRUE(ReadStf2(WriteStf2(ink)) == ink);
}

// A later version of the format may have more of them.
TEST(Ink, SamplesOfUnknownTypesAreKeptAndNoPartOfTheLine) {
  Ink ink;
  Stroke stroke = StrokeOn("1.2.3.4");
  stroke.samples = {Sample(9, 1, 2), Sample(STF2_SAMPLE_PEN_DOWN, 3, 4), Sample(0, 5, 6)};
  ink.items = {stroke};
  EXPECT_TRUE(ReadStf2(WriteStf2(ink)) == ink);
  EXPECT_TRUE(SplitByPage(ink)[0].second == ink);
  EXPECT_TRUE(SameSamples(PositionsOf(stroke), {stroke.samples[1]}));
}

TEST(Ink, SplittingMakesAPartForEachPage) {
  Ink ink;
  ink.items = {StrokeOn("1.1.1.2"), StrokeOn("1.1.1.1"), Property{"k", "v"}, StrokeOn("1.1.1.2")};
  const auto parts = SplitByPage(ink);
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].first, "1.1.1.2");
  EXPECT_EQ(parts[0].second.items.size(), 3u);
  EXPECT_EQ(parts[1].first, "1.1.1.1");
  EXPECT_EQ(parts[1].second.items.size(), 2u);
}

TEST(Ink, AppendingTakesWhatEachPartRepeatsOnce) {
  Ink ink;
  ink.items = {Property{"k", "v"}, Marker{std::nullopt, 1, "m"}, StrokeOn("1.1.1.1")};
  Ink more;
  more.items = {Property{"k", "v"}, Property{"k", "w"}, Marker{std::nullopt, 1, "m"},
                StrokeOn("1.1.1.1")};
  Append(ink, more);
  EXPECT_EQ(ink.items.size(), 5u);
}

TEST(Ink, MalformedStf2IsRefusedWithTheItem) {
  Ink ink;
  for (int i = 0; i < 20; ++i) ink.items.emplace_back(StrokeOn("1.2.3." + std::to_string(i)));
  const std::string whole = WriteStf2(ink);
  EXPECT_THAT(RefusalOf(whole.substr(0, whole.size() - 40)),
              testing::MatchesRegex("item [0-9]+: no well-formed STF2 ink"));
}

TEST(Ink, AStringThatIsNoTextIsRefusedWithTheItem) {
  Ink ink;
  ink.items = {Property{"some key", "v"}, Marker{"1.2.3.4", 9, "some name"}, StrokeOn("1.2.3.9")};
  const std::string whole = WriteStf2(ink);
  for (const auto& [text, place] : {std::pair<const char*, const char*>("some key", "item 1"),
                                    {"some name", "item 2"},
                                    {"1.2.3.9", "item 3"}}) {
    for (const char byte : {'\0', '\xFF'}) {
      std::string damaged = whole;
      damaged[whole.find(text) + 2] = byte;
      EXPECT_EQ(RefusalOf(damaged),
                std::string(place) + ": a string that is no UTF-8, or holds a zero byte");
    }
  }
}

TEST(Ink, AnItemOfNoKnownTypeIsRefusedWithItsNumber) {
  namespace Format = Talvo::Stf2::Format;
  for (const int type : {0, 4, 255}) {
    flatbuffers::FlatBufferBuilder builder;
    const auto known = Format::CreateItem(builder, Format::ItemBody::Marker,
                                          Format::CreateMarkerDirect(builder, "1.2.3.4").Union());
    const auto body = Format::CreateMarkerDirect(builder, "1.2.3.4").Union();
    const auto item = Format::CreateItem(builder, static_cast<Format::ItemBody>(type),
                                         type == 0 ? flatbuffers::Offset<void>() : body);
    const std::vector<flatbuffers::Offset<Format::Item>> items = {known, item};
    Format::FinishInkDataBuffer(builder, Format::CreateInkDataDirect(builder, 7, &items));
    const auto* bytes = reinterpret_cast<const char*>(builder.GetBufferPointer());
    EXPECT_EQ(RefusalOf(std::string(bytes, builder.GetSize())),
              "item 2: none of property, marker and stroke");
  }
}

// The same stroke again and again: a few bytes that stand for gigabytes of ink.
TEST(Ink, ItemsThatShareTheirSamplesAreRefusedTogether) {
  namespace Format = Talvo::Stf2::Format;
  flatbuffers::FlatBufferBuilder builder;
  const std::vector<Format::Sample> samples(100);
  const auto stroke = Format::CreateStrokeDirect(builder, "1.2.3.4", 5, &samples).Union();
  const auto item = Format::CreateItem(builder, Format::ItemBody::Stroke, stroke);
  const std::vector<flatbuffers::Offset<Format::Item>> items(100, item);
  Format::FinishInkDataBuffer(builder, Format::CreateInkDataDirect(builder, 7, &items));
  const auto* bytes = reinterpret_cast<const char*>(builder.GetBufferPointer());
  EXPECT_EQ(RefusalOf(std::string(bytes, builder.GetSize())),
            "items: together they claim more than a file of this size can hold");
}

TEST(Ink, EveryCutAndDamagedStf2IsRefusedOrRead) {
  Ink ink;
  ink.items = {Property{"k", "v"}, Marker{"1.2.3.4", 9, "m"}, StrokeOn("1.2.3.4")};
  const std::string whole = WriteStf2(ink);
  for (std::size_t size = 0; size + 8 < whole.size(); ++size) {
    EXPECT_THROW(ReadStf2(whole.substr(0, size)), Refusal) << size;
  }
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const int change : {0xFF, 0x80, 0x01}) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ change);
      try {
        Summarize(ReadStf2(damaged));
      } catch (const Refusal& refusal) {
        EXPECT_STRNE(refusal.what(), "");
      }
    }
  }
}

TEST(Ink, PageAddressesAreFourOrFiveFields) {
  for (const char* good : {"1.2.3.4", "1.2.3.4.5", "1.2.*.4", "00.1.2.99999999999"}) {
    EXPECT_TRUE(IsPageAddress(good)) << good;
  }
  for (const char* bad : {"", "1.2.3", "1.2.3.4.5.6", ".1.2.3", "1.2.3.", "1..2.3", "1.2.3.a"}) {
    EXPECT_FALSE(IsPageAddress(bad)) << bad;
  }
}

TEST(Ink, ASummaryTellsCountsTimesBoundsAndForce) {
  Ink ink;
  ink.items = {StrokeOn("1.2.3.4", 2000), StrokeOn("1.2.3.4", 1000), Marker{}, Property{"k", "v"}};
  const Summary summary = Summarize(ink);
  EXPECT_EQ(InShort(summary), "1 page, 2 strokes, 4 points");
  EXPECT_EQ(summary.samples, 8u);
  EXPECT_EQ(summary.first_ms, 1000u);
  EXPECT_EQ(summary.last_ms, 2020u);
  EXPECT_EQ(summary.left_um, -5);
  EXPECT_EQ(summary.bottom_um, 8);
  EXPECT_EQ(summary.least_force, 10);
  EXPECT_EQ(summary.most_force, 900);
  EXPECT_THAT(summary.Obstacles(), IsEmpty());
}

TEST(Ink, ASummaryTellsWhyTheServiceWouldNotStoreIt) {
  Ink ink;
  ink.items = {StrokeOn("page one"), StrokeOn("1.2.3.4", 0), StrokeOn(std::nullopt)};
  EXPECT_THAT(
      Summarize(ink).Obstacles(),
      ElementsAre("the service will not store the ink of page 'page one': not a page address such "
                  "as 1.2.3.4; --page names another",
                  "the service will not store the ink of page '1.2.3.4': it has no time; "
                  "--start-time gives one",
                  "the service will not store 1 stroke without a page address; --page names one"));
}

}  // namespace
}  // namespace InkTool
