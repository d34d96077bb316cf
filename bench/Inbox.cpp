// inbox: how many packages a second quillpost-inbox keeps on a disk, how soon a browser hears of
// ink, and what a large inbox costs.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "Backlog.h"
#include "BenchRoot.h"
#include "Clients.h"
#include "Disk.h"
#include "Ink.h"
#include "Workloads.h"
#include "database/Database.h"
#include "database/Keeper.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr double kMiB = 1 << 20;

std::string ReadWhole(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// quillpost-inbox, found beside this program, and a browser that it has let in.
class MeasuredInbox : public Server {
 public:
  explicit MeasuredInbox(const BenchRoot& root)
      : Server({(fs::read_symlink("/proc/self/exe").parent_path() / "quillpost-inbox").string()},
               root.path() / "inbox.log") {
    const fs::path file = fs::path(::Inbox::DataDirectory()) / "inbox.address";
    std::string address;
    for (int i = 0; i < 60000 && (address = ReadWhole(file)).empty(); ++i) ::usleep(1000);
    if (address.empty()) throw std::runtime_error("the inbox did not start");
    const std::size_t path = address.find("/open");
    port_ = std::stoi(address.substr(sizeof "http://127.0.0.1:" - 1));
    const LineSocket socket(LineSocket::ConnectToPort(port_));
    LineSocket browser(LineSocket::ConnectToPort(port_));
    Ask(browser, address.substr(path, address.find('\n') - path));
    for (std::string line; (line = browser.Receive()) != "\r";) {
      const std::string name = "Set-Cookie: ";
      if (line.rfind(name, 0) == 0)
        cookie_ = line.substr(name.size(), line.find(';') - name.size());
    }
  }

  std::unique_ptr<LineSocket> Connect() const {
    return std::make_unique<LineSocket>(LineSocket::ConnectToPort(port_));
  }

  void Ask(LineSocket& socket, const std::string& target) const {
    socket.SendBytes("GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) +
                     "\r\nCookie: " + cookie_ + "\r\n\r\n");
  }

  // Waits for the whole answer.
  void Get(LineSocket& socket, const std::string& target) const {
    Ask(socket, target);
    if (socket.Receive().find(" 200 ") == std::string::npos) {
      throw std::runtime_error("the inbox refused " + target);
    }
    std::size_t length = 0;
    for (std::string line; (line = socket.Receive()) != "\r";) {
      const std::string name = "Content-Length: ";
      if (line.rfind(name, 0) == 0) length = std::stoul(line.substr(name.size()));
    }
    socket.ReceiveBytes(length);
  }

 private:
  int port_ = 0;
  std::string cookie_;
};

void SubscribeInbox(const BenchRoot& root) {
  fs::create_directories(root.subscriptions());
  std::ofstream(root.subscriptions() / "Inbox")
      << R"({"Path":"/nonexistent","Title":"Inbox","PageAddresses":["*.*.*.*.*"]})";
}

// What no keeper of packages can do without, one after the other: each written and synced.
double FloorOf(const BenchRoot& root, std::size_t packages, std::size_t bytes) {
  const std::string package(bytes, 'x');
  const fs::path path = root.path() / "floor";
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const double time = TimeOf([&] {
    for (std::size_t i = 0; i < packages; ++i) {
      if (::write(file, package.data(), bytes) < 0 || ::fdatasync(file) != 0) {
        throw std::runtime_error("the floor can't write");
      }
    }
  });
  ::close(file);
  return time / static_cast<double>(packages);
}

// A backlog of strokes of as many pens, taken by an inbox that starts. The service offers one
// package of each pen at a time.
void TakeBacklog(const Sizes& sizes, const Disk& disk, std::size_t pens, Report& report) {
  Case result = {"inbox", "packages of " + std::to_string(pens) + " pens kept", {}, {}, {}};
  result.sizes = {{"packages", sizes.inbox_packages}, {"pens", pens}};
  for (std::size_t i = 0; i < sizes.repetitions; ++i) {
    const BenchRoot root(disk.path());
    result.floor.seconds.push_back(FloorOf(root, 200, sizes.stroke_bytes));
    SubscribeInbox(root);
    for (std::size_t pen = 1; pen <= pens; ++pen) {
      FillWithHandwriting(root, pen, sizes.inbox_packages / pens);
    }
    ::sync();
    const MeasuredService service(root);
    service.WaitUntilQuiet();
    const double time = TimeOf([&] {
      const MeasuredInbox inbox(root);
      while (!fs::is_empty(root.storage())) ::usleep(1000);
    });
    result.service.seconds.push_back(time / static_cast<double>(sizes.inbox_packages));
  }
  report.Add(result);
  report.AddAtLeast("inbox: packages of " + std::to_string(pens) + " pens kept a second",
                    1 / result.service.Median(), pens > 1 ? 500 : 0);
}

// From the reply to an import until a browser has been told of the page, and has its ink.
void MeasureScreen(const Sizes& sizes, const Disk& disk, Report& report) {
  const BenchRoot root(disk.path());
  SubscribeInbox(root);
  const auto files = WriteInkFiles(root.path() / "ink", 50, sizes.stroke_bytes, 50);
  const MeasuredService service(root);
  const MeasuredInbox inbox(root);
  LineSocket importer(LineSocket::ConnectToService());
  const auto browser = inbox.Connect(), events = inbox.Connect();
  inbox.Ask(*events, "/api/events");
  while (events->Receive().rfind("id: ", 0) != 0) {
  }
  Case result = {"inbox", "from an import's reply to its ink in a browser", {}, {}, {}};
  std::size_t page = 0;
  for (const fs::path& file : files) {
    Import(importer, file);
    result.service.seconds.push_back(TimeOf([&] {
      while (events->Receive().rfind("event: page", 0) != 0) {
      }
      inbox.Get(*browser, "/api/pages/" + std::to_string(++page) + "/ink");
    }));
  }
  report.Add(result);
  report.AddAtMost("inbox: 99th percentile from an import to its ink in a browser, in seconds",
                   result.service.Quantile(0.99), 0.5);
}

// Pages that are put in without the service.
void FillInbox(std::size_t pages) {
  ::Inbox::MakeDataDirectory(::Inbox::DataDirectory());
  const ::Inbox::Database database(::Inbox::DataDirectory());
  const auto connection = database.OpenWriter();
  ::Inbox::Keeper keeper(*connection);
  constexpr std::size_t kTogether = 1000;
  constexpr int kPoints = 25;
  for (std::size_t page = 0; page < pages;) {
    ::Inbox::Transaction transaction(*connection);
    for (std::size_t i = 0; i < kTogether && page < pages; ++i, ++page) {
      keeper.Keep(
          {MakeHandwriting(1 + page % 3, page, kImportTimeMs + page * 60000, kPoints), "", ""},
          static_cast<std::int64_t>(1000 + page));
    }
    transaction.Commit();
  }
}

void MeasureLargeInbox(const Sizes& sizes, const Disk& disk, Report& report) {
  const BenchRoot root(disk.path());
  FillInbox(sizes.inbox_pages);
  const std::string size = std::to_string(sizes.inbox_pages) + " pages";
  std::unique_ptr<MeasuredInbox> inbox;
  report.AddFigure("inbox: start with " + size + ", in seconds",
                   TimeOf([&] { inbox = std::make_unique<MeasuredInbox>(root); }));
  const auto browser = inbox->Connect();
  const auto measure = [&](const std::string& name, const auto& target, double most) {
    Case result = {"inbox", name + " of " + size, {{"pages", sizes.inbox_pages}}, {}, {}};
    for (std::size_t i = 0; i < 50; ++i) {
      result.service.seconds.push_back(TimeOf([&] { inbox->Get(*browser, target(i)); }));
    }
    report.Add(result);
    report.AddAtMost("inbox: " + name + " of " + size + ", 99th percentile in seconds",
                     result.service.Quantile(0.99), most);
  };
  const std::size_t step = sizes.inbox_pages / 50;
  measure(
      "a list of 60", [](std::size_t) { return std::string("/api/pages?limit=60"); }, 0.05);
  measure(
      "a search for nothing",
      [](std::size_t i) { return "/api/pages?limit=60&q=nothing" + std::to_string(i); }, 0.25);
  measure(
      "the ink of one",
      [&](std::size_t i) { return "/api/pages/" + std::to_string(i * step + 1) + "/ink"; }, 0.1);
  measure(
      "a picture of one",
      [&](std::size_t i) {
        return "/api/pages/" + std::to_string(i * step + 2) + "/picture.png?size=400";
      },
      0.1);
  report.AddAtMost("inbox: memory with " + size + ", at most, in MiB",
                   static_cast<double>(inbox->PeakBytes()) / kMiB, 100);
}

}  // namespace

void RunInbox(const Sizes& sizes, Report& report) {
  const Disk disk(sizes.disk);
  report.Note("disk", disk.Description());
  for (const std::size_t pens : {1, 8, 32}) TakeBacklog(sizes, disk, pens, report);
  MeasureScreen(sizes, disk, report);
  MeasureLargeInbox(sizes, disk, report);
}

}  // namespace bench
