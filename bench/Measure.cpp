#include "Measure.h"

#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>

namespace bench {

namespace {

constexpr double kNoLimit = std::numeric_limits<double>::quiet_NaN();

std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  return "unknown processor";
}

std::string Load() {
  double loads[1] = {0};
  ::getloadavg(loads, 1);
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", loads[0]);
  return text;
}

std::string Machine() {
  utsname system = {};
  ::uname(&system);
  return ProcessorName() + ", " + std::to_string(::sysconf(_SC_NPROCESSORS_ONLN)) + " cores, " +
         system.sysname + " " + system.release;
}

std::string Build() {
  return std::string(QUILLPOST_BUILD_TYPE) + ", compiler " + __VERSION__;
}

void PrintRow(const std::string& name, const Samples& samples, double ratio) {
  if (samples.empty()) return;
  std::printf("%-68s %7zu %11.1f %11.1f %11.1f %11.0f", name.c_str(), samples.seconds.size(),
              samples.Quantile(0) * 1e6, samples.Median() * 1e6, samples.Quantile(0.99) * 1e6,
              1 / samples.Median());
  if (ratio > 0) {
    std::printf(" %9.2f", ratio);
  }
  std::printf("\n");
  std::fflush(stdout);
}

Json::Value ToJson(const Samples& samples) {
  if (samples.empty()) return Json::Value();
  Json::Value json;
  json["repetitions"] = Json::UInt64(samples.seconds.size());
  json["min_us"] = samples.Quantile(0) * 1e6;
  json["median_us"] = samples.Median() * 1e6;
  json["p99_us"] = samples.Quantile(0.99) * 1e6;
  json["items_per_second"] = 1 / samples.Median();
  return json;
}

bool IsReached(const Figure& figure) {
  return figure.at_least ? figure.value >= figure.limit : figure.value <= figure.limit;
}

double Ratio(const Case& measured, const Samples& samples) {
  return measured.floor.empty() ? 0 : samples.Median() / measured.floor.Median();
}

}  // namespace

double Now() {
  timespec now;
  ::clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double TimeOf(const std::function<void()>& job) {
  const double start = Now();
  job();
  return Now() - start;
}

double Samples::Quantile(double q) const {
  if (seconds.empty()) return 0;
  std::vector<double> sorted = seconds;
  std::sort(sorted.begin(), sorted.end());
  return sorted[static_cast<std::size_t>(q * static_cast<double>(sorted.size() - 1) + 0.5)];
}

Samples& Case::OfPeer(const std::string& peer) {
  for (auto& [name, samples] : peers) {
    if (name == peer) return samples;
  }
  return peers.emplace_back(peer, Samples()).second;
}

double Report::Add(const Case& measured) {
  const std::string name = measured.workload + " " + measured.name;
  PrintRow(name + ", floor", measured.floor, 0);
  PrintRow(name, measured.service, Ratio(measured, measured.service));
  for (const auto& [peer, samples] : measured.peers) {
    PrintRow(name + ", " + peer, samples, Ratio(measured, samples));
  }
  cases_.push_back(measured);
  return Ratio(measured, measured.service);
}

void Report::AddFigure(const std::string& name, double value) {
  figures_.push_back({name, value, kNoLimit, false});
}

void Report::AddAtMost(const std::string& name, double value, double limit) {
  figures_.push_back({name, value, limit, false});
}

void Report::AddAtLeast(const std::string& name, double value, double limit) {
  figures_.push_back({name, value, limit, true});
}

void Report::Note(const std::string& about, const std::string& text) {
  std::printf("%-10s %s\n", about.c_str(), text.c_str());
  std::fflush(stdout);
  notes_.emplace_back(about, text);
}

std::string Report::Origin() {
  return Machine() + "; " + Build();
}

void Report::PrintHeader(const std::string& arguments) {
  arguments_ = arguments;
  std::printf("machine    %s\n", Machine().c_str());
  std::printf("build      %s\n", Build().c_str());
  std::printf("arguments  %s\n", arguments.c_str());
  std::printf("load       %s\n", Load().c_str());
  if (std::string(QUILLPOST_BUILD_TYPE) != "Release") {
    std::printf("WARNING    not a release build: the ratios mean little\n");
  }
  std::printf("\n%-68s %7s %11s %11s %11s %11s %9s\n", "microseconds per item", "times", "min",
              "median", "p99", "items/s", "x floor");
  std::fflush(stdout);
}

void Report::PrintFigures() const {
  std::printf("\n%-80s %12s %12s\n", "figures", "measured", "wanted");
  for (const Figure& figure : figures_) {
    std::printf("%-80s %12.2f", figure.name.c_str(), figure.value);
    if (!std::isnan(figure.limit)) {
      std::printf(" %s %9.2f  %s", figure.at_least ? ">=" : "<=", figure.limit,
                  IsReached(figure) ? "yes" : "NO");
    }
    std::printf("\n");
  }
}

Json::Value Report::ToJson() const {
  Json::Value json;
  json["machine"] = Machine();
  json["build"] = Build();
  json["arguments"] = arguments_;
  for (const auto& [about, text] : notes_) json["notes"].append(about + ": " + text);
  json["cases"] = Json::Value(Json::arrayValue);
  for (const Case& measured : cases_) {
    Json::Value entry;
    entry["workload"] = measured.workload;
    entry["name"] = measured.name;
    for (const auto& [name, size] : measured.sizes) entry["sizes"][name] = size;
    entry["floor"] = bench::ToJson(measured.floor);
    entry["service"] = bench::ToJson(measured.service);
    const double ratio = Ratio(measured, measured.service);
    entry["ratio"] = measured.floor.empty() ? Json::Value() : Json::Value(ratio);
    for (const auto& [name, samples] : measured.peers) {
      entry["peers"][name] = bench::ToJson(samples);
    }
    json["cases"].append(entry);
  }
  json["figures"] = Json::Value(Json::arrayValue);
  for (const Figure& figure : figures_) {
    Json::Value entry;
    entry["name"] = figure.name;
    entry["value"] = figure.value;
    if (!std::isnan(figure.limit)) {
      entry[figure.at_least ? "at_least" : "at_most"] = figure.limit;
      entry["reached"] = IsReached(figure);
    }
    json["figures"].append(entry);
  }
  return json;
}

}  // namespace bench
