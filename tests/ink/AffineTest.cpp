#include "ink/Affine.h"

#include <gtest/gtest.h>

namespace TalvoInk {
namespace {

TEST(Affine, ChangesNothingAsItIsMade) {
  EXPECT_EQ(Affine().Map(3, 4), (std::pair<double, double>(3, 4)));
}

TEST(Affine, AProductMapsTheInnerFirst) {
  const Affine twice{2, 0, 0, 0, 2, 0};
  const Affine moved{1, 0, 10, 0, 1, 20};
  EXPECT_EQ((twice * moved).Map(1, 1), (std::pair<double, double>(22, 42)));
  EXPECT_EQ((moved * twice).Map(1, 1), (std::pair<double, double>(12, 22)));
}

TEST(Affine, GrowthIsThatOfLengthsAndMirroringIsNone) {
  EXPECT_EQ((Affine{0, -3, 7, 3, 0, 7}).Growth(), 3);
  EXPECT_EQ((Affine{1, 0, 0, 0, -1, 0}).Growth(), 1);
}

}  // namespace
}  // namespace TalvoInk
