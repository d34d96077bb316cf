// deliver: a backlog of strokes on its way to confirming clients, each in a process of its own.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <stdexcept>

#include "LineSocket.h"
#include "Workloads.h"
#include "World.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::uint64_t kPen = 1;

// Arrival times that client processes write and the benchmark reads.
class SharedTimes {
 public:
  explicit SharedTimes(std::size_t count)
      : count_(count),
        bytes_((count + 1) * sizeof(double)),
        times_(static_cast<double*>(
            ::mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
  ~SharedTimes() { ::munmap(times_, bytes_); }
  SharedTimes(const SharedTimes&) = delete;
  SharedTimes& operator=(const SharedTimes&) = delete;

  double* data() const { return times_; }

  // A count that the processes share.
  std::atomic<std::size_t>& count() const {
    return *reinterpret_cast<std::atomic<std::size_t>*>(times_ + count_);
  }

 private:
  const std::size_t count_;
  const std::size_t bytes_;
  double* const times_;
};

std::string Confirmation(std::size_t id) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
         R"(,"method":"ConfirmInkPackageDelivery","params":{"InkPackagePen":")" + PenSerial(kPen) +
         R"(","InkPackageDelivered":true}})";
}

// Takes `packages` + 1 packages and confirms all but the last, noting when each came.
void Confirm(LineSocket& socket, std::size_t packages, double* times) {
  for (std::size_t taken = 0; taken <= packages;) {
    if (socket.Receive().find("NewInkPackage") == std::string::npos) continue;
    times[taken] = Now();
    if (taken < packages) socket.Send(Confirmation(taken));
    ++taken;
  }
}

// `ready` counts the clients that are connected; all of `clients` begin together.
void RunClient(std::size_t application, std::size_t packages, double* times,
               std::atomic<std::size_t>& ready, std::size_t clients) {
  LineSocket socket(LineSocket::ConnectToService());
  for (++ready; ready < clients;) ::sched_yield();
  socket.Send(R"({"jsonrpc":"2.0","method":"EnableNotifications","params":{"ApplicationID":"app)" +
              std::to_string(application) + R"("}})");
  Confirm(socket, packages, times);
}

void CopyToPackage(const fs::path& stroke, const fs::path& package) {
  static char buffer[64 * 1024];
  const int from = ::open(stroke.c_str(), O_RDONLY | O_CLOEXEC);
  const int to = ::open(package.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (from < 0 || to < 0) throw std::runtime_error("can't copy " + stroke.string());
  for (ssize_t got; (got = ::read(from, buffer, sizeof buffer)) > 0;) {
    if (::write(to, buffer, static_cast<std::size_t>(got)) != got) break;
  }
  ::close(from);
  ::close(to);
}

// The floor's side of the service: copy a stroke, announce it, be told, delete, write one byte. In
// the service's own places: what making a file takes differs from directory to directory.
void ServeFloor(LineSocket& socket, const World& world, const std::vector<fs::path>& strokes,
                std::size_t packages) {
  const fs::path package = world.scratch() / "package";
  const fs::path marks = world.storage() / "marks";
  const int fd = ::open(marks.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  for (std::size_t i = 0; i <= packages; ++i) {
    CopyToPackage(strokes[i], package);
    socket.Send(R"({"jsonrpc":"2.0","method":"NewInkPackage","params":{"InkPackagePath":")" +
                package.string() + R"(","InkPackagePages":["1.2.3.4"],"InkPackagePen":")" +
                PenSerial(kPen) + R"(","InkPackageType":"STF2"}})");
    if (i < packages) socket.Receive();
    ::unlink(package.c_str());
    if (::pwrite(fd, "1", 1, static_cast<off_t>(i)) != 1) throw std::runtime_error("can't write");
  }
  ::close(fd);
}

void AddIntervals(const double* times, std::size_t packages, Samples& samples) {
  for (std::size_t i = 0; i < packages; ++i) samples.seconds.push_back(times[i + 1] - times[i]);
}

void MeasureFloor(const World& world, const std::vector<fs::path>& strokes, std::size_t packages,
                  Samples& samples) {
  const SharedTimes times(packages + 1);
  const auto ends = LineSocket::Pair();
  Child server([&] {
    ::close(ends.second);
    LineSocket socket(ends.first);
    ServeFloor(socket, world, strokes, packages);
  });
  ::close(ends.first);
  Child client([&] {
    LineSocket socket(ends.second);
    Confirm(socket, packages, times.data());
  });
  ::close(ends.second);
  server.Wait();
  client.Wait();
  AddIntervals(times.data(), packages, samples);
}

void MeasureOneClient(std::size_t application, std::size_t packages, Samples& samples) {
  const SharedTimes times(packages + 1);
  Child client([&] { RunClient(application, packages, times.data(), times.count(), 1); });
  client.Wait();
  AddIntervals(times.data(), packages, samples);
}

// Packages per second of all clients together, while all are at work.
double MeasureThroughput(std::size_t clients, std::size_t packages) {
  const std::size_t taken = packages + 1;
  const SharedTimes times(clients * taken);
  std::vector<std::unique_ptr<Child>> children;
  for (std::size_t i = 0; i < clients; ++i) {
    children.push_back(std::make_unique<Child>(
        [&, i] { RunClient(i, packages, times.data() + i * taken, times.count(), clients); }));
  }
  double from = 0;
  double to = 1e18;
  for (std::size_t i = 0; i < clients; ++i) {
    children[i]->Wait();
    from = std::max(from, times.data()[i * taken]);
    to = std::min(to, times.data()[(i + 1) * taken - 1]);
  }
  const auto in_window = [&](double time) { return from <= time && time < to; };
  const auto count = std::count_if(times.data(), times.data() + clients * taken, in_window);
  return to > from ? static_cast<double>(count) / (to - from) : 0;
}

// Each turn is one floor and one run of the service over the next part of the backlog.
double RunBacklog(const Sizes& sizes, std::size_t backlog, Report& report) {
  const World world(sizes.directory);
  world.Subscribe(1);
  const auto strokes = world.FillStore(kPen, backlog, sizes.deliver_pages, sizes.stroke_bytes);
  const std::size_t packages = std::min(sizes.packages, backlog / (sizes.repetitions + 1));
  Case result = {"deliver", "backlog " + std::to_string(backlog), {}, {}, {}};
  result.sizes = {{"backlog", backlog}, {"stroke_bytes", sizes.stroke_bytes}};
  const Daemon daemon(world);
  daemon.WaitUntilQuiet();
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    MeasureFloor(world, strokes, packages, result.floor);
    MeasureOneClient(0, packages, result.service);
  }
  report.Add(result);
  if (backlog == 1000) {
    report.AddAtMost("deliver: a package at a backlog of 1000, x its floor",
                     result.service.Median() / result.floor.Median(), 2.0);
  }
  return result.service.Median();
}

// The rates of one client and of all, taken in turns.
void RunManyClients(const Sizes& sizes, Report& report) {
  const World world(sizes.directory);
  world.Subscribe(sizes.clients);
  const std::size_t backlog = sizes.backlogs.front();
  world.FillStore(kPen, backlog, sizes.deliver_pages, sizes.stroke_bytes);
  const std::size_t packages = std::min(sizes.packages, backlog / (2 * sizes.repetitions + 1));
  const Daemon daemon(world);
  daemon.WaitUntilQuiet();
  Samples one;
  Samples all;
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    one.seconds.push_back(1 / MeasureThroughput(1, packages));
    all.seconds.push_back(1 / MeasureThroughput(sizes.clients, packages));
  }
  const std::string clients = std::to_string(sizes.clients);
  report.Add({"deliver", "1 client of " + clients, {{"clients", 1}}, {}, one});
  report.Add({"deliver", clients + " clients together", {{"clients", sizes.clients}}, {}, all});
  report.AddAtLeast("deliver: packages per second of " + clients + " clients, x those of one",
                    one.Median() / all.Median(), 1.3);
}

}  // namespace

void RunDeliver(const Sizes& sizes, Report& report) {
  double first = 0;
  for (const std::size_t backlog : sizes.backlogs) {
    const double cost = RunBacklog(sizes, backlog, report);
    if (first == 0) {
      first = cost;
    } else {
      report.AddAtMost("deliver: a package at a backlog of " + std::to_string(backlog) +
                           ", x its cost at " + std::to_string(sizes.backlogs.front()),
                       cost / first, backlog > 10000 ? 1.5 : 1.2);
    }
  }
  RunManyClients(sizes, report);
}

}  // namespace bench
