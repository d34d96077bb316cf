#include "ink/Stf2File.h"

#include <gtest/gtest.h>

#include "ink/InkError.h"
#include "ink/InkSupport.h"
#include "ink/Summary.h"

namespace TalvoInk {
namespace {

TEST(Stf2File, KeepsEverything) {
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
TEST(Stf2File, SamplesOfUnknownTypesAreKeptAndNoPartOfTheLine) {
  Ink ink;
  Stroke stroke = StrokeOn("1.2.3.4");
  stroke.samples = {Sample(9, 1, 2), Sample(STF2_SAMPLE_PEN_DOWN, 3, 4), Sample(0, 5, 6)};
  ink.items = {stroke};
  EXPECT_TRUE(ReadStf2(WriteStf2(ink)) == ink);
  EXPECT_TRUE(SplitByPage(ink)[0].second == ink);
  EXPECT_TRUE(SameSamples(PositionsOf(stroke), {stroke.samples[1]}));
}

TEST(Stf2File, SplittingMakesAPartForEachPage) {
  Ink ink;
  ink.items = {StrokeOn("1.1.1.2"), StrokeOn("1.1.1.1"), Property{"k", "v"}, StrokeOn("1.1.1.2")};
  const auto parts = SplitByPage(ink);
  ASSERT_EQ(parts.size(), 2u);
  EXPECT_EQ(parts[0].first, "1.1.1.2");
  EXPECT_EQ(parts[0].second.items.size(), 3u);
  EXPECT_EQ(parts[1].first, "1.1.1.1");
  EXPECT_EQ(parts[1].second.items.size(), 2u);
}

TEST(Stf2File, EveryCutAndDamagedStf2IsRefusedOrRead) {
  Ink ink;
  ink.items = {Property{"k", "v"}, Marker{"1.2.3.4", 9, "m"}, StrokeOn("1.2.3.4")};
  const std::string whole = WriteStf2(ink);
  for (std::size_t size = 0; size + 8 < whole.size(); ++size) {
    EXPECT_THROW(ReadStf2(whole.substr(0, size)), InkError) << size;
  }
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (const int change : {0xFF, 0x80, 0x01}) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ change);
      try {
        Summarize(ReadStf2(damaged));
      } catch (const InkError& refusal) {
        EXPECT_STRNE(refusal.what(), "");
      }
    }
  }
}

}  // namespace
}  // namespace TalvoInk
