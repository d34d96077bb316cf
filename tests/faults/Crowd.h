// The clients of a service under strain, all at the same time, each on a thread of its own:
// programs that import ink of every kind, applications that accept, ignore, refuse and vanish,
// strangers that send what is not a message. They outlive the service: a client that loses it comes
// back when there is one. What they see is in the ledger.

#pragma once

#include <json/value.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "faults/Ledger.h"
#include "support/TestRoot.h"

class WireClient;

class Crowd {
 public:
  typedef std::mt19937_64 Random;

  struct Numbers {
    int importers = 2;
    int strangers = 1;
    long max_backlog = 60;  // importers wait while the archive has so much to come
  };

  // Subscribes the applications: Archive, which claims all ink and never ignores any; Notes, which
  // claims some of it; Fickle, whose subscription comes and goes with ChangeSubscription.
  Crowd(TestRoot& root, Ledger& ledger, std::uint64_t seed, const Numbers& numbers);
  ~Crowd();

  // Whether an application whose subscription never changes is to have the ink.
  static bool Claims(const std::string& application, const std::string& ink);
  static std::set<std::string> SteadyApplications() { return {"Archive", "Notes"}; }

  void ChangeSubscription(bool is_subscribed);

  // No more imports and no more strangers; from now on the applications accept whatever comes.
  void CalmDown();

  // Everybody ends.
  void Join();

  std::chrono::microseconds slowest_answer() const;

 private:
  typedef void (Crowd::*Visit)(const std::string& name, Random& random);

  void Add(const std::string& name, Visit visit, bool is_calm, std::uint64_t seed);
  void Pause();
  void Import(const std::string& name, Random& random);
  void Receive(const std::string& name, Random& random);
  bool Take(WireClient& client, Ledger::Session& session, const std::string& name, Random& random);
  void Disturb(const std::string& name, Random& random);
  std::string Ask(WireClient& client, const std::string& method, const Json::Value& params);

  TestRoot& root_;
  Ledger& ledger_;
  const Numbers numbers_;
  std::atomic<bool> is_calm_{false};
  std::atomic<bool> has_ended_{false};
  std::atomic<std::uint64_t> last_time_ms_{1700000000000};
  std::atomic<std::uint64_t> slowest_us_{0};
  std::mutex mutex_;  // of changed_
  std::condition_variable changed_;
  std::vector<std::thread> threads_;
};
