// An application's end of the service, with a real one at the other.

#include "application/ServiceLink.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <condition_variable>
#include <future>
#include <map>
#include <optional>
#include <vector>

#include "support/Daemon.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Patience.h"
#include "support/TestRoot.h"

using namespace Application;

namespace {

constexpr std::uint64_t kOtherPen = 7;

// An application that keeps what the test lets it keep.
class Taker {
 public:
  // How long it waits before it tries again what it could not keep.
  explicit Taker(std::chrono::milliseconds retry = std::chrono::milliseconds(1)) {
    ServiceLink::Options options;
    options.application_id = "Taker";
    options.name = "the taker";
    options.log_tag = "Taker";
    options.first_retry = options.longest_retry = retry;
    options.keep = [this](const Offer& offer, ServiceLink::Done done) { Keep(offer, done); };
    options.on_state = [](const ServiceLink::State&) {};
    link_.emplace(std::move(options));
  }

  // What keeping ink of the pen answers from now on; empty, as at first, if the ink is safe.
  void AnswerFor(const std::string& pen, const std::string& failure) {
    const std::lock_guard<std::mutex> lock(mutex_);
    answers_[pen] = failure;
  }
  // From now on keeping takes until the test answers `Last()`.
  void Hold() {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_holding_ = true;
  }

  // Waits until ink was offered so many times.
  std::vector<Offer> WaitForOffers(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(news_.wait_for(lock, kPatience, [&] { return offers_.size() >= count; }));
    return offers_;
  }
  ServiceLink::Done Last() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return held_;
  }

  bool WaitForState(bool is_connected, const std::string& hindrance) {
    return Eventually([&] {
      const ServiceLink::State state = link().state();
      return state.is_connected == is_connected && state.hindrance == hindrance;
    });
  }

  ServiceLink::ImportResult Import(const std::string& file) {
    std::promise<ServiceLink::ImportResult> result;
    link().Import(file, [&](ServiceLink::ImportResult answer) { result.set_value(answer); });
    return result.get_future().get();
  }

  ServiceLink& link() { return *link_; }
  void End() { link_.reset(); }

 private:
  void Keep(const Offer& offer, const ServiceLink::Done& done) {
    std::string answer;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      offers_.push_back(offer);
      answer = answers_[offer.pen];
      if (is_holding_) held_ = done;
      news_.notify_all();
      if (is_holding_) return;
    }
    done(answer);
  }

  std::mutex mutex_;  // of all but the link
  std::condition_variable news_;
  std::vector<Offer> offers_;
  std::map<std::string, std::string> answers_;  // by pen
  bool is_holding_ = false;
  ServiceLink::Done held_;
  std::optional<ServiceLink> link_;
};

class ServiceLinkTest : public testing::Test {
 protected:
  void Start() { service_.emplace(QUILLPOSTD); }
  void StartWithSubscription() {
    root_.Subscribe("Taker", "*.*.*.*");
    Start();
  }

  // A file of a stroke on 1.2.3.4.
  std::string FileOf(std::uint64_t pen = kTestPen) {
    const std::string file = (root_.path() / ("ink" + std::to_string(pen))).string();
    WriteFile(file, InkFile(pen).AddStroke("1.2.3.4", 5000).bytes());
    return file;
  }

  // Whether the service has got rid of all its ink.
  bool IsAllConfirmed() {
    return Eventually([this] { return HoldsNothing(root_.storage()); });
  }

  TestRoot root_;
  std::optional<Daemon> service_;
};

}  // namespace

TEST_F(ServiceLinkTest, InkThatIsSafeIsConfirmed) {
  StartWithSubscription();
  Taker taker;
  ASSERT_TRUE(taker.WaitForState(true, ""));
  EXPECT_EQ(taker.Import(FileOf()), ServiceLink::ImportResult::kSuccess);
  const Offer offer = taker.WaitForOffers(1).front();
  EXPECT_EQ(offer.pen, kTestPenSerial);
  EXPECT_EQ(offer.page, "1.2.3.4");
  EXPECT_EQ(offer.type, "STF2");
  EXPECT_TRUE(IsAllConfirmed());
}

TEST_F(ServiceLinkTest, TheFileStaysUntilItsInkIsSafe) {
  StartWithSubscription();
  Taker taker;
  ASSERT_TRUE(taker.WaitForState(true, ""));
  taker.Hold();
  taker.Import(FileOf());
  const Offer offer = taker.WaitForOffers(1).front();
  EXPECT_EQ(StrokesOf(ReadFile(offer.file)), StrokesOf(ReadFile(FileOf())));
  EXPECT_FALSE(HoldsNothing(root_.storage()));
  taker.Last()("");
  EXPECT_TRUE(IsAllConfirmed());
}

TEST_F(ServiceLinkTest, TheServiceMayComeLater) {
  Taker taker;
  EXPECT_EQ(taker.Import(FileOf()), ServiceLink::ImportResult::kAway);
  EXPECT_FALSE(taker.link().state().is_connected);
  StartWithSubscription();
  EXPECT_TRUE(taker.WaitForState(true, ""));
}

TEST_F(ServiceLinkTest, GoesOnWithTheNextService) {
  StartWithSubscription();
  Taker taker;
  ASSERT_TRUE(taker.WaitForState(true, ""));
  EXPECT_EQ(service_->Stop(), 0);
  EXPECT_TRUE(taker.WaitForState(false, ""));
  service_.reset();
  Start();
  ASSERT_TRUE(taker.WaitForState(true, ""));
  EXPECT_EQ(taker.Import(FileOf()), ServiceLink::ImportResult::kSuccess);
  EXPECT_TRUE(IsAllConfirmed());
}

TEST_F(ServiceLinkTest, WithoutASubscriptionItTellsHowToMakeOne) {
  Start();
  Taker taker;
  EXPECT_TRUE(taker.WaitForState(true,
                                 "the taker gets no ink: it has no subscription; 'quillpost "
                                 "subscriptions add Taker' makes one"));
}

TEST_F(ServiceLinkTest, OfTwoOfOneNameTheSecondGetsNothing) {
  StartWithSubscription();
  Taker first;
  ASSERT_TRUE(first.WaitForState(true, ""));
  first.Import(FileOf());
  first.WaitForOffers(1);
  Taker second;
  EXPECT_TRUE(second.WaitForState(true, "the taker gets no ink: another program receives it"));
}

TEST_F(ServiceLinkTest, InkThatCantBeKeptIsTriedAgain) {
  StartWithSubscription();
  Taker taker;
  ASSERT_TRUE(taker.WaitForState(true, ""));
  taker.AnswerFor(kTestPenSerial, "the disk is full");
  taker.Import(FileOf());
  taker.WaitForOffers(3);
  EXPECT_TRUE(taker.WaitForState(true, "ink stays with the service: the disk is full"));
  EXPECT_FALSE(HoldsNothing(root_.storage()));
  taker.AnswerFor(kTestPenSerial, "");
  EXPECT_TRUE(IsAllConfirmed());
  EXPECT_TRUE(taker.WaitForState(true, ""));
}

TEST_F(ServiceLinkTest, TheInkOfOtherPensGoesOn) {
  StartWithSubscription();
  Taker taker(std::chrono::hours(1));
  ASSERT_TRUE(taker.WaitForState(true, ""));
  taker.AnswerFor(kTestPenSerial, "the disk is full");
  taker.Import(FileOf());
  taker.WaitForOffers(1);
  taker.Import(FileOf(kOtherPen));
  taker.WaitForOffers(2);
  EXPECT_TRUE(Eventually([this] {
    return HoldsNothing(root_.storage() / "0000-0000-0000-0007") &&
           !HoldsNothing(root_.storage() / kTestPenSerial);
  }));
  EXPECT_TRUE(taker.WaitForState(true, "ink stays with the service: the disk is full"));
}

TEST_F(ServiceLinkTest, WhatWaitsCanBeTriedNow) {
  StartWithSubscription();
  Taker taker(std::chrono::hours(1));
  ASSERT_TRUE(taker.WaitForState(true, ""));
  taker.AnswerFor(kTestPenSerial, "the server is away");
  taker.Import(FileOf());
  ASSERT_TRUE(taker.WaitForState(true, "ink stays with the service: the server is away"));
  taker.AnswerFor(kTestPenSerial, "");
  taker.link().RetryNow();
  EXPECT_TRUE(IsAllConfirmed());
  EXPECT_TRUE(taker.WaitForState(true, ""));
}

// A cleaner of old files took it. The service still has the ink, and makes the package anew.
TEST_F(ServiceLinkTest, APackageThatHasGoneIsAskedForAgain) {
  StartWithSubscription();
  const LogCapture log(4, "Taker");
  Taker taker(std::chrono::hours(1));
  ASSERT_TRUE(taker.WaitForState(true, ""));
  taker.AnswerFor(kTestPenSerial, "the server is away");
  taker.Import(FileOf());
  ASSERT_TRUE(taker.WaitForState(true, "ink stays with the service: the server is away"));
  ::unlink(taker.WaitForOffers(1)[0].file.c_str());
  taker.AnswerFor(kTestPenSerial, "");
  taker.link().RetryNow();
  taker.WaitForOffers(2);
  EXPECT_TRUE(IsAllConfirmed());
  EXPECT_TRUE(log.Has(2, std::string("the package of pen ") + kTestPenSerial +
                             " has gone from its place; the service is asked for it again"));
}

TEST_F(ServiceLinkTest, WhatTheServiceRefusesIsRefused) {
  StartWithSubscription();
  Taker taker;
  ASSERT_TRUE(taker.WaitForState(true, ""));
  const std::string file = (root_.path() / "no-ink").string();
  WriteFile(file, "no ink");
  EXPECT_EQ(taker.Import(file), ServiceLink::ImportResult::kRefused);
}

TEST_F(ServiceLinkTest, AnAnswerAfterTheEndDoesNothing) {
  StartWithSubscription();
  Taker taker;
  ASSERT_TRUE(taker.WaitForState(true, ""));
  taker.Hold();
  taker.Import(FileOf());
  taker.WaitForOffers(1);
  const ServiceLink::Done done = taker.Last();
  taker.End();
  done("");
  done("too late");
  EXPECT_FALSE(HoldsNothing(root_.storage()));
}
