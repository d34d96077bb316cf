#include "config/SubscriptionWatch.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include "config/FilesConfig.h"
#include "support/DescriptorLimit.h"
#include "support/LogCapture.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Config {
namespace {

class SubscriptionWatchTest : public testing::Test {
 protected:
  void Watch() {
    watch_ = std::make_unique<SubscriptionWatch>(queue_, [this] { ++told_; });
  }

  // Whether something is told now. What the system has to say is there before a change returns.
  bool IsTold() {
    told_ = 0;
    queue_.poll();
    return told_ > 0;
  }

  fs::path File(const std::string& name = "Notes") const { return root_.subscriptions() / name; }

  TestRoot root_;
  const LogCapture log_{2};
  boost::asio::io_service queue_;
  std::unique_ptr<SubscriptionWatch> watch_;
  int told_ = 0;
};

TEST_F(SubscriptionWatchTest, TellsEveryChangeOfASubscription) {
  fs::create_directories(root_.subscriptions());
  Watch();
  EXPECT_FALSE(IsTold());
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_TRUE(IsTold());
  EXPECT_FALSE(IsTold());
  root_.Subscribe("Notes", "1.2.3.5");
  EXPECT_TRUE(IsTold());
  fs::permissions(File(), fs::perms(0));
  EXPECT_TRUE(IsTold());
  fs::rename(File(), File("Letters"));
  EXPECT_TRUE(IsTold());
  fs::remove(File("Letters"));
  EXPECT_TRUE(IsTold());
  EXPECT_FALSE(IsTold());
}

TEST_F(SubscriptionWatchTest, TellsChangesThatComeTogetherOnce) {
  fs::create_directories(root_.subscriptions());
  Watch();
  for (const char* name : {"a", "b", "c"}) root_.Subscribe(name, "1.2.3.4");
  EXPECT_TRUE(IsTold());
  EXPECT_EQ(1, told_);
}

TEST_F(SubscriptionWatchTest, AwaitsADirectoryThatIsNotThere) {
  Watch();
  EXPECT_FALSE(IsTold());
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_TRUE(IsTold());
  root_.Subscribe("Letters", "1.2.3.4");
  EXPECT_TRUE(IsTold());
}

// Each directory on the way may be made long after the one above it.
TEST_F(SubscriptionWatchTest, FollowsTheDirectoryAsItIsMadeStepByStep) {
  std::vector<fs::path> missing;
  for (fs::path path = root_.subscriptions(); !fs::exists(path); path = path.parent_path()) {
    missing.insert(missing.begin(), path);
  }
  ASSERT_GT(missing.size(), 1u);
  Watch();
  for (const fs::path& path : missing) {
    fs::create_directory(path.parent_path() / "another");
    EXPECT_FALSE(IsTold()) << "nothing but what leads to the subscriptions counts";
    fs::create_directory(path);
    EXPECT_TRUE(IsTold()) << path;
  }
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_TRUE(IsTold());
}

TEST_F(SubscriptionWatchTest, AwaitsADirectoryThatIsRemovedOrMovedAway) {
  root_.Subscribe("Notes", "1.2.3.4");
  Watch();
  fs::remove_all(root_.subscriptions());
  EXPECT_TRUE(IsTold());
  IsTold();
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_TRUE(IsTold());
  const fs::path away = root_.path() / "away";
  fs::rename(root_.subscriptions(), away);
  EXPECT_TRUE(IsTold());
  IsTold();
  WriteFile(away / "Letters", "{}");
  EXPECT_FALSE(IsTold()) << "it is not the directory of the subscriptions any more";
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_TRUE(IsTold());
}

TEST_F(SubscriptionWatchTest, WithoutADescriptorToSpareSaysSoAndTellsNothing) {
  fs::create_directories(root_.subscriptions());
  const boost::asio::posix::stream_descriptor first(queue_);  // the queue itself needs some
  {
    const DescriptorLimit limit(0);
    Watch();
  }
  EXPECT_TRUE(log_.Has(2,
                       "Can't watch the subscriptions, so a change waits for the next ink: Too "
                       "many open files"));
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_FALSE(IsTold());
}

TEST_F(SubscriptionWatchTest, EndsInSilence) {
  fs::create_directories(root_.subscriptions());
  Watch();
  watch_.reset();
  root_.Subscribe("Notes", "1.2.3.4");
  EXPECT_FALSE(IsTold());
  EXPECT_TRUE(log_.lines().empty());
}

}  // namespace
}  // namespace Config
}  // namespace TalvoQuillpost
