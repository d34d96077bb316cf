// The workloads. Each makes its own root, measures the service and its floor in turns, and adds
// its cases and figures to the report. They throw std::exception if the world does not play.

#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include "Measure.h"

namespace bench {

// What the command line selects.
struct Sizes {
  std::filesystem::path directory = "/tmp";  // where roots are made: the file system measured

  std::size_t import_bytes = 100u << 20;  // of the one large file
  std::vector<std::size_t> import_pages = {1, 1000};
  std::size_t import_files = 1000;  // small ones
  std::size_t stroke_bytes = 10 * 1024;

  std::vector<std::size_t> route_pages = {100, 1000};
  std::size_t route_strokes = 10;  // of each page
  std::size_t applications = 10;

  std::vector<std::size_t> backlogs = {1000, 10000};
  std::size_t deliver_pages = 10;
  std::size_t packages = 500;  // confirmed in each measurement
  std::size_t clients = 8;

  std::vector<std::size_t> stores = {10000, 50000};  // strokes, for restart and idle
  std::size_t store_pages = 100;
  double idle_seconds = 10;

  std::size_t sync_files = 200;  // imported together, also in durable
  std::vector<std::size_t> page_strokes = {1000, 10000, 50000};  // on the page of one put

  std::vector<std::size_t> waiting = {10000, 50000};  // for mixed
  double rate = 100;                                  // imports a second beside the packages
  double hold_seconds = 2e-3;                         // between a package and its confirmation

  std::filesystem::path disk = "/var/tmp";  // for durable: where the disk is

  std::size_t inbox_packages = 2000;
  std::size_t inbox_pages = 10000;    // of ten strokes
  std::size_t ink_bytes = 50u << 20;  // of a file that is converted, drawn and replayed

  std::size_t forward_packages = 2000;
  std::size_t desktops = 200;  // connected to one stream

  bool peers = false;  // measure other servers, too

  std::size_t repetitions = 5;
};

void RunForward(const Sizes& sizes, Report& report);
void RunImport(const Sizes& sizes, Report& report);
void RunRoute(const Sizes& sizes, Report& report);
void RunDeliver(const Sizes& sizes, Report& report);
void RunSync(const Sizes& sizes, Report& report);
void RunMixed(const Sizes& sizes, Report& report);
void RunDurable(const Sizes& sizes, Report& report);
void RunRestart(const Sizes& sizes, Report& report);
void RunIdle(const Sizes& sizes, Report& report);
void RunInbox(const Sizes& sizes, Report& report);
void RunInk(const Sizes& sizes, Report& report);

}  // namespace bench
