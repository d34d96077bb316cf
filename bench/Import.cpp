// import: one large file that is split into pages, and many small files.

#include <unistd.h>

#include <algorithm>

#include "BenchRoot.h"
#include "Clients.h"
#include "Floors.h"
#include "Ink.h"
#include "Peer.h"
#include "Workloads.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// Each repetition has a root of its own: the store stays as small as it is in the floor.
void RunLargeFile(const Sizes& sizes, std::size_t pages, Report& report) {
  Case result = {"import", "1 file of " + std::to_string(pages) + " pages", {}, {}, {}};
  result.sizes = {{"bytes", sizes.import_bytes}, {"pages", pages}};
  double peak_bytes = 0;
  double file_bytes = 0;
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    const BenchRoot root(sizes.directory);
    const fs::path file = root.path() / "ink.stf2";
    WriteInk(file, sizes.import_bytes, pages, 0, 1700000000000);
    file_bytes = static_cast<double>(fs::file_size(file));
    fs::create_directory(root.path() / "floor");
    result.floor.seconds.push_back(
        TimeOf([&] { CopyToNewFiles(file, root.path() / "floor/", pages); }));
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    LineSocket socket(LineSocket::ConnectToService());
    result.service.seconds.push_back(TimeOf([&] { Import(socket, file); }));
    peak_bytes = std::max(peak_bytes, static_cast<double>(service.PeakBytes()));
  }
  const double ratio = report.Add(result);
  const std::string name = "import: 1 file of " + std::to_string(pages) + " pages, ";
  if (pages == 1000) {
    report.AddAtMost(name + "x the floor", ratio, 2.0);
    report.AddAtMost(name + "peak memory, x the file", peak_bytes / file_bytes, 2.5);
  } else {
    report.AddAtMost(name + "x the floor", ratio, 3.0);
    report.AddAtMost(name + "peak memory, x the file", peak_bytes / file_bytes, 4.5);
  }
}

void MeasureSmallFloor(const BenchRoot& root, const std::vector<fs::path>& files, std::size_t turn,
                       Samples& samples) {
  const fs::path directory = root.path() / ("floor" + std::to_string(turn));
  fs::create_directory(directory);
  const auto ends = LineSocket::Pair();
  Child server([&] {
    ::close(ends.second);
    LineSocket socket(ends.first);
    ServeImports(socket, directory / "");
  });
  ::close(ends.first);
  LineSocket socket(ends.second);
  for (const fs::path& file : files) {
    samples.seconds.push_back(TimeOf([&] { Import(socket, file); }));
  }
}

void RunSmallFiles(const Sizes& sizes, Report& report) {
  constexpr std::size_t kPages = 10;
  Case result = {"import", std::to_string(sizes.import_files) + " small files", {}, {}, {}};
  result.sizes = {{"files", sizes.import_files}, {"bytes", sizes.stroke_bytes}};
  for (std::size_t turn = 0; turn < sizes.repetitions; ++turn) {
    const BenchRoot root(sizes.directory);
    root.Subscribe(1);
    const auto files =
        WriteInkFiles(root.path() / "ink", sizes.import_files, sizes.stroke_bytes, kPages);
    MeasureSmallFloor(root, files, turn, result.floor);
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    LineSocket socket(LineSocket::ConnectToService());
    for (const fs::path& file : files) {
      result.service.seconds.push_back(TimeOf([&] { Import(socket, file); }));
    }
    for (const auto& peer : StartPeers(sizes, root.path(), 0, sizes.stroke_bytes)) {
      const auto putter = peer->Put(sizes.stroke_bytes);
      for (std::size_t i = 0; i < files.size(); ++i) {
        result.OfPeer(peer->name()).seconds.push_back(TimeOf([&] { putter->Put(); }));
      }
    }
  }
  const double ratio = report.Add(result);
  report.AddAtMost("import: " + std::to_string(sizes.import_files) + " small files, x the floor",
                   ratio, 2.0);
}

}  // namespace

void RunImport(const Sizes& sizes, Report& report) {
  for (const std::size_t pages : sizes.import_pages) RunLargeFile(sizes, pages, report);
  RunSmallFiles(sizes, report);
}

}  // namespace bench
