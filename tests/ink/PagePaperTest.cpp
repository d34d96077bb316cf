#include "ink/PagePaper.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(PagePaper, IsReadAsItIsWritten) {
  const PagePaper paper{{148.5, 210}, "graph"};
  EXPECT_EQ(WritePaper(paper), "paper 148.5x210 mm graph");
  const auto again = ParsePaper(WritePaper(paper));
  ASSERT_TRUE(again.has_value());
  EXPECT_EQ(again->size.width_mm, 148.5);
  EXPECT_EQ(again->ruling, "graph");
}

TEST(PagePaper, OtherNamesOfMarkersStateNone) {
  for (const char* name : {"", "paper", "paper 210x297", "paper 210x297 mm ", "paper 210 mm graph",
                           "paper 210x297 mm gr<ph", "paper 0x297 mm graph", "done"}) {
    EXPECT_FALSE(ParsePaper(name).has_value()) << name;
  }
}

}  // namespace
}  // namespace TalvoInk
