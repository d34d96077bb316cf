// A service that ends suddenly, before each of its calls that change or sync something in turn: it
// is killed, or the machine loses its power. It was importing, delivering, removing what was
// processed and saving at that moment. The next service is brought ink under the names that the
// first one had or has freed, as soon as it listens and so beside its clean-up. Nothing that was
// answered is lost, no other ink is taken for it, and all of it arrives.

#include <TalvoQuillpost/Protocol.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <atomic>
#include <boost/filesystem.hpp>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

#include "faults/DiskImage.h"
#include "faults/InkAccount.h"
#include "faults/InkTraffic.h"
#include "faults/KilledService.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/TestRoot.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;

namespace {

constexpr std::uint64_t kPen = 0xFFFFFFFFFFFFFFFF;
constexpr std::uint64_t kNewPen = 0xFFFFFFFFFFFFFFFE;
constexpr int kOtherPens = 3;
constexpr char kApplication[] = "Reader";

// Ink of two pages. All ink of one time has the same names; the pressure tells it apart.
Parcel PlainParcel(std::uint64_t pen, std::uint64_t time_ms, std::uint32_t variant) {
  const std::vector<Stf2Sample> samples(3, {1, 20000, 30000, static_cast<std::uint16_t>(variant),
                                            STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME});
  Parcel parcel;
  InkFile whole(pen);
  for (const char* page : {"1.2.3.4", "1.2.3.5"}) {
    whole.AddStroke(page, time_ms, samples);
    parcel.strokes.push_back(InkFile(pen).AddStroke(page, time_ms, samples).bytes());
  }
  parcel.file = whole.bytes();
  return parcel;
}

Parcel SealedParcel(std::uint64_t time_ms) {
  const std::string sealed = Seal(InkFile(kPen).AddStroke("1.2.3.4", time_ms).bytes());
  return {sealed, {sealed}};
}

// What ends, and at which work.
struct End {
  const char* how;          // as FailingCalls.cpp has it
  const char* file_system;  // that loses power; null if the service is killed
  // Files without a name are not for every file system: kHiddenNames is kAll on one without them.
  enum class Work { kAll, kHiddenNames, kRemoval } work;
  const char* name;
};

void PrintTo(const End& end, std::ostream* out) {
  *out << end.name;
}

class SuddenEnd : public testing::TestWithParam<End> {
 protected:
  SuddenEnd() : desk_(root_.path().string() + "-desk") {
    fs::create_directories(desk_);
    if (IsCut()) disk_ = std::make_unique<DiskImage>(GetParam().file_system, root_.path());
    fs::create_directories(root_.path() / "var/tmp");
    WriteFile(root_.subscriptions() / kApplication,
              R"({"Path":"/x","Title":"","PageAddresses":["1.2.*.*","encrypted-stf2"]})");
  }
  ~SuddenEnd() override { fs::remove_all(desk_); }

  bool IsCut() const { return GetParam().file_system != nullptr; }

  // A store with ink of many pens that nobody claims, which a first service has seen, on a disk
  // that keeps it.
  void MakeStore() {
    for (int pen = 1; pen <= kOtherPens; ++pen) {
      const std::string serial = "0000-0000-0000-" + std::to_string(1000 + pen);
      WriteFile(root_.storage() / serial / "9.9.9.9" / "1_1.stf2", "ink");
    }
    account_.Answered({"", {"ink"}});
    Start();
    EXPECT_TRUE(service_->WaitForLog("Ink Delivery finished."));
    EXPECT_EQ(service_->Stop(), 0);
    ASSERT_TRUE(!disk_ || disk_->Sync());
  }

  // With what FailingCalls.cpp reads. All services live in the same second, which names sealed ink.
  void Start(Process::Environment failing = {}) {
    failing.insert({{"LD_PRELOAD", FAILING_CALLS}, {"QUILLPOST_FIXED_TIME", "1700000000"}});
    if (GetParam().work == End::Work::kHiddenNames) failing["QUILLPOST_NO_TMPFILE"] = "1";
    service_ = std::make_unique<KilledService>(QUILLPOSTD, (desk_ / "log").string(), failing);
  }

  // A connection as soon as the service listens; null if it ends before.
  std::unique_ptr<WireClient> Connect() {
    std::unique_ptr<WireClient> client;
    Eventually([&] {
      try {
        client = std::make_unique<WireClient>(IPC::Protocol::Quillpost::GetEndpoint());
      } catch (const std::runtime_error&) {
      }
      return client || service_->HasEnded();
    });
    return client;
  }

  // Brings ink of all kinds, until the service ends; whether all of it was answered.
  bool Bring(std::uint32_t variant) {
    // The first strokes of the pen, by their names, which no other ink has: if the table named them
    // without their files, all other ink of the pen would wait for them.
    const Parcel first = PlainParcel(kPen, 999, variant);
    const Parcel parcels[] = {variant == 1 ? first : PlainParcel(kPen, 3000, variant),
                              PlainParcel(kPen, 1000, variant),
                              SealedParcel(variant),
                              PlainParcel(kNewPen, 1000, variant),
                              SealedParcel(1000 + variant),
                              PlainParcel(kPen, 2000, variant)};
    const std::unique_ptr<WireClient> client = Connect();
    if (!client) return false;
    for (const Parcel& parcel : parcels) {
      const std::string file = (desk_ / "in.stf2").string();
      WriteFile(file, parcel.file);
      account_.Sent(parcel);
      try {
        const std::string answer =
            client->Request("ImportSTF2File", Params({{"InkPackagePath", file}}));
        if (answer != "Success") return false;
        account_.Answered(parcel);
      } catch (const std::runtime_error&) {
        return false;
      }
    }
    return true;
  }

  // Takes and confirms all ink, until it has left the store or the service has ended.
  void Confirm() {
    if (!Connect()) return;
    std::atomic<bool> is_over{false};
    std::thread reader([&] { ReadInk(kApplication, "", account_, is_over); });
    Eventually([&] { return service_->HasEnded() || OnlyOthersAreStored(); });
    is_over = true;
    reader.join();
  }

  bool OnlyOthersAreStored() const { return ListStrokeFiles(root_.storage()).size() == kOtherPens; }

  void ExpectNothingIsBroken(const char* when) {
    const std::vector<std::string> broken = account_.Audit(root_.storage());
    EXPECT_TRUE(broken.empty()) << when << ": " << broken.front();
  }

  void BringInALifeOfItsOwn() {
    Start();
    EXPECT_TRUE(Bring(1)) << service_->log();
    EXPECT_EQ(service_->Stop(), 0);
  }

  void ExpectNothingIsHidden() const {
    for (const auto& entry : fs::recursive_directory_iterator(root_.storage())) {
      EXPECT_NE(entry.path().filename().string().front(), '.') << entry.path();
    }
  }

  // The life that ends at the call of that number; false if it makes fewer.
  bool LiveUntil(int call) {
    const bool is_removal = GetParam().work == End::Work::kRemoval;
    if (is_removal) BringInALifeOfItsOwn();
    const fs::path fault = desk_ / "fault";
    fs::remove(fault);
    Start({{"QUILLPOST_FAIL_CALL", std::to_string(call)},
           {"QUILLPOST_FAIL_WITH", GetParam().how},
           {"QUILLPOST_FAIL_REPORT", fault.string()}});
    if (!is_removal) Bring(1);
    Confirm();
    service_->Stop();
    EXPECT_TRUE(!disk_ || disk_->RestorePower()) << disk_->obstacle();
    SCOPED_TRACE(ReadFile(fault));
    ExpectNothingIsBroken("after the sudden end");
    return fs::exists(fault);
  }

  bool Run(int call) {
    SCOPED_TRACE("call " + std::to_string(call));
    const bool has_ended = LiveUntil(call);
    SCOPED_TRACE(ReadFile(desk_ / "fault"));
    // Its clean-up waits until the ink is there.
    const std::string gate = (desk_ / "gate").string();
    fs::remove(gate);
    Start({{"QUILLPOST_HOLD", gate}});
    EXPECT_TRUE(Bring(2)) << service_->log();
    WriteFile(gate, "");
    EXPECT_EQ(service_->Stop(), 0) << service_->log();
    ExpectNothingIsBroken("after the next life");
    Start();
    EXPECT_TRUE(Bring(3)) << service_->log();
    Confirm();
    EXPECT_TRUE(OnlyOthersAreStored()) << RunToEnd({QUILLPOST, "status"}).output << service_->log();
    EXPECT_EQ(service_->Stop(), 0) << service_->log();
    ExpectNothingIsBroken("at the end");
    ExpectNothingIsHidden();
    return has_ended;
  }

  TestRoot root_;
  const fs::path desk_;  // what the power does not concern
  std::unique_ptr<DiskImage> disk_;
  InkAccount account_;
  std::unique_ptr<KilledService> service_;
};

}  // namespace

// QUILLPOST_CALL_STEP is the distance from one call to the next, 1 for every call.
TEST_P(SuddenEnd, LosesNothingThatWasAnswered) {
  if (std::string(FAILING_CALLS).empty()) {
    GTEST_SKIP() << "the sanitizers' own library must be loaded first";
  }
  if (disk_ && !disk_->obstacle().empty()) GTEST_SKIP() << disk_->obstacle();
  const char* const step = ::getenv("QUILLPOST_CALL_STEP");
  const bool is_removal = GetParam().work == End::Work::kRemoval;
  const int otherwise = is_removal ? (DEFAULT_CALL_STEP + 3) / 4 : DEFAULT_CALL_STEP;
  const int distance = step != nullptr ? std::max(::atoi(step), 1) : otherwise;
  const int first = 1 + static_cast<int>(std::random_device()() % static_cast<unsigned>(distance));
  std::cout << "every call " << first << " + " << distance << " * N" << std::endl;
  MakeStore();
  int ends = 0;
  for (int call = first; Run(call) && !HasFailure(); call += distance) ++ends;
  std::cout << ends << " sudden ends" << std::endl;
  EXPECT_GT(ends, 3);
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall, SuddenEnd,
    testing::Values(End{"kill", nullptr, End::Work::kAll, "Kill"},
                    End{"kill", nullptr, End::Work::kHiddenNames, "KillHiddenNames"},
                    End{"kill", nullptr, End::Work::kRemoval, "KillAtRemoval"},
                    End{"cut", "ext4", End::Work::kAll, "Ext4"},
                    End{"cut", "ext4", End::Work::kHiddenNames, "Ext4HiddenNames"},
                    End{"cut", "ext4", End::Work::kRemoval, "Ext4AtRemoval"},
                    End{"cut-late", "ext4", End::Work::kAll, "Ext4WithItsLog"},
                    End{"cut-late", "ext4", End::Work::kRemoval, "Ext4WithItsLogAtRemoval"},
                    End{"cut", "xfs", End::Work::kAll, "Xfs"},
                    End{"cut", "xfs", End::Work::kRemoval, "XfsAtRemoval"},
                    End{"cut-late", "xfs", End::Work::kAll, "XfsWithItsLog"},
                    End{"cut-late", "xfs", End::Work::kRemoval, "XfsWithItsLogAtRemoval"}),
    [](const testing::TestParamInfo<End>& end) { return end.param.name; });
