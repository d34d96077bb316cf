// Files that change while the service works with them, by the hands of others: what it imports,
// what it has stored, what it reads. It serves on, and what was spared arrives.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>

#include "faults/Road.h"
#include "support/LogCapture.h"

namespace fs = boost::filesystem;

namespace {

constexpr std::uint64_t kOtherPen = 2;
constexpr char kOtherSerial[] = "0000-0000-0000-0002";

// Does something again and again on a thread of its own, as long as the object lives.
class Meddler {
 public:
  explicit Meddler(const std::function<void(int)>& meddle)
      : thread_([this, meddle] {
          for (int round = 0; !has_ended_; ++round) meddle(round);
        }) {}
  ~Meddler() {
    has_ended_ = true;
    thread_.join();
  }
  Meddler(const Meddler&) = delete;
  Meddler& operator=(const Meddler&) = delete;

 private:
  std::atomic<bool> has_ended_{false};
  std::thread thread_;
};

void Overwrite(const std::string& file, const std::string& bytes) {
  const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return;
  static_cast<void>(!::write(fd, bytes.data(), bytes.size()));
  ::close(fd);
}

class Underfoot : public testing::Test {
 protected:
  Underfoot() { EXPECT_TRUE(road_.Start()); }

  fs::path pen() { return road_.root().storage() / kTestPenSerial; }
  fs::path Page() { return pen() / "1.2.3.4"; }
  fs::path StrokeFile() { return Page() / "1000_1000.stf2"; }

  // Ink of another pen arrives, whatever has become of the first one's.
  void ExpectOtherInkArrives() {
    EXPECT_TRUE(road_.IsServing()) << road_.log();
    EXPECT_EQ(road_.Import(time_ms_ += 1000, kOtherPen), "Success");
    const std::set<std::string> inks = InksOf(time_ms_, kOtherSerial);
    road_.Receive(inks, kPatience, Road::Until::kReceived);
    EXPECT_TRUE(road_.HasReceived(inks)) << road_.log();
  }

  Road road_;
  std::uint64_t time_ms_ = 100000;
};

}  // namespace

TEST_F(Underfoot, AnImportFileThatIsCutAndGrownAndReplacedEndsNothing) {
  const std::string file = (road_.root().path() / "changing.stf2").string();
  InkFile big;
  const std::vector<Stf2Sample> wave(60000,
                                     {1, 0, 0, 500, STF2_SAMPLE_COORDINATE, STF2_SAMPLE_HAS_TIME});
  const std::string ink = big.AddStroke("9.9.9.9", 1000, wave).bytes();
  {
    const Meddler meddler([&](int round) {
      switch (round % 5) {
        case 0:
          Overwrite(file, ink);
          break;
        case 1:
          static_cast<void>(!::truncate(file.c_str(), 5000));
          break;
        case 2:
          static_cast<void>(!::truncate(file.c_str(), 3000000));
          break;
        case 3:
          Overwrite(file + ".new", ink);
          ::rename((file + ".new").c_str(), file.c_str());
          break;
        default:
          ::unlink(file.c_str());
      }
    });
    for (int i = 0; i < 100; ++i) {
      const std::string answer = road_.ImportFile(file);
      EXPECT_TRUE(answer == "Success" || answer == "Failed") << answer;
    }
  }
  ExpectOtherInkArrives();
  EXPECT_EQ(road_.Stop(), 0);
}

TEST_F(Underfoot, AStoredFileThatIsSomethingElseForAWhileIsDeliveredWhenItIsBack) {
  const fs::path kept = road_.root().path() / "kept";
  const fs::path elsewhere = road_.root().path() / "elsewhere";
  WriteFile(elsewhere, "no ink");
  ASSERT_EQ(road_.Import(1000), "Success");
  ASSERT_TRUE(fs::exists(StrokeFile()));
  for (const fs::path& place : {StrokeFile(), Page()}) {
    const std::function<void()> replacements[] = {
        [] {},
        [&] { fs::create_directory(place); },
        [&] { ::mkfifo(place.c_str(), 0600); },
        [&] { fs::create_symlink("nowhere", place); },
        [&] { fs::create_symlink(place, place); },
    };
    for (const auto& replace : replacements) {
      fs::rename(place, kept);
      replace();
      ExpectOtherInkArrives();
      fs::remove_all(place);
      fs::create_directories(place.parent_path());
      fs::rename(kept, place);
    }
  }
  EXPECT_EQ(road_.Import(3000), "Success");
  std::set<std::string> inks = InksOf(1000);
  inks.merge(InksOf(3000));
  road_.Receive(inks, kPatience, Road::Until::kReceived);
  EXPECT_TRUE(road_.HasReceived(inks)) << road_.log();
  EXPECT_EQ(road_.Stop(), 0);
  EXPECT_EQ(ReadFile(elsewhere), "no ink");
}

TEST_F(Underfoot, AStoreThatIsTornDownAllTheTimeEndsNothing) {
  {
    const Meddler meddler([&](int round) {
      boost::system::error_code ignored;
      const fs::path file = Page() / "1000_1000.stf2";
      switch (round % 7) {
        case 0:
          fs::remove(file, ignored);
          break;
        case 1:
          fs::create_symlink("/etc/hostname", file, ignored);
          break;
        case 2:
          fs::remove_all(Page(), ignored);
          break;
        case 3:
          ::mkfifo(Page().c_str(), 0600);
          break;
        case 4:
          fs::remove(pen() / "RoutingInfo.txt", ignored);
          break;
        case 5:
          fs::rename(pen(), pen().string() + "-moved", ignored);
          break;
        default:
          fs::remove_all(road_.root().storage(), ignored);
      }
    });
    for (int i = 0; i < 60; ++i) {
      const std::string answer = road_.Import(1000);
      EXPECT_TRUE(answer == "Success" || answer == "Failed") << answer;
      if (i % 10 == 0) road_.Receive({}, std::chrono::seconds(1));
    }
  }
  // The passes of the last imports may still be making what is removed here.
  EXPECT_TRUE(Eventually([&] {
    boost::system::error_code error;
    fs::remove_all(road_.root().storage(), error);
    return !error && HoldsNothing(road_.root().storage());
  }));
  ExpectOtherInkArrives();
  EXPECT_EQ(road_.Stop(), 0) << road_.log();
}

TEST_F(Underfoot, RoutingInfoThatIsDamagedAnywhereCostsNoInk) {
  const fs::path file = pen() / "RoutingInfo.txt";
  ASSERT_EQ(road_.Import(1000), "Success");
  ASSERT_TRUE(Eventually([&] { return ReadFile(file).find("1.2.3.5") != std::string::npos; }));
  ASSERT_EQ(road_.Stop(), 0);
  const std::string archive = ReadFile(file);
  // Every byte in turn would take minutes here; the storage's own tests and the fuzzing go there.
  for (std::size_t at = 0; at < archive.size(); at += 13) {
    std::string damaged = archive;
    damaged[at] = '~';
    WriteFile(file, damaged);
    ASSERT_TRUE(road_.Start()) << at;
    EXPECT_TRUE(road_.IsServing()) << at;
    EXPECT_EQ(road_.Stop(), 0) << at;
    EXPECT_TRUE(fs::exists(StrokeFile())) << at;
  }
  fs::remove(file);
  ASSERT_TRUE(road_.Start());
  road_.Receive(InksOf(1000));
  EXPECT_TRUE(road_.IsDone(InksOf(1000)));
  EXPECT_EQ(road_.Stop(), 0);
}

TEST_F(Underfoot, RoutingInfoThatIsReplacedWhileItIsUsedCostsNoInk) {
  ASSERT_EQ(road_.Import(1000), "Success");
  {
    const Meddler meddler([&](int round) {
      boost::system::error_code ignored;
      const fs::path file = pen() / "RoutingInfo.txt";
      fs::remove_all(file, ignored);
      switch (round % 4) {
        case 0:
          fs::create_directory(file, ignored);
          break;
        case 1:
          ::mkfifo(file.c_str(), 0600);
          break;
        case 2:
          fs::create_symlink("/dev/full", file, ignored);
          break;
        default:
          Overwrite(file.string(), "22 serialization::archive 18 0 0 9");
      }
    });
    for (int i = 0; i < 30; ++i) {
      EXPECT_EQ(road_.Import(2000 + static_cast<std::uint64_t>(i) * 100), "Success");
    }
  }
  std::set<std::string> inks = InksOf(1000);
  for (int i = 0; i < 30; ++i) inks.merge(InksOf(2000 + static_cast<std::uint64_t>(i) * 100));
  fs::remove_all(pen() / "RoutingInfo.txt");
  EXPECT_EQ(road_.Import(9000), "Success");
  road_.Receive(inks, kPatience, Road::Until::kReceived);
  EXPECT_TRUE(road_.HasReceived(inks)) << road_.log();
  EXPECT_EQ(road_.Stop(), 0);
}

TEST_F(Underfoot, ASubscriptionThatIsRewrittenWhileItIsReadTouchesNoOther) {
  const std::string other = (road_.root().subscriptions() / "Other").string();
  std::set<std::string> inks;
  {
    const Meddler meddler([&](int round) {
      switch (round % 4) {
        case 0:
          Overwrite(other, R"({"Path":"/x","Title":"","PageAddresses":["1.2.*.*"]})");
          break;
        case 1:
          Overwrite(other, R"({"Path":"/x","Title":"","PageAddr)");
          break;
        case 2:
          Overwrite(other, std::string(100000, '['));
          break;
        default:
          ::unlink(other.c_str());
      }
    });
    for (std::uint64_t time_ms = 1000; time_ms < 4000; time_ms += 100) {
      EXPECT_EQ(road_.Import(time_ms), "Success");
      inks.merge(InksOf(time_ms));
    }
  }
  ::unlink(other.c_str());
  EXPECT_EQ(road_.Import(9000), "Success");
  inks.merge(InksOf(9000));
  road_.Receive(inks);
  EXPECT_TRUE(road_.IsDone(inks)) << road_.log();
  for (const std::string& ink : inks) EXPECT_EQ(road_.received().count(ink), 1u) << ink;
  EXPECT_EQ(road_.Stop(), 0);
}
