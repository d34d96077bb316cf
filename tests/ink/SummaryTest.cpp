#include "ink/Summary.h"

#include <gtest/gtest.h>

#include "ink/InkSupport.h"

namespace TalvoInk {
namespace {

TEST(Summary, ASummaryTellsCountsTimesBoundsAndForce) {
  Ink ink;
  ink.items = {StrokeOn("1.2.3.4", 2000), StrokeOn("1.2.3.4", 1000), Marker{}, Property{"k", "v"}};
  const Summary summary = Summarize(ink);
  EXPECT_EQ(summary.pages.size(), 1u);
  EXPECT_EQ(summary.strokes, 2u);
  EXPECT_EQ(summary.coordinates, 4u);
  EXPECT_EQ(summary.samples, 8u);
  EXPECT_EQ(summary.first_ms, 1000u);
  EXPECT_EQ(summary.last_ms, 2020u);
  EXPECT_EQ(summary.left_um, -5);
  EXPECT_EQ(summary.bottom_um, 8);
  EXPECT_EQ(summary.least_force, 10);
  EXPECT_EQ(summary.most_force, 900);
}

}  // namespace
}  // namespace TalvoInk
