// What the benchmark measures and how it tells it: samples of times, the table, the JSON document.
// A workload hands in its cases, each with the floor that was measured in the same run.

#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

// Now, in seconds of the monotonic clock, which all processes share.
double Now();

// The time that `job` takes, in seconds.
double TimeOf(const std::function<void()>& job);

// Seconds per item, one number for each repetition.
struct Samples {
  std::vector<double> seconds;

  bool empty() const { return seconds.empty(); }
  double Quantile(double q) const;  // 0 is the minimum, 0.5 the median; 0 if there are none
  double Median() const { return Quantile(0.5); }
};

// Where a case stands in the plot: in the part with this title, at the size `x`.
struct Growth {
  std::string title;
  std::string x_name;
  double x = 0;
};

// One measured case beside its floor: all in seconds per item.
struct Case {
  std::string workload;
  std::string name;
  std::vector<std::pair<std::string, double>> sizes;
  Samples floor;    // the bare system calls; empty if there is nothing to compare with
  Samples service;  // the service, doing the same

  // Other servers, doing the same.
  std::vector<std::pair<std::string, Samples>> peers = {};

  // Without a title, the case is not in the plot.
  Growth growth = {};

  Samples& OfPeer(const std::string& peer);
};

// A number that is not a time per item: a ratio, bytes, wake-ups.
struct Figure {
  std::string name;
  double value;
  double limit;   // what it should be; NaN for a figure of which nothing is asked
  bool at_least;  // whether the limit is a lower one
};

class Report {
 public:
  // Prints the case as soon as it is there, and returns its ratio to the floor.
  double Add(const Case& measured);
  void AddFigure(const std::string& name, double value);
  void AddAtMost(const std::string& name, double value, double limit);
  void AddAtLeast(const std::string& name, double value, double limit);

  // Something about the run that is to be read beside its figures. Printed immediately.
  void Note(const std::string& about, const std::string& text);

  // Machine, build and sizes; `arguments` is the command line.
  void PrintHeader(const std::string& arguments);
  void PrintFigures() const;
  Json::Value ToJson() const;
  const std::vector<Case>& cases() const { return cases_; }

  // Machine and build, in one line.
  static std::string Origin();

 private:
  std::string arguments_;
  std::vector<Case> cases_;
  std::vector<Figure> figures_;
  std::vector<std::pair<std::string, std::string>> notes_;
};

}  // namespace bench
