// Fifty programs do wrong things at random, for half a minute, while one that behaves brings ink,
// receives it, and asks. The service must not end, nor leave the good one without an answer, nor
// lose a package, nor grow. How long the longest answer took is printed: on a machine that does
// nothing else it is to be less than a second. The seed is printed too; QUILLPOST_HOSTILE_SEED
// repeats it as far as fifty programs on a machine can be repeated.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <thread>

#include "HostilePeer.h"
#include "RealService.h"
#include "support/LogCapture.h"
#include "support/WireClient.h"

namespace fs = boost::filesystem;
typedef std::chrono::steady_clock Clock;

namespace {

constexpr int kHostilePeers = 50;
constexpr std::chrono::seconds kDuration(HOSTILE_SECONDS);

// A line of /proc/PID/status, in KiB.
long MemoryOf(pid_t process, const std::string& name) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  std::string word;
  long kib = -1;
  while (status >> word) {
    if (word == name + ":") status >> kib;
  }
  return kib;
}

unsigned Seed() {
  const char* const given = std::getenv("QUILLPOST_HOSTILE_SEED");
  const unsigned seed = given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10))
                              : static_cast<unsigned>(::getpid());
  std::cout << "QUILLPOST_HOSTILE_SEED=" << seed << std::endl;
  return seed;
}

class HostileClients : public testing::Test {
 protected:
  HostileClients() {
    root_.Subscribe("Notes", "1.2.3.*");
    root_.Subscribe("Noise", "9.9.9.*");
    WriteFile(File("noise"), InkFile(7).AddStroke("9.9.9.9", 1000).bytes());
    // Into a file, so that nobody has to read the log while it grows.
    service_ = std::make_unique<Process>(
        std::vector<std::string>{QUILLPOSTD, "--log-level", "4", "--log-file", File("log")});
  }

  ~HostileClients() override { EndPeers(); }

  std::string File(const std::string& name) const { return (root_.path() / name).string(); }

  bool WaitForService() {
    return Eventually(
        [this] { return ReadFile(File("log")).find("started.") != std::string::npos; });
  }

  void StartPeers(unsigned seed) {
    for (unsigned i = 0; i < kHostilePeers; ++i) {
      peers_.emplace_back([this, seed = seed + i] {
        // The lowest of this machine's priorities: it is the service that is tested.
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 19);
        HostilePeer peer(RealService::Endpoint(), "Noise", File("noise"), seed);
        while (!over_) peer.Visit();
      });
    }
  }

  void EndPeers() {
    over_ = true;
    for (std::thread& peer : peers_) peer.join();
    peers_.clear();
  }

  // Asks, and notes how long that took.
  std::string Ask(WireClient& client, const std::string& name, const Json::Value& params) {
    const Clock::time_point start = Clock::now();
    const std::string status = client.Request(name, params);
    longest_answer_ = std::max(longest_answer_, Clock::now() - start);
    return status;
  }

  // Brings one page of ink, and takes the package that comes of it.
  void Exchange(WireClient& client, int number) {
    const std::string ink =
        InkFile().AddStroke("1.2.3.4", 1000 * static_cast<std::uint64_t>(number)).bytes();
    WriteFile(File("page"), ink);
    ASSERT_EQ("Success", Ask(client, "Hello", Json::objectValue));
    ASSERT_EQ("Success",
              client.Request("ImportSTF2File", Params({{"InkPackagePath", File("page")}})));
    const Json::Value package = client.WaitForNotification();
    EXPECT_EQ(StrokesOf(ink), StrokesOf(ReadFile(package["InkPackagePath"].asString())));
    ASSERT_EQ(
        "Success",
        Ask(client, "ConfirmInkPackageDelivery",
            Params({{"InkPackagePen", package["InkPackagePen"]}, {"InkPackageDelivered", true}})));
  }

  TestRoot root_;
  std::unique_ptr<Process> service_;
  std::vector<std::thread> peers_;
  std::atomic<bool> over_{false};
  Clock::duration longest_answer_{0};
};

TEST_F(HostileClients, OfFiftyProgramsCostsAGoodOneNeitherAnswerNorPackage) {
  const unsigned seed = Seed();
  ASSERT_TRUE(WaitForService());
  WireClient good(RealService::Endpoint());
  ASSERT_EQ("Success", good.Request("EnableNotifications", Params({{"ApplicationID", "Notes"}})));
  const long idle_kib = MemoryOf(service_->pid(), "VmRSS");

  StartPeers(seed);
  const Clock::time_point end = Clock::now() + kDuration;
  int exchanges = 0;
  while (Clock::now() < end && !HasFatalFailure()) Exchange(good, ++exchanges);
  EndPeers();

  const long growth_kib = MemoryOf(service_->pid(), "VmHWM") - idle_kib;
  const auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(longest_answer_);
  std::cout << exchanges << " packages; the longest answer took " << longest.count()
            << " ms; the service grew by up to " << growth_kib << " KiB" << std::endl;
#ifndef SANITIZED  // sanitizers keep what is freed, and shadows of it
  EXPECT_LE(growth_kib, 64 * 1024);
#endif

  const fs::path page = root_.storage() / kTestPenSerial / "1.2.3.4";
  EXPECT_TRUE(Eventually([&] { return !fs::exists(page); })) << "confirmed ink leaves the store";
  service_->Signal(SIGTERM);
  EXPECT_EQ(0, service_->Wait());
  EXPECT_FALSE(fs::exists(RealService::Endpoint()));
}

}  // namespace
