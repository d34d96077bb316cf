#include "World.h"

#include <TalvoCppUtils/PenId.h>
#include <TalvoOS/Root.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "storage/RoutingInfoFile.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr int kReadyTimeoutMs = 600 * 1000;
constexpr useconds_t kQuietUs = 300 * 1000;

void WriteFile(const fs::path& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    throw std::runtime_error("can't write " + path.string());
  }
}

// The socket on which the daemon says that it is ready.
int BindReadySocket(const fs::path& path) {
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("can't bind " + path.string());
  }
  return fd;
}

[[noreturn]] void RunDaemon(const fs::path& ready, const fs::path& log) {
  ::setenv("NOTIFY_SOCKET", ready.c_str(), 1);
  const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::dup2(out, STDERR_FILENO);
  const fs::path program = fs::read_symlink("/proc/self/exe").parent_path() / "quillpostd";
  ::execl(program.c_str(), "quillpostd", static_cast<char*>(nullptr));
  ::_exit(127);
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

World::World(const fs::path& parent) {
  std::string name = (parent / "qpbench.XXXXXX").string();
  if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("can't make " + name);
  path_ = name;
  ::setenv("QUILLPOST_ROOT", path_.c_str(), 1);
  fs::create_directories(path_ / "var/tmp");
  fs::create_directories(storage());
  fs::create_directories(scratch());
  fs::create_directories(subscriptions());
}

World::~World() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  ::unsetenv("QUILLPOST_ROOT");
}

fs::path World::storage() const {
  return OwnFolder() / "Storage";
}

fs::path World::scratch() const {
  return OwnFolder() / "Temp";
}

fs::path World::subscriptions() const {
  return path_ / "Library/Preferences/Talvo/Quillpost/Subscriptions";
}

void World::Subscribe(std::size_t applications) const {
  for (std::size_t i = 0; i < applications; ++i) {
    WriteFile(subscriptions() / ("app" + std::to_string(i)),
              R"({"Path":"/bin/true","Title":"An application","PageAddresses":["1.2.*.*"]})");
  }
}

std::vector<fs::path> World::FillStore(std::uint64_t pen, std::size_t strokes, std::size_t pages,
                                       std::size_t bytes) const {
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

void World::WriteArchive(std::uint64_t pen, const std::vector<fs::path>& strokes,
                         std::size_t applications) const {
  TalvoQuillpost::Storage::StrokeMap table;
  for (const fs::path& file : strokes) {
    auto& claims = table[{file.parent_path().filename(), file.stem(), "stf2"}];
    for (std::size_t i = 0; i < applications; ++i) claims["app" + std::to_string(i)];
  }
  WriteFile(storage() / PenSerial(pen) / "RoutingInfo.txt",
            TalvoQuillpost::Storage::WriteRoutingInfo(table));
}

Child::Child(const std::function<void()>& job) {
  std::fflush(nullptr);
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("can't start a process");
  if (pid_ > 0) return;
  int status = 0;
  try {
    job();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpost_bench: %s\n", error.what());
    status = 1;
  }
  ::_exit(status);
}

Child::~Child() {
  if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
}

void Child::Wait() {
  int status = 0;
  const pid_t pid = pid_;
  pid_ = -1;
  if (::waitpid(pid, &status, 0) != pid || status != 0) {
    throw std::runtime_error("a process of the benchmark failed");
  }
}

Daemon::Daemon(const World& world) {
  const fs::path ready = world.path() / "ready";
  fs::remove(ready);
  const int fd = BindReadySocket(ready);
  pid_ = ::fork();
  if (pid_ == 0) RunDaemon(ready, world.path() / "log");
  pollfd wait = {fd, POLLIN, 0};
  const bool is_ready = pid_ > 0 && ::poll(&wait, 1, kReadyTimeoutMs) == 1;
  ::close(fd);
  if (!is_ready) throw std::runtime_error("quillpostd does not start");
}

Daemon::~Daemon() {
  ::kill(pid_, SIGTERM);
  ::waitpid(pid_, nullptr, 0);
}

void Daemon::WaitUntilQuiet() const {
  for (double before = -1, now = CpuSeconds(); now != before; now = CpuSeconds()) {
    before = now;
    ::usleep(kQuietUs);
  }
}

std::uint64_t Daemon::StatusBytes(const std::string& key) const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(key + ":", 0) == 0) return std::stoull(line.substr(key.size() + 1)) * 1024;
  }
  throw std::runtime_error("quillpostd has ended");
}

std::uint64_t Daemon::ResidentBytes() const {
  return StatusBytes("VmRSS");
}

std::uint64_t Daemon::PeakBytes() const {
  return StatusBytes("VmHWM");
}

double Daemon::CpuSeconds() const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
  std::string text;
  std::getline(file, text);
  std::istringstream fields(text.substr(text.rfind(')') + 2));
  std::string skipped;
  for (int i = 3; i < 14; ++i) fields >> skipped;
  double user = 0;
  double system = 0;
  fields >> user >> system;
  return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
}

std::uint64_t Daemon::WakeUps() const {
  std::uint64_t sum = 0;
  for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid_) + "/task")) {
    std::ifstream file(task.path() / "status");
    for (std::string line; std::getline(file, line);) {
      if (line.rfind("voluntary_ctxt_switches:", 0) == 0) sum += std::stoull(line.substr(24));
    }
  }
  return sum;
}

}  // namespace bench
