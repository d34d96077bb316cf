// Every file-system call of the service fails once, one after the other, on the whole road of some
// ink: start, clean-up, import, routing, export, confirmation, removal, stop. The service answers
// and goes on, and when the fault is gone, so are its effects.

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <boost/filesystem.hpp>
#include <iostream>

#include "faults/Road.h"

namespace fs = boost::filesystem;

namespace {

constexpr int kRounds = 4;  // of imports, until everything has come

// Whether a failed call may lead to a second offer, by the promises (docs/reliability.md).
bool MayRepeat(const std::string& fault) {
  const bool is_stroke_file = fault.find("/1.2.3.") != std::string::npos;
  // A package that can't be deleted is not confirmed.
  const bool is_removal = fault.compare(0, 7, "unlink ") == 0 || fault.compare(0, 6, "lstat6") == 0;
  const bool is_package = is_removal && fault.find("/Temp/") != std::string::npos;
  return is_stroke_file || is_package;
}

// Who may not read a subscription has none, so its marks go; when it is back its ink is offered
// again.
bool IsSubscriptionRefused(const std::string& fault, int error) {
  return error == EACCES && fault.find("/Subscriptions/") != std::string::npos;
}

class CallFault : public testing::TestWithParam<const char*> {
 protected:
  // The road with one call that fails. False if the service makes fewer calls.
  bool Run(int call) {
    Road road;
    EXPECT_TRUE(road.Start());
    EXPECT_EQ(road.Import(1000), "Success");
    EXPECT_EQ(road.Stop(), 0);

    std::set<std::string> inks = InksOf(1000);
    std::set<std::string> sent = inks;
    if (!road.Start(call, GetParam())) {
      EXPECT_EQ(road.Stop(), 1);
      EXPECT_NE(road.log().find("quillpostd: the service "), std::string::npos) << road.log();
      EXPECT_TRUE(road.Start()) << road.log();
    }
    std::uint64_t time_ms = 2000;
    for (int round = 0; round < kRounds; ++round, time_ms += 1000) {
      const std::string status = road.Import(time_ms);
      sent.merge(InksOf(time_ms));
      EXPECT_TRUE(status == "Success" || (status == "Failed" && round == 0)) << round << status;
      if (status == "Success") inks.merge(InksOf(time_ms));
      const bool is_last = round + 1 == kRounds;
      road.Receive(inks, is_last ? kPatience : std::chrono::seconds(1));
      if (road.IsDone(inks)) break;
    }
    const bool was_done = road.IsDone(inks);
    EXPECT_EQ(road.Stop(), 0) << road.log();
    const std::string fault = road.fault();
    SCOPED_TRACE(std::to_string(call) + ": " + fault);
    EXPECT_TRUE(was_done) << "the fault is gone, and its effects are not";

    EXPECT_TRUE(road.Start()) << road.log();
    EXPECT_EQ(road.Import(time_ms += 1000), "Success");
    inks.merge(InksOf(time_ms));
    sent.merge(InksOf(time_ms));
    road.Receive(inks);
    EXPECT_EQ(road.Stop(), 0);
    EXPECT_TRUE(road.IsStoreEmpty());
    EXPECT_TRUE(fs::is_empty(road.root().scratch()));
    for (const std::string& ink : road.received()) {
      EXPECT_EQ(sent.count(ink), 1u) << ink << " was offered, which nobody sent";
    }
    const bool may_repeat = MayRepeat(fault) || IsSubscriptionRefused(fault, ::atoi(GetParam()));
    for (const std::string& ink : inks) {
      const std::size_t times = road.received().count(ink);
      EXPECT_TRUE(times > 0) << ink;
      EXPECT_TRUE(times < 2 || may_repeat) << ink << ", " << times << " times";
    }
    return !fault.empty();
  }
};

}  // namespace

// QUILLPOST_CALL_STEP is the distance from one call that fails to the next, 1 for every call, which
// takes some minutes.
TEST_P(CallFault, SurvivesEachFailingCall) {
  if (std::string(FAILING_CALLS).empty()) {
    GTEST_SKIP() << "the sanitizers' own library must be loaded first";
  }
  const char* const step = ::getenv("QUILLPOST_CALL_STEP");
  const bool are_few = std::string(GetParam()) == "short";
  const int otherwise = are_few ? 1 : DEFAULT_CALL_STEP;
  const int distance = step != nullptr ? std::max(::atoi(step), 1) : otherwise;
  int injected = 0;
  for (int call = 1; Run(call) && !HasFatalFailure(); call += distance) ++injected;
  std::cout << injected << " calls failed with " << GetParam() << std::endl;
  EXPECT_GT(injected, 3);
}

INSTANTIATE_TEST_SUITE_P(EveryCall, CallFault, testing::Values("28", "5", "13", "24", "short"),
                         [](const testing::TestParamInfo<const char*>& failure) {
                           switch (::atoi(failure.param)) {
                             case ENOSPC:
                               return "NoSpace";
                             case EIO:
                               return "InputOutputError";
                             case EACCES:
                               return "NoAccess";
                             case EMFILE:
                               return "NoDescriptor";
                             default:
                               return "ShortTransfer";
                           }
                         });
