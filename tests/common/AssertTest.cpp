// As in a release build, where the language's own assertions are gone.
#ifndef NDEBUG
#define NDEBUG
#endif

#include "common/Assert.h"

#include <gtest/gtest.h>

namespace {

int g_evaluations = 0;

bool CountAndHold() {
  ++g_evaluations;
  return true;
}

void FailHere(int value) {
  QUILLPOST_ASSERT(value == 1);
}

}  // namespace

TEST(Assert, OneThatHoldsIsEvaluatedOnceAndGoesOn) {
  QUILLPOST_ASSERT(CountAndHold());
  EXPECT_EQ(1, g_evaluations);
  FailHere(1);
}

TEST(AssertDeathTest, ABrokenOneEndsTheProcessWithItsTextAndPlace) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(FailHere(2), testing::KilledBySignal(SIGABRT),
              "^Assertion failed: \\(value == 1\\), function FailHere, file AssertTest.cpp, line "
              "[0-9]+\\.\n");
}
