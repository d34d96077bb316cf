#include "ink/Stf2Fault.h"

#include <gmock/gmock.h>

#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/Stf2File.h"
#include "stf2_generated.h"

namespace TalvoInk {
namespace {

// What is said of a file that is damaged.
std::string RefusalOf(const std::string& bytes) {
  try {
    ReadStf2(bytes);
  } catch (const InkError& error) {
    return error.what();
  }
  return {};
}

TEST(Stf2Fault, MalformedStf2IsRefusedWithTheItem) {
  Ink ink;
  for (int i = 0; i < 20; ++i) ink.items.emplace_back(StrokeOn("1.2.3." + std::to_string(i)));
  const std::string whole = WriteStf2(ink);
  EXPECT_THAT(RefusalOf(whole.substr(0, whole.size() - 40)),
              testing::MatchesRegex("item [0-9]+: no well-formed STF2 ink"));
}

TEST(Stf2Fault, AStringThatIsNoTextIsRefusedWithTheItem) {
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
                std::string(place) + ": a string that is not UTF-8, or holds a zero byte");
    }
  }
}

TEST(Stf2Fault, AnItemOfNoKnownTypeIsRefusedWithItsNumber) {
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
TEST(Stf2Fault, ItemsThatShareTheirSamplesAreRefusedTogether) {
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

}  // namespace
}  // namespace TalvoInk
