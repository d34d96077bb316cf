// quillpost_bench: what the service costs beside the bare system calls that the same work cannot do
// without, both measured in one run. docs/performance.md says what the numbers mean.

#include <json/writer.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Measure.h"
#include "Peer.h"
#include "Plot.h"
#include "Workloads.h"

namespace {

typedef void (*Workload)(const bench::Sizes&, bench::Report&);

constexpr struct {
  const char* name;
  Workload run;
} kWorkloads[] = {
    {"import", bench::RunImport},   {"route", bench::RunRoute},     {"deliver", bench::RunDeliver},
    {"sync", bench::RunSync},       {"mixed", bench::RunMixed},     {"durable", bench::RunDurable},
    {"restart", bench::RunRestart}, {"idle", bench::RunIdle},       {"inbox", bench::RunInbox},
    {"ink", bench::RunInk},         {"forward", bench::RunForward},
};

struct Options {
  bench::Sizes sizes;
  std::vector<std::string> workloads;  // all if it is empty
  std::string json_file;
  std::string plot_file;
  bool full = false;
};

std::vector<std::string> WorkloadNames() {
  std::vector<std::string> names;
  for (const auto& workload : kWorkloads) names.emplace_back(workload.name);
  return names;
}

// What is measured, where, and what is made of the results.
void AddRunOptions(CLI::App& app, Options& options) {
  bench::Sizes& sizes = options.sizes;
  app.add_option("workload", options.workloads, "What to measure; all if none is named")
      ->check(CLI::IsMember(WorkloadNames()));
  app.add_flag("--full", options.full,
               "The large sizes, too: 10000 pages, a backlog and a store of 100000 strokes, "
               "an inbox of 100000 pages");
  app.add_option("--json", options.json_file, "Write the results to FILE")->type_name("FILE");
  app.add_option("--plot", options.plot_file, "Draw how cost grows into FILE, an SVG")
      ->type_name("FILE");
  app.add_flag("--peers", sizes.peers,
               "Measure beanstalkd, Redis Streams and NATS JetStream, too, if they are installed");
  app.add_option("--directory", sizes.directory, "Where to work: the file system to measure")
      ->capture_default_str();
  app.add_option("--disk", sizes.disk,
                 "Where durable finds a disk; it makes an ext4 image there if it may")
      ->capture_default_str();
  app.add_option("--repetitions", sizes.repetitions, "Of each measurement")->capture_default_str();
}

// How much ink comes in.
void AddImportSizes(CLI::App& app, bench::Sizes& sizes) {
  app.add_option("--import-bytes", sizes.import_bytes)->capture_default_str();
  app.add_option("--import-pages", sizes.import_pages)->capture_default_str();
  app.add_option("--import-files", sizes.import_files)->capture_default_str();
  app.add_option("--stroke-bytes", sizes.stroke_bytes)->capture_default_str();
  app.add_option("--sync-files", sizes.sync_files, "Imported together, also in durable")
      ->capture_default_str();
  app.add_option("--page-strokes", sizes.page_strokes, "On the page of one put, for sync")
      ->capture_default_str();
  app.add_option("--rate", sizes.rate, "Imports a second, for mixed")->capture_default_str();
}

// How much ink is in the store, and who wants it.
void AddStoreSizes(CLI::App& app, bench::Sizes& sizes) {
  app.add_option("--route-pages", sizes.route_pages)->capture_default_str();
  app.add_option("--route-strokes", sizes.route_strokes, "On each page")->capture_default_str();
  app.add_option("--applications", sizes.applications, "Subscribed to each page")
      ->capture_default_str();
  app.add_option("--backlogs", sizes.backlogs)->capture_default_str();
  app.add_option("--deliver-pages", sizes.deliver_pages)->capture_default_str();
  app.add_option("--packages", sizes.packages, "Confirmed in each measurement")
      ->capture_default_str();
  app.add_option("--clients", sizes.clients)->capture_default_str();
  app.add_option("--waiting", sizes.waiting, "Strokes, for mixed")->capture_default_str();
  app.add_option("--hold-seconds", sizes.hold_seconds, "Before each confirmation, for mixed")
      ->capture_default_str();
  app.add_option("--stores", sizes.stores, "Strokes, for restart and idle")->capture_default_str();
  app.add_option("--store-pages", sizes.store_pages)->capture_default_str();
  app.add_option("--idle-seconds", sizes.idle_seconds)->capture_default_str();
}

// How much ink the applications and the ink library get.
void AddApplicationSizes(CLI::App& app, bench::Sizes& sizes) {
  app.add_option("--inbox-packages", sizes.inbox_packages)->capture_default_str();
  app.add_option("--inbox-pages", sizes.inbox_pages)->capture_default_str();
  app.add_option("--forward-packages", sizes.forward_packages)->capture_default_str();
  app.add_option("--desktops", sizes.desktops)->capture_default_str();
  app.add_option("--ink-bytes", sizes.ink_bytes, "Of the files of ink")->capture_default_str();
}

void Run(const Options& options, const std::string& arguments) {
  bench::Report report;
  report.PrintHeader(arguments);
  if (options.sizes.peers) bench::NoteMissingPeers(report);
  for (const auto& workload : kWorkloads) {
    const auto& names = options.workloads;
    if (names.empty() || std::find(names.begin(), names.end(), workload.name) != names.end()) {
      workload.run(options.sizes, report);
    }
  }
  report.PrintFigures();
  if (!options.plot_file.empty()) bench::WritePlot(report, options.plot_file);
  if (options.json_file.empty()) return;
  std::ofstream file(options.json_file);
  file << report.ToJson() << '\n';
  if (!file.flush()) throw std::runtime_error("can't write " + options.json_file);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Measures the service beside its floors.", "quillpost_bench");
  Options options;
  AddRunOptions(app, options);
  AddImportSizes(app, options.sizes);
  AddStoreSizes(app, options.sizes);
  AddApplicationSizes(app, options.sizes);
  CLI11_PARSE(app, argc, argv);
  if (options.full) {
    options.sizes.route_pages.push_back(10000);
    options.sizes.backlogs.push_back(100000);
    options.sizes.stores.push_back(100000);
    options.sizes.inbox_pages = 100000;
  }
  std::string arguments;
  for (int i = 1; i < argc; ++i) arguments += (i > 1 ? " " : "") + std::string(argv[i]);
  try {
    Run(options, arguments);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpost_bench: %s\n", error.what());
    return 1;
  }
  return 0;
}
