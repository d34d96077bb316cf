// forward: how many packages a second go through service, quillpost-forward and a stream, and on
// into an inbox, beside publishing the same bytes with the client library alone; and what a server
// of streams spends on many desktops.

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "Backlog.h"
#include "Clients.h"
#include "Disk.h"
#include "Ink.h"
#include "Peer.h"
#include "Workloads.h"
#include "stream/Connection.h"
#include "stream/InkMessage.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr int kPoints = 60;              // 10 KB
constexpr std::size_t kMostAtATime = 8;  // packages that quillpost-forward has on their way
constexpr double kKiB = 1 << 10;

std::string Beside(const std::string& program) {
  return (fs::read_symlink("/proc/self/exe").parent_path() / program).string();
}

// A stream in a server of its own, and its administrator.
class MeasuredStream final : private Stream::Watcher {
 public:
  explicit MeasuredStream(const fs::path& directory)
      : port_(FreePort()),
        server_({FindProgram("nats-server"), "-a", "127.0.0.1", "-p", std::to_string(port_), "-js",
                 "-sd", directory.string()},
                directory.string() + ".log") {
    for (int i = 0; i < 10000 && !connection_; ++i) {
      try {
        connection_ = Connect();
      } catch (const Stream::StreamError&) {
        ::usleep(1000);
      }
    }
    if (!connection_) throw std::runtime_error("nats-server did not start");
    const char* subjects[] = {Stream::kAllInk};
    jsStreamConfig config;
    ::jsStreamConfig_Init(&config);
    config.Name = "INK";
    config.Subjects = subjects;
    config.SubjectsLen = 1;
    if (::js_AddStream(nullptr, connection_->stream(), &config, nullptr, nullptr) != NATS_OK) {
      throw std::runtime_error("nats-server makes no stream");
    }
  }

  std::string url() const { return "nats://127.0.0.1:" + std::to_string(port_); }
  const Server& server() const { return server_; }

  std::unique_ptr<Stream::Connection> Connect() {
    Stream::StreamOptions options;
    options.servers = {url()};
    Stream::Watcher& watcher = *this;
    return std::make_unique<Stream::Connection>(options, "bench", watcher);
  }

  std::uint64_t Count() const {
    jsStreamInfo* info = nullptr;
    if (::js_GetStreamInfo(&info, connection_->stream(), "INK", nullptr, nullptr) != NATS_OK) {
      throw std::runtime_error("nats-server tells nothing of its stream");
    }
    const std::uint64_t count = info->State.Msgs;
    ::jsStreamInfo_Destroy(info);
    return count;
  }

  // Whether a consumer has been given as many messages and has acknowledged them.
  bool HasTaken(std::uint64_t count) const {
    jsConsumerInfo* info = nullptr;
    if (::js_GetConsumerInfo(&info, connection_->stream(), "INK", "bench", nullptr, nullptr) !=
        NATS_OK) {
      return false;
    }
    const bool has_taken = info->AckFloor.Stream >= count;
    ::jsConsumerInfo_Destroy(info);
    return has_taken;
  }

 private:
  void OnChange() override {}
  void OnServerError(const std::string&) override {}

  const int port_;
  const Server server_;
  Stream::Library library_;
  std::unique_ptr<Stream::Connection> connection_;
};

// How many of the packages each of so many threads or pens has: what is measured is as many as all
// of them have together, which may be a few less.
std::size_t ShareOf(std::size_t packages, std::size_t parts) {
  return std::max<std::size_t>(packages / parts, 1);
}

// One after the other, each after the acknowledgement of the one before.
void Publish(const Stream::Connection& connection, std::uint64_t pen, std::size_t packages) {
  for (std::size_t i = 0; i < packages; ++i) {
    const std::string bytes = MakeHandwriting(pen, i % 10, kImportTimeMs + i * 60000, kPoints);
    const Stream::OutgoingInk ink({PenSerial(pen), PageAddress(i % 10), "STF2", "bench", "bench"},
                                  bytes, connection.limit_bytes());
    const Stream::MessagePtr message = ink.Make(1);
    jsPubOptions options;
    ::jsPubOptions_Init(&options);
    options.MsgId = ink.identity().c_str();
    if (::js_PublishMsg(nullptr, connection.stream(), message.get(), &options, nullptr) !=
        NATS_OK) {
      throw std::runtime_error("the stream takes nothing");
    }
  }
}

// What nothing can do without that waits for acknowledgements as quillpost-forward does.
double FloorOf(const BenchRoot& root, std::size_t pens, std::size_t packages) {
  MeasuredStream stream(root.path() / "floor");
  const auto connection = stream.Connect();
  const std::size_t threads = std::min(pens, kMostAtATime);
  const std::size_t each = ShareOf(packages, threads);
  const double time = TimeOf([&] {
    std::vector<std::thread> all;
    for (std::size_t i = 0; i < threads; ++i) {
      all.emplace_back([&, i] { Publish(*connection, i + 1, each); });
    }
    for (auto& thread : all) thread.join();
  });
  return time / static_cast<double>(each * threads);
}

// The service's part of the road: one pen's packages, confirmed as soon as they are offered.
void TakeFromServiceAlone(const Sizes& sizes, const Disk& disk, Report& report) {
  Samples alone;
  Samples floor;
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    const BenchRoot root(disk.path());
    floor.seconds.push_back(FloorOf(root, 1, sizes.forward_packages));
    root.Subscribe(1);
    FillWithHandwriting(root, 1, sizes.forward_packages);
    ::sync();
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    const double time = TimeOf([&] {
      Child([&] {
        const auto taker = TakeFromService(0);
        for (std::size_t taken = 0; taken < sizes.forward_packages; ++taken) taker->Next();
      }).Wait();
    });
    alone.seconds.push_back(time / static_cast<double>(sizes.forward_packages));
  }
  report.AddFigure("forward: service's part of a package, in microseconds", alone.Median() * 1e6);
  report.AddFigure("forward: service's part and publishing, times publishing alone",
                   (alone.Median() + floor.Median()) / floor.Median());
}

// A backlog of as many pens, until it is in the stream and confirmed; or until an inbox has it,
// too.
void TakeBacklog(const Sizes& sizes, const Disk& disk, std::size_t pens, bool is_with_inbox,
                 Report& report) {
  const std::string end = is_with_inbox ? "in an inbox" : "in the stream";
  const std::size_t each = ShareOf(sizes.forward_packages, pens), packages = each * pens;
  Case result = {"forward", "packages of " + std::to_string(pens) + " pens, " + end, {}, {}, {}};
  result.sizes = {{"packages", packages}, {"pens", pens}};
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    const BenchRoot root(disk.path());
    result.floor.seconds.push_back(FloorOf(root, pens, packages));
    fs::create_directories(root.subscriptions());
    std::ofstream(root.subscriptions() / "Forward")
        << R"({"Path":"/nonexistent","Title":"Forward","PageAddresses":["*.*.*.*"]})";
    for (std::size_t pen = 1; pen <= pens; ++pen) {
      FillWithHandwriting(root, pen, each);
    }
    ::sync();
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    const MeasuredStream stream(root.path() / "stream");
    std::unique_ptr<Server> inbox;
    if (is_with_inbox) {
      inbox =
          std::make_unique<Server>(std::vector<std::string>{Beside("quillpost-inbox"), "--from",
                                                            stream.url(), "--consumer", "bench"},
                                   root.path() / "inbox.log");
      while (!stream.HasTaken(0)) ::usleep(1000);
    }
    const double time = TimeOf([&] {
      const Server forward({Beside("quillpost-forward"), "--to", stream.url()},
                           root.path() / "forward.log");
      while (!fs::is_empty(root.storage())) ::usleep(1000);
      while (is_with_inbox && !stream.HasTaken(stream.Count())) ::usleep(1000);
    });
    result.service.seconds.push_back(time / static_cast<double>(packages));
  }
  report.Add(result);
  report.AddAtMost("forward: " + result.name + ", times publishing alone",
                   result.service.Median() / result.floor.Median(), 2);
}

// Connections that each publish a little, as desktops do.
void ConnectDesktops(const Sizes& sizes, const Disk& disk, Report& report) {
  for (const std::size_t desktops : {std::size_t{1}, sizes.desktops}) {
    const BenchRoot root(disk.path());
    MeasuredStream stream(root.path() / "stream");
    const std::uint64_t before = stream.server().ResidentBytes();
    std::vector<std::unique_ptr<Stream::Connection>> connections;
    for (std::size_t i = 0; i < desktops; ++i) connections.push_back(stream.Connect());
    const std::string of = "forward: " + std::to_string(desktops) + " desktops, ";
    report.AddFigure(of + "server's memory for each connection, in KiB",
                     static_cast<double>(stream.server().ResidentBytes() - before) / kKiB /
                         static_cast<double>(desktops));
    const std::size_t each = ShareOf(sizes.forward_packages, desktops);
    const double processor = stream.server().CpuSeconds();
    const double time = TimeOf([&] {
      std::vector<std::thread> all;
      for (std::size_t i = 0; i < desktops; ++i) {
        all.emplace_back([&, i] { Publish(*connections[i], i + 1, each); });
      }
      for (auto& thread : all) thread.join();
    });
    const auto packages = static_cast<double>(each * desktops);
    report.AddFigure(of + "packages a second", packages / time);
    report.AddFigure(of + "server's processor time for a package, in microseconds",
                     (stream.server().CpuSeconds() - processor) * 1e6 / packages);
  }
}

}  // namespace

void RunForward(const Sizes& sizes, Report& report) {
  if (FindProgram("nats-server").empty()) {
    report.Note("forward", "left out: nats-server is not installed");
    return;
  }
  const Disk disk(sizes.disk);
  report.Note("disk", disk.Description());
  TakeFromServiceAlone(sizes, disk, report);
  for (const std::size_t pens : {1, 8}) TakeBacklog(sizes, disk, pens, false, report);
  TakeBacklog(sizes, disk, 8, true, report);
  ConnectDesktops(sizes, disk, report);
}

}  // namespace bench
