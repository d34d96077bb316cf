// sync: what imports cost beside a store that is there already. Many small files together, as a pen
// brings them that was away for a day; and a single one beside many strokes on its page.

#include <time.h>

#include <algorithm>
#include <memory>

#include "BenchRoot.h"
#include "Clients.h"
#include "Floors.h"
#include "Ink.h"
#include "Peer.h"
#include "Workloads.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;
constexpr std::size_t kStoreBytes = 100;  // of a stroke of the store: nobody reads it here

// Files that come together, and the store that they come into. All of its strokes were received, so
// that new ones are offered immediately, and none was wanted, so that they stay.
struct Store {
  std::size_t files;
  std::size_t pages;
  std::size_t strokes_of_page;
  std::size_t applications;
  double wanted_cpu_seconds;

  std::string name() const {
    return std::to_string(files) + " files into " + std::to_string(pages) + " pages x " +
           std::to_string(strokes_of_page) + ", applications: " + std::to_string(applications);
  }
};

void Fill(const BenchRoot& root, std::size_t strokes, std::size_t pages, std::size_t applications) {
  root.Subscribe(applications);
  root.WriteArchive(kPen, root.FillStore(kPen, strokes, pages, kStoreBytes), applications,
                    BenchRoot::Strokes::kReceived);
}

// Applications that are connected and keep the first package that comes.
std::vector<std::unique_ptr<Taker>> Connect(std::size_t first, std::size_t end) {
  std::vector<std::unique_ptr<Taker>> holders;
  for (; first < end; ++first) holders.push_back(TakeFromService(first));
  return holders;
}

// One application takes and confirms all that comes; the others hold their first package.
void RunStore(const Sizes& sizes, const Store& store, Report& report) {
  const BenchRoot root(sizes.directory);
  Fill(root, store.pages * store.strokes_of_page, store.pages, store.applications);
  const auto files =
      WriteInkFiles(root.path() / "ink", store.files, sizes.stroke_bytes, store.pages);
  const MeasuredService service(root);
  const auto holders = Connect(1, store.applications);
  const SharedTimes times(1);
  Child taker([&] {
    const auto application = TakeFromService(0);
    for (std::size_t i = 0; i < store.files; ++i) application->Next();
    times.data()[0] = Now();
  });
  service.WaitUntilQuiet();
  LineSocket socket(LineSocket::ConnectToService());
  const std::size_t passes = service.Passes();
  const double cpu = service.CpuSeconds();
  const double start = Now();
  ImportAll(socket, files);
  const double last_reply = Now();
  taker.Wait();
  service.WaitUntilQuiet();
  const double used = service.CpuSeconds() - cpu;
  Case result = {"sync", store.name(), {}, {}, {}};
  result.sizes = {{"files", store.files},
                  {"pages", store.pages},
                  {"strokes", store.pages * store.strokes_of_page},
                  {"applications", store.applications}};
  result.service.seconds = {used / static_cast<double>(store.files)};
  report.Add(result);
  const std::string name = "sync: " + store.name() + ": ";
  report.AddAtMost(name + "s of processor", used, store.wanted_cpu_seconds);
  report.AddFigure(name + "s to last reply", last_reply - start);
  report.AddAtMost(name + "s from it to last offer", times.data()[0] - last_reply, 1.0);
  report.AddFigure(name + "passes", static_cast<double>(service.Passes() - passes));
}

double OwnCpuSeconds() {
  timespec time;
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Processor time that the server uses for `job` and what follows from it.
double CpuOf(const Server& server, const std::function<void()>& job) {
  const double before = server.CpuSeconds();
  job();
  server.WaitUntilQuiet();
  return server.CpuSeconds() - before;
}

// A message beside as many that wait: too little for one alone to be measured.
void MeasurePeers(const Sizes& sizes, const BenchRoot& root, std::size_t strokes, Case& result) {
  constexpr std::size_t kMessages = 100;
  for (const auto& peer : StartPeers(sizes, root.path(), strokes, sizes.stroke_bytes)) {
    const auto putter = peer->Put(sizes.stroke_bytes);
    for (std::size_t i = 0; i < sizes.repetitions; ++i) {
      const double before = peer->server().CpuSeconds();
      for (std::size_t sent = 0; sent < kMessages; ++sent) putter->Put();
      result.OfPeer(peer->name())
          .seconds.push_back((peer->server().CpuSeconds() - before) / kMessages);
    }
  }
}

// Single imports with the processor time of all that they cause, beside one listing of the page;
// then a burst.
void RunPage(const Sizes& sizes, std::size_t strokes, Report& report) {
  const BenchRoot root(sizes.directory);
  Fill(root, strokes, 1, 1);
  const auto files = WriteInkFiles(root.path() / "ink", sizes.repetitions + sizes.sync_files,
                                   sizes.stroke_bytes, 1);
  const std::vector<fs::path> burst(files.begin() + static_cast<long>(sizes.repetitions),
                                    files.end());
  const std::string page = (root.storage() / PenSerial(kPen) / PageAddress(0)).string();
  Case result = {
      "sync", "a put, " + std::to_string(strokes) + " on its page, processor", {}, {}, {}};
  result.sizes = {{"strokes", strokes}};
  result.growth = {"An import: processor time in all", "strokes on its page",
                   static_cast<double>(strokes)};
  {
    const MeasuredService service(root);
    const auto holders = Connect(0, 1);
    service.WaitUntilQuiet();
    LineSocket socket(LineSocket::ConnectToService());
    for (std::size_t i = 0; i < sizes.repetitions; ++i) {
      const double before = OwnCpuSeconds();
      List(page);
      result.floor.seconds.push_back(OwnCpuSeconds() - before);
      result.service.seconds.push_back(CpuOf(service, [&] { Import(socket, files[i]); }));
    }
    const std::size_t passes = service.Passes();
    const double used = CpuOf(service, [&] { ImportAll(socket, burst); });
    const std::string name = "sync: a burst of " + std::to_string(burst.size()) + ", " +
                             std::to_string(strokes) + " on the page, ";
    report.AddAtMost(name + "passes", static_cast<double>(service.Passes() - passes), 2);
    report.AddFigure(name + "processor ms", used * 1e3);
  }
  MeasurePeers(sizes, root, strokes, result);
  const std::string name =
      "sync: a put, " + std::to_string(strokes) + " on its page, x one listing";
  // Beside few strokes the import itself takes longer than their listing.
  constexpr std::size_t kManyStrokes = 10000;
  const double ratio = report.Add(result);
  if (strokes < kManyStrokes) {
    report.AddFigure(name, ratio);
  } else {
    report.AddAtMost(name, ratio, 1.3);
  }
}

}  // namespace

void RunSync(const Sizes& sizes, Report& report) {
  const std::size_t files = sizes.sync_files;
  RunStore(sizes, {files, 1000, 10, 10, 1.0}, report);
  RunStore(sizes, {files, 1000, 10, 1, 0.5}, report);
  RunStore(sizes, {std::max<std::size_t>(files / 4, 1), 10000, 1, 1, 1.0}, report);
  for (const std::size_t strokes : sizes.page_strokes) RunPage(sizes, strokes, report);
}

}  // namespace bench
