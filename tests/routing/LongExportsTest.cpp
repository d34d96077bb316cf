#include "routing/LongExports.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "support/LogCapture.h"

namespace {

using TalvoQuillpost::LongExports;

constexpr int kFreeChunks = 17;  // 1 MiB, and the look at the end of the file

bool IsWanted() {
  return false;
}

// Copies `chunks` chunks; false if the export ends before.
bool Copy(LongExports::Export& one, int chunks) {
  for (int i = 0; i < chunks; ++i) {
    if (!one.MayGoOn()) return false;
  }
  return true;
}

// A long export on a thread of its own.
class Another {
 public:
  explicit Another(LongExports& exports)
      : thread_([this, &exports] {
          id_ = ::gettid();
          LongExports::Export one(exports, [this] { return unwanted.load(); });
          result_ = Copy(one, kFreeChunks + 1);
        }) {}

  bool WaitUntilItWaits() {
    return Eventually([this] { return id_ != 0 && IsThreadAsleep(id_); });
  }

  // Whether it was copied to its end.
  bool Join() {
    thread_.join();
    return result_;
  }

  std::atomic<bool> unwanted{false};

 private:
  std::atomic<pid_t> id_{0};
  bool result_ = false;
  std::thread thread_;
};

TEST(LongExportsTest, TwoRunAndShortOnesBesideThem) {
  LongExports exports;
  LongExports::Export first(exports, &IsWanted);
  LongExports::Export second(exports, &IsWanted);
  LongExports::Export brief(exports, &IsWanted);
  EXPECT_TRUE(Copy(first, 1000));
  EXPECT_TRUE(Copy(second, 1000));
  EXPECT_TRUE(Copy(brief, kFreeChunks));
}

TEST(LongExportsTest, TheThirdWaitsUntilOneEnds) {
  LongExports exports;
  LongExports::Export first(exports, &IsWanted);
  EXPECT_TRUE(Copy(first, 1000));
  auto second = std::make_unique<LongExports::Export>(exports, &IsWanted);
  EXPECT_TRUE(Copy(*second, 1000));
  Another third(exports);
  EXPECT_TRUE(third.WaitUntilItWaits());
  second.reset();
  EXPECT_TRUE(third.Join());
}

TEST(LongExportsTest, OneThatWaitsEndsWhenItIsUnwanted) {
  LongExports exports;
  LongExports::Export first(exports, &IsWanted);
  LongExports::Export second(exports, &IsWanted);
  EXPECT_TRUE(Copy(first, 1000));
  EXPECT_TRUE(Copy(second, 1000));
  Another third(exports);
  EXPECT_TRUE(third.WaitUntilItWaits());
  third.unwanted = true;
  exports.Wake();
  EXPECT_FALSE(third.Join());
}

TEST(LongExportsTest, OneThatRunsEndsWhenItIsUnwanted) {
  LongExports exports;
  bool unwanted = false;
  LongExports::Export brief(exports, [&unwanted] { return unwanted; });
  LongExports::Export extended(exports, [&unwanted] { return unwanted; });
  EXPECT_TRUE(Copy(brief, 1));
  EXPECT_TRUE(Copy(extended, 1000));
  unwanted = true;
  EXPECT_FALSE(brief.MayGoOn());
  EXPECT_FALSE(extended.MayGoOn());
}

}  // namespace
