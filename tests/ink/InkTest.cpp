#include "ink/Ink.h"

#include <gtest/gtest.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

TEST(Ink, AppendingTakesWhatEachPartRepeatsOnce) {
  Ink ink;
  ink.items = {Property{"k", "v"}, Marker{std::nullopt, 1, "m"}, StrokeOn("1.1.1.1")};
  Ink more;
  more.items = {Property{"k", "v"}, Property{"k", "w"}, Marker{std::nullopt, 1, "m"},
                StrokeOn("1.1.1.1")};
  Append(ink, more);
  EXPECT_EQ(ink.items.size(), 5u);
}

Ink Said(const std::string& page, const std::vector<Property>& properties) {
  Ink ink;
  for (const Property& property : properties) ink.items.emplace_back(property);
  ink.items.emplace_back(StrokeOn(page));
  return ink;
}

TEST(Ink, MergingKeepsWhatAllSayAndScopesWhatOneSays) {
  std::size_t moved = 0;
  const Ink merged = Merge({Said("1.1.1.1", {{"writer", "Ada"}, {"title", "one"}}),
                            Said("1.1.1.2", {{"writer", "Ada"}, {"draft", std::nullopt}})},
                           moved);
  EXPECT_EQ(moved, 2u);
  const std::vector<Item> items = {Property{"writer", "Ada"}, Marker{"1.1.1.1", 0, "title: one"},
                                   StrokeOn("1.1.1.1"), Marker{"1.1.1.2", 0, "draft"},
                                   StrokeOn("1.1.1.2")};
  EXPECT_TRUE(merged.items == items);
}

TEST(Ink, MergingKeepsTipsAsProperties) {
  std::size_t moved = 0;
  const Ink merged = Merge(
      {Said("1.1.1.1", {{kTipKey, "#FF000000 500 round constant"}}), Said("1.1.1.2", {})}, moved);
  EXPECT_EQ(moved, 0u);
  EXPECT_TRUE(std::holds_alternative<Property>(merged.items.at(0)));
}

TEST(Ink, MergingThePartsOfOneInkGivesItBack) {
  std::size_t moved = 0;
  const Ink merged =
      Merge({Said("1.1.1.1", {{"title", "one"}}), Said("1.1.1.2", {{"title", "one"}})}, moved);
  EXPECT_EQ(moved, 0u);
  EXPECT_EQ(merged.items.size(), 3u);
}

}  // namespace
}  // namespace TalvoInk
