// A throw-away world for one measurement: a root of its own with subscriptions and a store, and the
// real quillpostd that serves it.

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// The serial of the pen with the number `pen`.
std::string PenSerial(std::uint64_t pen);

// The page with the number `page`: addresses below 1.2.*.* .
std::string PageAddress(std::size_t page);

// A root below `parent` that QUILLPOST_ROOT names while the object lives; removed with it.
class World {
 public:
  explicit World(const std::filesystem::path& parent);
  ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path storage() const;
  std::filesystem::path scratch() const;
  std::filesystem::path subscriptions() const;

  // Subscribes app0, app1, ... to every page.
  void Subscribe(std::size_t applications) const;

  // Files `strokes` strokes of the pen, evenly on `pages` pages, `bytes` bytes each, as imports
  // leave them. Returns their files in the order in which they are offered.
  std::vector<std::filesystem::path> FillStore(std::uint64_t pen, std::size_t strokes,
                                               std::size_t pages, std::size_t bytes) const;

  // Writes the pen's archive: these strokes, claimed by the first applications, not delivered.
  void WriteArchive(std::uint64_t pen, const std::vector<std::filesystem::path>& strokes,
                    std::size_t applications) const;

 private:
  std::filesystem::path path_;
};

// Another process that runs `job`. Its end is waited for where the object ends, unless it was ended
// before; a job that throws ends the benchmark.
class Child {
 public:
  explicit Child(const std::function<void()>& job);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }

  // Waits for the end; throws where the job failed.
  void Wait();

 private:
  pid_t pid_;
};

// quillpostd, found beside this program, in the world that is there. Its log goes to a file.
class Daemon {
 public:
  // Returns when it is ready to serve. Throws where it does not start.
  explicit Daemon(const World& world);
  ~Daemon();

  // Waits until it has done what it does after its start: until it uses no processor time.
  void WaitUntilQuiet() const;

  std::uint64_t ResidentBytes() const;
  std::uint64_t PeakBytes() const;
  double CpuSeconds() const;
  std::uint64_t WakeUps() const;  // of all threads since their start

 private:
  std::uint64_t StatusBytes(const std::string& key) const;

  pid_t pid_ = -1;
};

}  // namespace bench
