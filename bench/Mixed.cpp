// mixed: how long a confirmation waits for the next package while another client brings ink.

#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <stdexcept>

#include "BenchRoot.h"
#include "Clients.h"
#include "Floors.h"
#include "Peer.h"
#include "Workloads.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;
constexpr double kPatienceSeconds = 60;

void SleepUntil(double time) {
  const double seconds = std::floor(time);
  const timespec until = {static_cast<time_t>(seconds), static_cast<long>((time - seconds) * 1e9)};
  ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
}

// Brings one message after the other at `rate` a second while the object lives, from a process of
// its own. One that takes too long delays the next.
class Inflow {
 public:
  Inflow(const MakePutter& make, double rate)
      : shared_(1), start_(Now()), child_([this, make, rate] { Run(*make(), rate); }) {
    while (shared_.count() == 0) {
      if (Now() - start_ > kPatienceSeconds) throw std::runtime_error("no message was accepted");
      ::usleep(1000);
    }
  }
  ~Inflow() { shared_.data()[0] = 1; }

  // Messages a second that were accepted until now.
  double Rate() const { return static_cast<double>(shared_.count()) / (Now() - start_); }

 private:
  void Run(Putter& putter, double rate) {
    for (volatile double* const is_over = shared_.data(); *is_over == 0; ++shared_.count()) {
      SleepUntil(start_ + static_cast<double>(shared_.count()) / rate);
      putter.Put();
    }
  }

  const SharedTimes shared_;
  const double start_;
  Child child_;
};

// From each confirmation to the next package. The taker holds each package for a while, so that the
// backlog lasts while ink is brought at the rate.
void Take(Taker& taker, const Sizes& sizes, double* waits) {
  taker.Next();
  for (std::size_t i = 0; i < sizes.packages; ++i) {
    ::usleep(static_cast<useconds_t>(sizes.hold_seconds * 1e6));
    waits[i] = TimeOf([&] { taker.Next(); });
  }
}

// Returns the rate at which messages came in.
double Measure(const MakeTaker& take, const MakePutter& put, const Sizes& sizes, Samples& samples) {
  const SharedTimes waits(sizes.packages);
  const Inflow inflow(put, sizes.rate);
  Child([&] { Take(*take(), sizes, waits.data()); }).Wait();
  samples.seconds.insert(samples.seconds.end(), waits.data(), waits.data() + sizes.packages);
  return inflow.Rate();
}

// Imports into the pages of the backlog. Each repetition brings other ink.
MakePutter PutInk(const BenchRoot& root, const Sizes& sizes, std::size_t repetition, int fd = -1) {
  return [&root, &sizes, repetition, fd] {
    constexpr std::size_t kMostImports = 1000000;  // of a repetition
    return std::make_unique<InkPutter>(fd < 0 ? LineSocket::ConnectToService() : fd,
                                       root.path() / "incoming.stf2", sizes.stroke_bytes,
                                       sizes.deliver_pages, repetition * kMostImports);
  };
}

// Two processes that stand for the service: one copies what is imported, one what is offered.
void MeasureFloor(const BenchRoot& root, const Sizes& sizes, const std::vector<fs::path>& strokes,
                  std::size_t repetition, Samples& samples) {
  const fs::path directory = root.path() / ("floor" + std::to_string(repetition));
  fs::create_directory(directory);
  const auto imports = LineSocket::Pair();
  const auto deliveries = LineSocket::Pair();
  Child importer([&] {
    ::close(imports.second);
    LineSocket socket(imports.first);
    ServeImports(socket, directory / "");
  });
  Child server([&] {
    ::close(imports.second);
    LineSocket socket(deliveries.first);
    ServeDeliveries(socket, root, strokes, sizes.packages);
  });
  Measure([&] { return std::make_unique<InkTaker>(deliveries.second); },
          PutInk(root, sizes, repetition, imports.second), sizes, samples);
  for (const int end : {imports.first, imports.second, deliveries.first, deliveries.second}) {
    ::close(end);
  }
}

void AddFigures(const Sizes& sizes, std::size_t waiting, double rate, const Case& result,
                Report& report) {
  const std::string name = "mixed: " + std::to_string(waiting) + " waiting, ";
  report.AddAtMost(name + "a package, x the floor", result.service.Median() / result.floor.Median(),
                   2.5);
  report.AddAtMost(name + "a package, p99 in ms", result.service.Quantile(0.99) * 1e3, 5);
  report.AddAtLeast(name + "imports a second, of " + std::to_string(std::lround(sizes.rate)), rate,
                    0.95 * sizes.rate);
}

void RunWaiting(const Sizes& sizes, std::size_t waiting, Report& report) {
  const BenchRoot root(sizes.directory);
  root.Subscribe(1);
  const auto strokes = root.FillStore(kPen, waiting, sizes.deliver_pages, sizes.stroke_bytes);
  root.WriteArchive(kPen, strokes, 1);
  Case result = {"mixed", "a package, " + std::to_string(waiting) + " waiting", {}, {}, {}};
  result.sizes = {{"waiting", waiting}, {"imports_per_second", sizes.rate}};
  result.growth = {"A package, with 100 imports a second", "strokes that wait",
                   static_cast<double>(waiting)};
  const Peers peers = StartPeers(sizes, root.path(), waiting, sizes.stroke_bytes);
  const MeasuredService service(root);
  service.WaitUntilQuiet();
  double rate = sizes.rate;
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    MeasureFloor(root, sizes, strokes, i, result.floor);
    rate = std::min(rate, Measure([] { return TakeFromService(0); }, PutInk(root, sizes, i), sizes,
                                  result.service));
    for (const auto& peer : peers) {
      Measure([&] { return peer->Take(); }, [&] { return peer->Put(sizes.stroke_bytes); }, sizes,
              result.OfPeer(peer->name()));
    }
  }
  report.Add(result);
  AddFigures(sizes, waiting, rate, result, report);
}

}  // namespace

void RunMixed(const Sizes& sizes, Report& report) {
  for (const std::size_t waiting : sizes.waiting) RunWaiting(sizes, waiting, report);
}

}  // namespace bench
