#include "ink/Losses.h"

#include <gmock/gmock.h>

namespace TalvoInk {
namespace {

using testing::ElementsAre;

TEST(Losses, EachIsToldOnceWithItsSum) {
  Losses losses;
  losses.Add("channel W dropped");
  losses.Count("points left out", 2);
  losses.Add("channel W dropped");
  losses.Count("points left out", 3);
  EXPECT_THAT(losses.Lines(), ElementsAre("channel W dropped", "points left out: 5"));
}

TEST(Losses, AnAssumedPenIsNoLoss) {
  Losses losses;
  EXPECT_FALSE(losses.is_pen_assumed());
  losses.AssumePen();
  EXPECT_TRUE(losses.is_pen_assumed());
  EXPECT_TRUE(losses.empty());
}

}  // namespace
}  // namespace TalvoInk
