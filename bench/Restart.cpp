// restart: a full store from the start of the process until it is ready to serve; and idle: what
// the service holds and does when there is nothing to do.

#include <unistd.h>

#include <fstream>
#include <iterator>

#include "BenchRoot.h"
#include "Peer.h"
#include "Workloads.h"
#include "storage/RoutingInfoFormat.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPens = 4;

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

fs::path RoutingInfo(const BenchRoot& root, std::uint64_t pen) {
  return root.storage() / PenSerial(pen) / "RoutingInfo.txt";
}

// Strokes on all pens together, with their archives, as a service leaves them that was stopped.
// Nobody reads them here: they are small.
void FillStore(const BenchRoot& root, const Sizes& sizes, std::size_t strokes) {
  constexpr std::size_t kBytes = 100;
  for (std::uint64_t pen = 1; pen <= kPens; ++pen) {
    const std::size_t pages = std::max<std::size_t>(sizes.store_pages / kPens, 1);
    root.WriteArchive(pen, root.FillStore(pen, strokes / kPens, pages, kBytes), 1);
  }
}

void LoadArchives(const BenchRoot& root) {
  std::map<std::string, TalvoQuillpost::Storage::StrokeMap> table;
  for (std::uint64_t pen = 1; pen <= kPens; ++pen) {
    table[PenSerial(pen)] =
        TalvoQuillpost::Storage::ReadRoutingInfo(ReadFile(RoutingInfo(root, pen)));
  }
  // What it loaded is given back by the end of the process.
  new auto(std::move(table));
}

// The start of each server with as many messages waiting as the service has strokes; and what each
// message takes of its memory.
void MeasurePeers(const Sizes& sizes, const BenchRoot& root, std::size_t strokes, Case& result,
                  Report& report) {
  const auto resident = [](const Peer& peer) {
    return static_cast<double>(peer.server().ResidentBytes());
  };
  for (const auto& peer : StartPeers(sizes, root.path(), 0, sizes.stroke_bytes)) {
    const double empty_bytes = resident(*peer);
    peer->Put(sizes.stroke_bytes)->PutMany(strokes);
    report.AddFigure("restart: " + std::to_string(strokes) + " messages, " + peer->name() +
                         ", resident bytes a message",
                     (resident(*peer) - empty_bytes) / static_cast<double>(strokes));
    for (std::size_t i = 0; i < sizes.repetitions; ++i) {
      peer->Stop();
      result.OfPeer(peer->name()).seconds.push_back(TimeOf([&] { peer->Start(); }));
    }
    peer->Take()->Next();  // fails if the messages are gone
  }
}

}  // namespace

void RunRestart(const Sizes& sizes, Report& report) {
  for (const std::size_t strokes : sizes.stores) {
    const BenchRoot root(sizes.directory);
    root.Subscribe(1);
    FillStore(root, sizes, strokes);
    Case result = {"restart", std::to_string(strokes) + " strokes", {}, {}, {}};
    result.sizes = {{"strokes", strokes}, {"pens", kPens}, {"pages", sizes.store_pages}};
    result.growth = {"A start, until it serves", "strokes that wait", static_cast<double>(strokes)};
    for (std::size_t i = 0; i < sizes.repetitions; ++i) {
      result.floor.seconds.push_back(TimeOf([&] { Child([&] { LoadArchives(root); }).Wait(); }));
      const double start = Now();
      const MeasuredService service(root);
      result.service.seconds.push_back(Now() - start);
    }
    MeasurePeers(sizes, root, strokes, result, report);
    const double ratio = report.Add(result);
    const std::string name = "restart: " + std::to_string(strokes) + " strokes, ";
    if (strokes >= 100000) {
      report.AddAtMost(name + "x their archives", ratio, 1.3);
    } else {
      report.AddFigure(name + "x their archives", ratio);
    }
    if (strokes == 50000) report.AddAtMost(name + "ms", result.service.Median() * 1e3, 161);
  }
}

void RunIdle(const Sizes& sizes, Report& report) {
  double empty_bytes = 0;
  std::vector<std::size_t> stores = {0};
  stores.insert(stores.end(), sizes.stores.begin(), sizes.stores.end());
  for (const std::size_t strokes : stores) {
    const BenchRoot root(sizes.directory);
    root.Subscribe(1);
    if (strokes > 0) FillStore(root, sizes, strokes);
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    const std::uint64_t wake_ups = service.WakeUps();
    const double cpu = service.CpuSeconds();
    ::usleep(static_cast<useconds_t>(sizes.idle_seconds * 1e6));
    const std::string name = "idle: " + std::to_string(strokes) + " strokes, ";
    report.AddAtMost(name + "wake-ups", static_cast<double>(service.WakeUps() - wake_ups), 0);
    report.AddAtMost(name + "processor time in ms", (service.CpuSeconds() - cpu) * 1e3, 0);
    const auto bytes = static_cast<double>(service.ResidentBytes());
    if (strokes == 0) {
      empty_bytes = bytes;
      report.AddAtMost(name + "resident MiB", bytes / (1 << 20), 20);
    } else {
      report.AddAtMost(name + "resident bytes a stroke beyond an empty store",
                       (bytes - empty_bytes) / static_cast<double>(strokes),
                       strokes < 50000 ? 800 : 470);
    }
  }
}

}  // namespace bench
