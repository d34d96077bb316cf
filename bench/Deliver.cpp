// deliver: a backlog of strokes on its way to confirming clients, each in a process of its own.

#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>

#include "BenchRoot.h"
#include "Clients.h"
#include "Floors.h"
#include "Peer.h"
#include "Workloads.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;

// Takes `packages` + 1 packages and confirms all but the last, noting when each came.
void TakeAll(Taker& taker, std::size_t packages, double* times) {
  for (std::size_t taken = 0; taken <= packages; ++taken) {
    taker.Next();
    times[taken] = Now();
  }
}

// `ready` counts the clients that are connected; all of `clients` begin together.
void RunClient(std::size_t application, std::size_t packages, double* times,
               std::atomic<std::size_t>& ready, std::size_t clients) {
  InkTaker taker;
  for (++ready; ready < clients;) ::sched_yield();
  taker.Enable(application);
  TakeAll(taker, packages, times);
}

void AddIntervals(const double* times, std::size_t packages, Samples& samples) {
  for (std::size_t i = 0; i < packages; ++i) samples.seconds.push_back(times[i + 1] - times[i]);
}

void Measure(const MakeTaker& take, std::size_t packages, Samples& samples) {
  const SharedTimes times(packages + 1);
  Child([&] { TakeAll(*take(), packages, times.data()); }).Wait();
  AddIntervals(times.data(), packages, samples);
}

void MeasureFloor(const BenchRoot& root, const std::vector<fs::path>& strokes, std::size_t packages,
                  Samples& samples) {
  const auto ends = LineSocket::Pair();
  Child server([&] {
    ::close(ends.second);
    LineSocket socket(ends.first);
    ServeDeliveries(socket, root, strokes, packages);
  });
  ::close(ends.first);
  Measure([&] { return std::make_unique<InkTaker>(ends.second); }, packages, samples);
  ::close(ends.second);
  server.Wait();
}

// Packages per second of all clients together, while all are at work.
double MeasureThroughput(std::size_t clients, std::size_t packages) {
  const std::size_t taken = packages + 1;
  const SharedTimes times(clients * taken);
  std::vector<std::unique_ptr<Child>> children;
  for (std::size_t i = 0; i < clients; ++i) {
    children.push_back(std::make_unique<Child>(
        [&, i] { RunClient(i, packages, times.data() + i * taken, times.count(), clients); }));
  }
  double from = 0;
  double to = 1e18;
  for (std::size_t i = 0; i < clients; ++i) {
    children[i]->Wait();
    from = std::max(from, times.data()[i * taken]);
    to = std::min(to, times.data()[(i + 1) * taken - 1]);
  }
  const auto in_window = [&](double time) { return from <= time && time < to; };
  const auto count = std::count_if(times.data(), times.data() + clients * taken, in_window);
  return to > from ? static_cast<double>(count) / (to - from) : 0;
}

// Each turn is one floor and one run of the service over the next part of the backlog.
double RunBacklog(const Sizes& sizes, std::size_t backlog, Report& report) {
  const BenchRoot root(sizes.directory);
  root.Subscribe(1);
  const auto strokes = root.FillStore(kPen, backlog, sizes.deliver_pages, sizes.stroke_bytes);
  const std::size_t packages = std::min(sizes.packages, backlog / (sizes.repetitions + 1));
  Case result = {"deliver", "backlog " + std::to_string(backlog), {}, {}, {}};
  result.sizes = {{"backlog", backlog}, {"stroke_bytes", sizes.stroke_bytes}};
  result.growth = {"A package: from confirmation to next", "strokes that wait",
                   static_cast<double>(backlog)};
  const Peers peers = StartPeers(sizes, root.path(), backlog, sizes.stroke_bytes);
  const MeasuredService service(root);
  service.WaitUntilQuiet();
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    MeasureFloor(root, strokes, packages, result.floor);
    Measure([] { return TakeFromService(0); }, packages, result.service);
    for (const auto& peer : peers) {
      Measure([&] { return peer->Take(); }, packages, result.OfPeer(peer->name()));
    }
  }
  const std::string name = "deliver: a package at a backlog of " + std::to_string(backlog) + ", x ";
  report.AddAtMost(name + "its floor", report.Add(result), 1.7);
  for (const auto& [peer, samples] : result.peers) {
    const double ratio = result.service.Median() / samples.Median();
    if (peer == kJetStream) {
      report.AddAtMost(name + peer, ratio, 1.0);
    } else {
      report.AddFigure(name + peer, ratio);
    }
  }
  return result.service.Median();
}

// The rates of one client and of all, taken in turns.
void RunManyClients(const Sizes& sizes, Report& report) {
  const BenchRoot root(sizes.directory);
  root.Subscribe(sizes.clients);
  const std::size_t backlog = sizes.backlogs.front();
  root.FillStore(kPen, backlog, sizes.deliver_pages, sizes.stroke_bytes);
  const std::size_t packages = std::min(sizes.packages, backlog / (2 * sizes.repetitions + 1));
  const MeasuredService service(root);
  service.WaitUntilQuiet();
  Samples one;
  Samples all;
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    one.seconds.push_back(1 / MeasureThroughput(1, packages));
    all.seconds.push_back(1 / MeasureThroughput(sizes.clients, packages));
  }
  const std::string clients = std::to_string(sizes.clients);
  report.Add({"deliver", "1 client of " + clients, {{"clients", 1}}, {}, one});
  report.Add({"deliver", clients + " clients together", {{"clients", sizes.clients}}, {}, all});
  report.AddAtLeast("deliver: packages per second of " + clients + " clients, x those of one",
                    one.Median() / all.Median(), 1.3);
}

}  // namespace

void RunDeliver(const Sizes& sizes, Report& report) {
  double first = 0;
  for (const std::size_t backlog : sizes.backlogs) {
    const double cost = RunBacklog(sizes, backlog, report);
    if (first == 0) {
      first = cost;
    } else {
      report.AddAtMost("deliver: a package at a backlog of " + std::to_string(backlog) +
                           ", x its cost at " + std::to_string(sizes.backlogs.front()),
                       cost / first, backlog > 10000 ? 1.5 : 1.2);
    }
  }
  RunManyClients(sizes, report);
}

}  // namespace bench
