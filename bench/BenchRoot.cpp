#include "BenchRoot.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoOS/Root.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <stdexcept>

#include "storage/RoutingInfoFormat.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr int kReadyTimeoutMs = 600 * 1000;

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    throw std::runtime_error("can't write " + path.string());
  }
}

// The socket on which the service says that it is ready.
int BindReadySocket(const fs::path& path) {
  fs::remove(path);
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("can't bind " + path.string());
  }
  return fd;
}

fs::path OwnFolder() {
  boost::filesystem::path home;
  if (!TalvoOS::GetHomeDirectory(home)) throw std::runtime_error("this user has no home");
  return fs::path(home.string()) / "Library/Application Support/Talvo/Quillpost";
}

}  // namespace

std::string PenSerial(std::uint64_t pen) {
  return TalvoCppUtils::PenId(pen).string();
}

std::string PageAddress(std::size_t page) {
  return "1.2." + std::to_string(page / 1000) + "." + std::to_string(page % 1000);
}

BenchRoot::BenchRoot(const fs::path& parent) {
  std::string name = (parent / "qpbench.XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("can't make " + name);
  path_ = name;
  ::setenv("QUILLPOST_ROOT", path_.c_str(), 1);
  fs::create_directories(path_ / "var/tmp");
  fs::create_directories(storage());
  fs::create_directories(scratch());
  fs::create_directories(subscriptions());
}

BenchRoot::~BenchRoot() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  ::unsetenv("QUILLPOST_ROOT");
}

fs::path BenchRoot::storage() const {
  return OwnFolder() / "Storage";
}

fs::path BenchRoot::scratch() const {
  return OwnFolder() / "Temp";
}

fs::path BenchRoot::subscriptions() const {
  return path_ / "Library/Preferences/Talvo/Quillpost/Subscriptions";
}

void BenchRoot::Subscribe(std::size_t applications) const {
  for (std::size_t i = 0; i < applications; ++i) {
    WriteFile(subscriptions() / ("app" + std::to_string(i)),
              R"({"Path":"/bin/true","Title":"An application","PageAddresses":["1.2.*.*"]})");
  }
}

std::vector<fs::path> BenchRoot::FillStore(std::uint64_t pen, std::size_t strokes,
                                           std::size_t pages, std::size_t bytes) const {
  const std::string content(bytes, 'x');
  const fs::path directory = storage() / PenSerial(pen);
  for (std::size_t page = 0; page < pages; ++page) {
    fs::create_directories(directory / PageAddress(page));
  }
  std::vector<fs::path> files;
  for (std::size_t i = 0; i < strokes; ++i) {
    const std::string time = std::to_string(1700000000000 + i * 1000);
    files.push_back(directory / PageAddress(i % pages) / (time + "_" + time + ".stf2"));
    WriteFile(files.back(), content);
  }
  return files;
}

void BenchRoot::WriteArchive(std::uint64_t pen, const std::vector<fs::path>& strokes,
                             std::size_t applications, Strokes state) const {
  TalvoQuillpost::Storage::StrokeMap table;
  TalvoQuillpost::Storage::RoutingInfo_App claim;
  claim.delivered = state == Strokes::kReceived;
  for (const fs::path& file : strokes) {
    auto& claims = table[{file.parent_path().filename(), file.stem(), "stf2"}];
    for (std::size_t i = 0; i < applications; ++i) claims["app" + std::to_string(i)] = claim;
  }
  WriteFile(storage() / PenSerial(pen) / "RoutingInfo.txt",
            TalvoQuillpost::Storage::WriteRoutingInfo(table));
}

ReadySocket::ReadySocket(const fs::path& path) : fd_(BindReadySocket(path)) {
  ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
}

ReadySocket::~ReadySocket() {
  ::unsetenv("NOTIFY_SOCKET");
  ::close(fd_);
}

void ReadySocket::Wait() const {
  pollfd wait = {fd_, POLLIN, 0};
  if (::poll(&wait, 1, kReadyTimeoutMs) != 1) throw std::runtime_error("quillpostd does not start");
}

MeasuredService::MeasuredService(const BenchRoot& root)
    : MeasuredService(root, ReadySocket(root.path() / "ready")) {}

MeasuredService::MeasuredService(const BenchRoot& root, const ReadySocket& ready)
    : Server({fs::read_symlink("/proc/self/exe").parent_path() / "quillpostd"},
             root.path() / "log"),
      log_(root.path() / "log") {
  ready.Wait();
}

std::size_t MeasuredService::Passes() const {
  std::ifstream file(log_);
  std::size_t passes = 0;
  for (std::string line; std::getline(file, line);) {
    if (line.find("Synchronizing Storage's Ink Routing Info") != std::string::npos) ++passes;
  }
  return passes;
}

}  // namespace bench
