// A long run of a service under a steady mixed load: imports of every kind, applications that
// accept, ignore, refuse and vanish, strangers on the socket, restarts and kills. Ends with a table
// of what happened, and with status 1 if anything was lost, came twice, or stayed behind.
//
//   soak [MINUTES [SEED]]

#include <TalvoQuillpost/Protocol.h>
#include <stdlib.h>

#include <boost/filesystem.hpp>
#include <cstdio>
#include <memory>
#include <thread>

#include "faults/Crowd.h"
#include "faults/KilledService.h"
#include "support/LogCapture.h"

namespace fs = boost::filesystem;

namespace {

typedef std::chrono::steady_clock Clock;

constexpr std::chrono::seconds kShortestLife(3);
constexpr int kLongestLifeSeconds = 20;
constexpr std::chrono::seconds kLongPatience(180);

class Soak {
 public:
  Soak(std::chrono::minutes duration, std::uint64_t seed)
      : end_(Clock::now() + duration), seed_(seed), random_(seed) {}

  // The status to exit with.
  int Run() {
    Start();
    fresh_ = service_->holding();
    EndLife(service_->Stop());
    crowd_ = std::make_unique<Crowd>(root_, ledger_, seed_, Crowd::Numbers{2, 2, 60});
    while (Clock::now() < end_) Live();
    Drain();
    if (!HoldsNothing(root_.storage())) Complain("the store is not empty");
    if (!HoldsNothing(root_.scratch())) Complain("package files are left");
    if (fs::exists(IPC::Protocol::Quillpost::GetEndpoint())) Complain("the endpoint is left");
    return Report();
  }

 private:
  void Complain(const std::string& what) { complaints_.push_back(what); }

  void Start() {
    service_ = std::make_unique<KilledService>(QUILLPOSTD, (root_.path() / "log").string());
    if (!service_->WaitUntilServing()) Complain("a start failed:\n" + service_->log());
  }

  void EndLife(int status) {
    if (status != 0) Complain("a service ended with status " + std::to_string(status));
    lives_.push_back({service_->pid(), service_->log()});
    if (lives_.back().log.find("Sanitizer") != std::string::npos) Complain(lives_.back().log);
    service_.reset();
  }

  // One life of the service, ended by SIGTERM or SIGKILL.
  void Live() {
    crowd_->ChangeSubscription(random_() % 2 == 0);
    Start();
    const auto length = kShortestLife + std::chrono::seconds(random_() % kLongestLifeSeconds);
    std::this_thread::sleep_until(std::min(Clock::now() + length, end_));
    const bool is_kill = random_() % 2 == 0;
    if (is_kill) service_->Kill();
    EndLife(is_kill ? 0 : service_->Stop());
  }

  // The last life of the load: everything that is pending is taken, everybody goes.
  void Drain() {
    Start();
    crowd_->ChangeSubscription(true);
    crowd_->CalmDown();
    if (!Eventually([&] { return HoldsNothing(root_.storage()); }, kLongPatience))
      Complain("ink is never taken");
    crowd_->Join();
    const auto has_let_go = [&] {
      const Holding now = service_->holding();
      return now.threads <= fresh_.threads && now.descriptors <= fresh_.descriptors;
    };
    if (!Eventually(has_let_go, kLongPatience))
      Complain("threads or descriptors of clients are left");
    last_ = service_->holding();
    EndLife(service_->Stop());
  }

  int Report() {
    const Ledger::Verdict verdict =
        ledger_.Judge(lives_, Crowd::SteadyApplications(), &Crowd::Claims);
    for (const std::string& broken : verdict.broken) Complain(broken);
    if (verdict.repeats > 0) Complain("a table was torn that held marks");
    if (verdict.torn_packages > 0) Complain("ink was offered that nobody sent");
    const double slowest_ms = static_cast<double>(crowd_->slowest_answer().count()) / 1000;
    std::printf("imports            %10ld   refused %ld, unanswered %ld\n", verdict.imports,
                verdict.refused, verdict.unanswered);
    std::printf("packages           %10ld\n", verdict.packages);
    std::printf("confirmations      %10ld\n", verdict.confirmations);
    std::printf("restarts           %10zu\n", lives_.size() - 1);
    std::printf("slowest answer, ms %10.1f\n", slowest_ms);
    std::printf("                        fresh    at the end\n");
    std::printf("memory, KiB        %10ld    %10ld\n", fresh_.memory_kib, last_.memory_kib);
    std::printf("descriptors        %10ld    %10ld\n", fresh_.descriptors, last_.descriptors);
    std::printf("threads            %10ld    %10ld\n", fresh_.threads, last_.threads);
    std::printf("lost or repeated   %10zu\n", verdict.broken.size());
    for (const std::string& complaint : complaints_) std::printf("%s\n", complaint.c_str());
    return complaints_.empty() ? 0 : 1;
  }

  const Clock::time_point end_;
  const std::uint64_t seed_;
  Crowd::Random random_;
  TestRoot root_;
  Ledger ledger_;
  std::unique_ptr<Crowd> crowd_;
  std::unique_ptr<KilledService> service_;
  std::vector<Ledger::Life> lives_;
  std::vector<std::string> complaints_;
  Holding fresh_;
  Holding last_;
};

}  // namespace

int main(int argc, char** argv) {
  const long minutes = argc > 1 ? std::atol(argv[1]) : 10;
  const std::uint64_t seed =
      argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
  if (minutes <= 0 || argc > 3) {
    std::fprintf(stderr, "usage: soak [MINUTES [SEED]]\n");
    return 2;
  }
  std::printf("%ld minutes, seed %llu\n", minutes, static_cast<unsigned long long>(seed));
  std::fflush(stdout);
  return Soak(std::chrono::minutes(minutes), seed).Run();
}
