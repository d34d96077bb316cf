// What the ink store holds and how far each application has got with it, read from the files of
// the store. Reading changes nothing, takes no lock and needs no service; beside a running one the
// report is of several moments, a few milliseconds apart.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

struct StoreReport {
  struct Page {
    std::uint64_t files = 0;    // stroke files, each with the strokes that one import brought
    std::uint64_t strokes = 0;  // in them; those of sealed ink can't be counted
    std::uint64_t bytes = 0;
  };
  struct Application {
    bool subscribed = false;
    std::string title;
    std::string obstacle;  // why the service can't launch it; empty if nothing speaks against it
    // Stroke files.
    std::uint64_t claimed = 0;
    std::uint64_t delivered = 0;
    std::uint64_t processed = 0;
  };

  std::string root;
  std::map<std::string, std::map<std::string, Page>> pens;  // by pen serial and page address
  std::map<std::string, Application> applications;          // by application ID
  std::uint64_t unclaimed = 0;        // stroke files of pages that no application wants
  std::uint64_t unrouted = 0;         // stroke files of wanted pages that the service has not
                                      // routed yet: it is about to, or will when it starts
  std::vector<std::string> problems;  // one sentence each, without a full stop

  // Sums.
  Page Of(const std::string& pen) const;
  std::uint64_t PageCount() const;
  Page Total() const;
};

// Throws boost::filesystem::filesystem_error if the store or the subscription directory can't be
// listed at all; what is wrong with a pen, a page or a stroke is a problem of the report.
StoreReport ReadStore();
