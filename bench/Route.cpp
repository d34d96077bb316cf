// route: a routing pass over a store, in this process and without the service's threads.

#include <Talvo/Logger.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/make_shared.hpp>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "BenchRoot.h"
#include "Floors.h"
#include "Workloads.h"
#include "service/Service.h"
#include "storage/FilesStorage.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;

void ReadWhole(const std::string& file) {
  char buffer[4096];
  const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw std::runtime_error("can't read " + file);
  while (::read(fd, buffer, sizeof buffer) > 0) {
  }
  ::close(fd);
}

// Lists the pages, and for each its directory and the subscriptions, which it reads.
void RunFloor(const BenchRoot& root) {
  const std::string pen = (root.storage() / PenSerial(kPen)).string();
  const std::string subscriptions = root.subscriptions().string();
  for (const std::string& page : List(pen)) {
    if (page == "RoutingInfo.txt") continue;
    for (const std::string& name : List(subscriptions)) ReadWhole(subscriptions + "/" + name);
    List(pen + "/" + page);
  }
}

Case MakeCase(const Sizes& sizes, std::size_t pages, const std::string& what) {
  Case result = {"route", std::to_string(pages) + " pages, " + what, {}, {}, {}};
  result.sizes = {{"pages", pages},
                  {"strokes", pages * sizes.route_strokes},
                  {"applications", sizes.applications}};
  return result;
}

// Files one more stroke, on one of the pages.
void AddStroke(std::size_t page, std::size_t number, std::size_t bytes) {
  const std::string name = std::to_string(1800000000000 + number);
  TalvoQuillpost::Storage::ImportStroke(PenSerial(kPen), {PageAddress(page), name, "stf2"},
                                        std::vector<char>(bytes, 'x'));
}

double RunPages(const Sizes& sizes, std::size_t pages, Report& report) {
  const BenchRoot root(sizes.directory);
  root.Subscribe(sizes.applications);
  root.WriteArchive(kPen,
                    root.FillStore(kPen, pages * sizes.route_strokes, pages, sizes.stroke_bytes),
                    sizes.applications);
  TalvoQuillpost::Storage::Initialize();
  const auto service = boost::make_shared<TalvoQuillpost::Service>();
  // A store that has rested: nobody can tell that a directory did not change in the moment in which
  // it was listed, so pages that were just made are listed again.
  std::this_thread::sleep_for(std::chrono::seconds(3));
  service->RouteInk();
  Case same = MakeCase(sizes, pages, "nothing new");
  same.growth = {"A routing pass with nothing new", "pages of 10 strokes",
                 static_cast<double>(pages)};
  Case more = MakeCase(sizes, pages, "one new stroke");
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    same.floor.seconds.push_back(TimeOf([&] { RunFloor(root); }));
    same.service.seconds.push_back(TimeOf([&] { service->RouteInk(); }));
    AddStroke(i % pages, i, sizes.stroke_bytes);
    more.service.seconds.push_back(TimeOf([&] { service->RouteInk(); }));
  }
  TalvoQuillpost::Storage::Cleanup();
  more.floor = same.floor;
  report.Add(same);
  report.Add(more);
  const std::string name = "route: " + std::to_string(pages) + " pages, ";
  if (pages == 1000) {
    report.AddAtMost(name + "nothing new, x the floor", same.service.Median() / same.floor.Median(),
                     1.2);
    report.AddAtMost(name + "one new stroke, x nothing new",
                     more.service.Median() / same.service.Median(), 1.3);
  }
  return same.service.Median() / static_cast<double>(pages);
}

}  // namespace

void RunRoute(const Sizes& sizes, Report& report) {
  // The lines are written as the host writes them, to where nobody reads.
  std::ofstream null("/dev/null");
  Talvo::Logger::Open("Quillpost", Talvo::kLogInformation,
                      Talvo::LogSink::Callback([&null](int, const std::string& message) {
                        null << message << std::endl;
                      }));
  double before = 0;
  for (const std::size_t pages : sizes.route_pages) {
    const double cost = RunPages(sizes, pages, report);
    if (before > 0) {
      report.AddAtMost("route: a page of " + std::to_string(pages) + ", x one of a tenth",
                       cost / before, 1.3);
    }
    before = cost;
  }
  Talvo::Logger::Close("Quillpost");
}

}  // namespace bench
