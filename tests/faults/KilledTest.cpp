// A service with work of every kind that is killed at any moment, again and again: what was
// answered is not lost, what was carried out is not done again, and nothing stays behind.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <TalvoQuillpost/Protocol.h>

#include <boost/filesystem.hpp>
#include <iostream>

#include "faults/Crowd.h"
#include "faults/KilledService.h"
#include "support/LogCapture.h"

namespace fs = boost::filesystem;

namespace {

// The heap keeps some of what was freed; that of a service under load levels off below this.
[[maybe_unused]] constexpr long kMemoryOfWornHeapKib = 16 * 1024;

std::uint64_t NumberFrom(const char* variable, std::uint64_t otherwise) {
  const char* const value = ::getenv(variable);
  return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

std::set<std::string> NamesIn(const fs::path& directory) {
  std::set<std::string> names;
  if (!fs::exists(directory)) return names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

class Killed : public testing::Test {
 protected:
  std::string LogFile(std::size_t life) const {
    return (root_.path() / ("log-" + std::to_string(life))).string();
  }

  // Starts the service and kills it, now and then while it starts, mostly at its work.
  void LiveAndBeKilled(Crowd::Random& random) {
    const std::set<std::string> leftovers = NamesIn(root_.scratch());
    KilledService service(QUILLPOSTD, LogFile(lives_.size()));
    const bool is_young = random() % 8 == 0;
    service.WaitForLines(random() % (is_young ? 3 : 150));
    const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 2000);
    Eventually([&] { return std::chrono::steady_clock::now() >= end; });
    service.Kill();
    End(service);
    if (!service.HasLogged("Quillpost started.")) return;
    for (const std::string& file : leftovers) {
      EXPECT_EQ(NamesIn(root_.scratch()).count(file), 0u) << "left by the life before: " << file;
    }
  }

  void End(const KilledService& service) {
    lives_.push_back({service.pid(), service.log()});
    fs::remove(LogFile(lives_.size() - 1));
  }

  TestRoot root_;
  Ledger ledger_;
  std::vector<Ledger::Life> lives_;
};

}  // namespace

// QUILLPOST_KILLS is the number of kills, QUILLPOST_SEED what chance goes by; it is printed.
TEST_F(Killed, LosesNothingAndOffersNothingTwice) {
  const std::uint64_t kills = NumberFrom("QUILLPOST_KILLS", DEFAULT_KILLS);
  const std::uint64_t seed = NumberFrom("QUILLPOST_SEED", std::random_device()());
  std::cout << "QUILLPOST_SEED=" << seed << " QUILLPOST_KILLS=" << kills << std::endl;
  Crowd::Random random(seed);
  Crowd crowd(root_, ledger_, seed, Crowd::Numbers());
  for (std::uint64_t i = 0; i < kills; ++i) {
    crowd.ChangeSubscription(random() % 2 == 0);
    LiveAndBeKilled(random);
  }
  crowd.CalmDown();
  crowd.ChangeSubscription(true);
  {
    // The first life takes what is pending; clean-up and launching also belong to a start.
    KilledService service(QUILLPOSTD, LogFile(lives_.size()));
    ASSERT_TRUE(service.WaitUntilServing());
    EXPECT_TRUE(Eventually([&] { return NamesIn(root_.storage()).empty(); }));
    EXPECT_EQ(service.Stop(), 0);
    End(service);
  }
  crowd.Join();
  EXPECT_EQ(NamesIn(root_.storage()), std::set<std::string>());
  EXPECT_EQ(NamesIn(root_.scratch()), std::set<std::string>());
  EXPECT_FALSE(fs::exists(IPC::Protocol::Quillpost::GetEndpoint()));

  const Ledger::Verdict verdict =
      ledger_.Judge(lives_, Crowd::SteadyApplications(), &Crowd::Claims);
  std::cout << kills << " kills: " << verdict.imports << " imports, " << verdict.unanswered
            << " unanswered, " << verdict.packages << " packages, " << verdict.confirmations
            << " confirmations carried out, " << verdict.torn_packages << " torn packages, "
            << verdict.torn_tables << " torn tables, " << verdict.repeats << " repeats by them"
            << std::endl;
  EXPECT_EQ(verdict.broken, std::vector<std::string>());
  EXPECT_EQ(verdict.torn_tables, 0);
  EXPECT_EQ(verdict.repeats, 0) << "a table was torn that held marks";
  EXPECT_EQ(verdict.refused, 0);
  EXPECT_GT(verdict.imports, 0);
  EXPECT_GT(verdict.confirmations, 0);
  EXPECT_EQ(verdict.torn_packages, 0) << "ink was offered that nobody sent";
}

// Programs that import, applications that come and go, strangers; when all have left, the service
// holds what it held before the first of them came.
TEST_F(Killed, FreesAllThatItsClientsTook) {
  constexpr std::size_t kLinesOfLoad = 20000;
  const std::uint64_t seed = NumberFrom("QUILLPOST_SEED", std::random_device()());
  std::cout << "QUILLPOST_SEED=" << seed << std::endl;
  KilledService service(QUILLPOSTD, LogFile(0));
  ASSERT_TRUE(service.WaitUntilServing());
  const Holding fresh = service.holding();
  Crowd crowd(root_, ledger_, seed, Crowd::Numbers{2, 2, 60});
  EXPECT_TRUE(service.WaitForLines(kLinesOfLoad));
  crowd.Join();
  const auto has_let_go = [&] {
    const Holding now = service.holding();
    return now.descriptors == fresh.descriptors && now.threads == fresh.threads;
  };
  EXPECT_TRUE(Eventually(has_let_go))
      << service.holding().descriptors << " descriptors and " << service.holding().threads
      << " threads, at the start " << fresh.descriptors << " and " << fresh.threads;
#ifndef SANITIZED  // sanitizers keep what is freed, and shadows of it
  EXPECT_LE(service.holding().memory_kib, fresh.memory_kib + kMemoryOfWornHeapKib);
#endif
  EXPECT_EQ(service.Stop(), 0);
}
