// A machine that loses its power under a service at work, again and again, on the file systems that
// people have: ink that was answered Success is whole in the store afterwards, or was confirmed;
// nothing that is not whole is listed or offered; and the service starts and goes on.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <boost/filesystem.hpp>
#include <climits>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

#include "faults/DiskImage.h"
#include "faults/InkTraffic.h"
#include "faults/KilledService.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/TestRoot.h"

namespace fs = boost::filesystem;

namespace {

struct Case {
  const char* file_system;
  InkTraffic::Load load;
  const char* name;
};

void PrintTo(const Case& disk, std::ostream* out) {
  *out << disk.name;
}

std::uint64_t NumberFrom(const char* variable, std::uint64_t otherwise) {
  const char* const value = ::getenv(variable);
  return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

class PowerCut : public testing::TestWithParam<Case> {
 protected:
  PowerCut() : desk_(root_.path().string() + "-desk"), disk_(GetParam().file_system, root_.path()) {
    fs::create_directories(desk_);
    fs::create_directories(root_.path() / "var/tmp");
    root_.Subscribe(InkTraffic::kReader, "1.*.*.*");
    root_.Subscribe(InkTraffic::kAbsent, "1.2.*.*");
  }
  ~PowerCut() override { fs::remove_all(desk_); }

  void StartService() {
    service_ = std::make_unique<KilledService>(QUILLPOSTD, (desk_ / "log").string());
    ASSERT_TRUE(service_->WaitUntilServing()) << service_->log();
  }

  void ExpectNothingIsBroken(const std::string& when) {
    const std::vector<std::string> broken = account_.Audit(root_.storage());
    EXPECT_TRUE(broken.empty()) << when << ": " << broken.size() << " of "
                                << account_.CountAnswered() << " broken, first: " << broken.front();
  }

  // Starts the service, lets the power fail at a moment that is counted in replies or in lines of
  // the log, and brings the machine back.
  void LiveUntilThePowerFails(std::mt19937_64& random) {
    StartService();
    if (HasFatalFailure()) return;
    const bool is_replies = random() % 2 == 0;
    const int last_reply = is_replies ? static_cast<int>(random() % MaxReplies()) : INT_MAX;
    const std::size_t last_line = is_replies ? SIZE_MAX : random() % 1500;
    {
      const InkTraffic traffic(GetParam().load, random() % 3 != 0, desk_ / "in", maker_, account_);
      EXPECT_TRUE(Eventually(
          [&] { return traffic.replies() >= last_reply || service_->CountLines() >= last_line; }));
      EXPECT_TRUE(disk_.CutPower());
      service_->Kill();
    }
    ASSERT_TRUE(disk_.RestorePower()) << disk_.obstacle();
    ExpectNothingIsBroken("after the cut");
  }

  std::uint64_t MaxReplies() const {
    switch (GetParam().load) {
      case InkTraffic::Load::kOneByOne:
        return 50;
      case InkTraffic::Load::kPipelined:
        return 400;
      default:
        return 5;
    }
  }

  // Both applications take what is there: everything leaves the store.
  void ExpectEverythingArrives() {
    StartService();
    if (HasFatalFailure()) return;
    std::atomic<bool> is_over{false};
    const auto take_all = [&](const char* application, const char* sole) {
      return std::thread([=, &is_over] { ReadInk(application, sole, account_, is_over); });
    };
    std::thread reader = take_all(InkTraffic::kReader, "1.1.");
    std::thread absent = take_all(InkTraffic::kAbsent, "1.2.");
    EXPECT_TRUE(Eventually([this] { return !HoldsStrokeFiles(root_.storage()); }))
        << "left in the store: " << RunToEnd({QUILLPOST, "status"}).output << service_->log();
    is_over = true;
    reader.join();
    absent.join();
    EXPECT_EQ(service_->Stop(), 0);
    ExpectNothingIsBroken("at the end");
  }

  TestRoot root_;
  const fs::path desk_;  // what the power does not concern
  DiskImage disk_;
  InkAccount account_;
  ParcelMaker maker_;
  std::unique_ptr<KilledService> service_;
};

}  // namespace

// QUILLPOST_CUTS is the number of cuts, QUILLPOST_SEED what chance goes by; it is printed.
TEST_P(PowerCut, LosesNothingThatWasAnswered) {
  if (!disk_.obstacle().empty()) GTEST_SKIP() << disk_.obstacle();
  const std::uint64_t cuts = NumberFrom("QUILLPOST_CUTS", DEFAULT_CUTS);
  const std::uint64_t seed = NumberFrom("QUILLPOST_SEED", std::random_device()());
  std::cout << "QUILLPOST_SEED=" << seed << " QUILLPOST_CUTS=" << cuts << std::endl;
  std::mt19937_64 random(seed);
  ASSERT_TRUE(disk_.Sync());
  for (std::uint64_t cut = 0; cut < cuts; ++cut) {
    SCOPED_TRACE("cut " + std::to_string(cut));
    LiveUntilThePowerFails(random);
    if (HasFailure()) return;
  }
  ExpectEverythingArrives();
  EXPECT_GT(account_.CountAnswered(), 0u);
  std::cout << cuts << " cuts, " << account_.CountAnswered() << " strokes answered" << std::endl;
}

INSTANTIATE_TEST_SUITE_P(
    Disks, PowerCut,
    testing::Values(Case{"ext4", InkTraffic::Load::kOneByOne, "Ext4OneByOne"},
                    Case{"ext4", InkTraffic::Load::kPipelined, "Ext4Pipelined"},
                    Case{"ext4", InkTraffic::Load::kHundredPages, "Ext4HundredPages"},
                    Case{"xfs", InkTraffic::Load::kOneByOne, "XfsOneByOne"},
                    Case{"xfs", InkTraffic::Load::kPipelined, "XfsPipelined"},
                    Case{"xfs", InkTraffic::Load::kHundredPages, "XfsHundredPages"}),
    [](const testing::TestParamInfo<Case>& disk) { return disk.param.name; });
