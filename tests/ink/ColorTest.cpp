#include "ink/Color.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(Color, ColoursAreReadInTheirUsualForms) {
  EXPECT_EQ(ParseColor("#1A2B3C"), 0xFF1A2B3Cu);
  EXPECT_EQ(ParseColor("\\#AA1C24"), 0xFFAA1C24u);
  EXPECT_EQ(ParseColor("#f0A"), 0xFFFF00AAu);
  EXPECT_EQ(ParseColor("#11223380"), 0x80112233u);
  EXPECT_EQ(ParseColor("rgb(1, 2,255)"), 0xFF0102FFu);
  EXPECT_EQ(ParseColor("navy"), 0xFF000080u);
  for (const char* bad : {"", "#", "#12", "#12345G", "rgb(1,2)", "rgb(1,2,256)", "reddish"}) {
    EXPECT_EQ(ParseColor(bad), std::nullopt) << bad;
  }
}

}  // namespace
}  // namespace TalvoInk
