// A throw-away root for one measurement, with subscriptions and a store, and the real quillpostd
// that serves it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "Process.h"

namespace bench {

// The serial of the pen with the number `pen`.
std::string PenSerial(std::uint64_t pen);

// The page with the number `page`: addresses below 1.2.*.* .
std::string PageAddress(std::size_t page);

// A root below `parent` that QUILLPOST_ROOT names while the object lives; removed with it.
class BenchRoot {
 public:
  explicit BenchRoot(const std::filesystem::path& parent);
  ~BenchRoot();
  BenchRoot(const BenchRoot&) = delete;
  BenchRoot& operator=(const BenchRoot&) = delete;

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

  // Writes the pen's archive: these strokes, claimed by the first applications. All of them wait;
  // or all were received by everybody and wanted by nobody, so that they stay and nothing waits.
  enum class Strokes { kWaiting, kReceived };
  void WriteArchive(std::uint64_t pen, const std::vector<std::filesystem::path>& strokes,
                    std::size_t applications, Strokes state = Strokes::kWaiting) const;

 private:
  std::filesystem::path path_;
};

// Claims a socket on which the service says that it is ready; the environment names it while this
// object lives.
class ReadySocket {
 public:
  explicit ReadySocket(const std::filesystem::path& path);
  ~ReadySocket();
  ReadySocket(const ReadySocket&) = delete;
  ReadySocket& operator=(const ReadySocket&) = delete;

  // Throws if the service does not say so within minutes.
  void Wait() const;

 private:
  const int fd_;
};

// quillpostd, found beside this program, in the root that is there. Its log goes to a file.
class MeasuredService : public Server {
 public:
  // Returns when it is ready to serve. Throws if it does not start.
  explicit MeasuredService(const BenchRoot& root);

  // The routing passes that its log tells of.
  std::size_t Passes() const;

 private:
  MeasuredService(const BenchRoot& root, const ReadySocket& ready);

  const std::filesystem::path log_;
};

}  // namespace bench
