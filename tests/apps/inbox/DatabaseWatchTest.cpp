#include "DatabaseWatch.h"

#include <gtest/gtest.h>

#include <fstream>

#include "Inks.h"
#include "support/Patience.h"

using namespace Inbox;

namespace {

class DatabaseWatchTest : public InboxFixture {
 protected:
  // Runs the queue until a change was told.
  bool IsTold() {
    changes_ = 0;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (changes_ == 0 && std::chrono::steady_clock::now() < end) {
      queue_.restart();
      queue_.run_one_for(kPatience);
    }
    return changes_ > 0;
  }

  int changes_ = 0;
  boost::asio::io_context queue_;
};

}  // namespace

TEST_F(DatabaseWatchTest, EachCommitIsTold) {
  const DatabaseWatch watch(queue_, database_.path(), [this] { ++changes_; });
  Keep(InkOf("1.2.3.4"));
  EXPECT_TRUE(IsTold());
  Keep(InkOf("1.2.3.5"));
  EXPECT_TRUE(IsTold());
}

// Not of each write: there are dozens in a commit.
TEST_F(DatabaseWatchTest, WritesThatComeCloseTogetherAreToldTogether) {
  constexpr int kWrites = 200;
  const DatabaseWatch watch(queue_, database_.path(), [this] { ++changes_; });
  for (int i = 0; i < kWrites; ++i) {
    std::ofstream(database_.path() + ".other") << i;
    queue_.restart();
    queue_.poll();
  }
  EXPECT_GT(changes_, 0);
  EXPECT_LT(changes_, kWrites / 2);
}

// A reader that asks when it is told sees what was committed.
TEST_F(DatabaseWatchTest, WhatIsToldIsThere) {
  const auto reader = database_.OpenReader();
  const DatabaseWatch watch(queue_, database_.path(), [&] {
    changes_ += static_cast<int>(reader->Number("SELECT count(*) FROM pages"));
  });
  Keep(InkOf("1.2.3.4"));
  EXPECT_TRUE(IsTold());
}

TEST_F(DatabaseWatchTest, NothingIsToldWhileNothingHappens) {
  const DatabaseWatch watch(queue_, database_.path(), [this] { ++changes_; });
  Keep(InkOf("1.2.3.4"));
  ASSERT_TRUE(IsTold());
  do {
    queue_.restart();
  } while (queue_.run_one_for(std::chrono::milliseconds(200)) > 0);  // all is told by then
  changes_ = 0;
  EXPECT_EQ(catalogue().Count().pages, 1);  // reading is no change
  queue_.restart();
  queue_.poll();
  EXPECT_EQ(changes_, 0);
}

TEST_F(DatabaseWatchTest, AFolderThatIsNotThereIsNotWatched) {
  const DatabaseWatch watch(queue_, directory_ + "/missing/inbox.db", [this] { ++changes_; });
  Keep(InkOf("1.2.3.4"));
  queue_.poll();
  EXPECT_EQ(changes_, 0);
}
