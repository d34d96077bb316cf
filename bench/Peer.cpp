#include "Peer.h"

#include <unistd.h>

#include <exception>
#include <stdexcept>

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr double kPatienceSeconds = 120;
constexpr useconds_t kPauseUs = 500;

constexpr const char* kPrograms[] = {"beanstalkd", "redis-server", "nats-server"};

}  // namespace

void Peer::Start() {
  fs::create_directories(directory_);
  server_ = std::make_unique<Server>(Command(), directory_ / "log");
  for (const double start = Now(); Now() - start < kPatienceSeconds; ::usleep(kPauseUs)) {
    if (!server_->IsRunning()) break;
    try {
      if (IsServing()) return;
    } catch (const std::exception&) {
      // nobody listens yet
    }
  }
  throw std::runtime_error(name_ + " does not start");
}

Peers StartPeers(const Sizes& sizes, const fs::path& parent, std::size_t messages,
                 std::size_t bytes, Sync sync) {
  Peers peers;
  if (!sizes.peers) return peers;
  if (!FindProgram("beanstalkd").empty()) {
    peers.push_back(MakeBeanstalkd(parent / "beanstalkd", sync));
  }
  if (!FindProgram("redis-server").empty()) peers.push_back(MakeRedis(parent / "redis", sync));
  if (!FindProgram("nats-server").empty() && sync == Sync::kLater) {
    peers.push_back(MakeJetStream(parent / "jetstream"));
  }
  for (const auto& peer : peers) {
    peer->Start();
    peer->Put(bytes)->PutMany(messages);
  }
  return peers;
}

void NoteMissingPeers(Report& report) {
  for (const std::string program : kPrograms) {
    if (FindProgram(program).empty()) report.Note("peers", program + " is not installed");
  }
}

std::string FindProgram(const std::string& name) {
  for (const std::string directory : {"/usr/local/bin/", "/usr/bin/", "/usr/sbin/", "/sbin/"}) {
    if (::access((directory + name).c_str(), X_OK) == 0) return directory + name;
  }
  return std::string();
}

}  // namespace bench
