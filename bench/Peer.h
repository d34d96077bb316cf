// Other servers that hold messages until a client has confirmed them: beanstalkd, Redis Streams and
// NATS JetStream, each from its Debian package. They are spoken to in their own protocols, over the
// cheapest socket that they have. Each runs in a directory of its own and writes its messages down,
// so that they outlive its process, as ink outlives the service's.

#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Clients.h"
#include "Measure.h"
#include "Process.h"
#include "Workloads.h"

namespace bench {

// When a message is written to the disk: at some time after its acceptance was told, or before.
enum class Sync { kLater, kBeforeReply };

class PeerPutter : public Putter {
 public:
  // Brings many of the same message; the server need not answer one before the next comes.
  virtual void PutMany(std::size_t count) = 0;
};

class Peer {
 public:
  Peer(std::string name, const std::filesystem::path& directory)
      : name_(std::move(name)), directory_(directory) {}
  virtual ~Peer() = default;

  const std::string& name() const { return name_; }

  // Returns when all messages that are in the directory can be taken.
  void Start();
  void Stop() { server_.reset(); }
  const Server& server() const { return *server_; }

  // Connections: a process that is to use one makes it itself.
  virtual std::unique_ptr<Taker> Take() = 0;
  virtual std::unique_ptr<PeerPutter> Put(std::size_t bytes) = 0;

 protected:
  const std::filesystem::path& directory() const { return directory_; }

  virtual std::vector<std::string> Command() = 0;

  // Connects and asks for something that needs the messages. Throws as long as nobody listens.
  virtual bool IsServing() = 0;

 private:
  const std::string name_;
  const std::filesystem::path directory_;
  std::unique_ptr<Server> server_;
};

typedef std::vector<std::unique_ptr<Peer>> Peers;

constexpr const char* kBeanstalkd = "beanstalkd";
constexpr const char* kRedis = "Redis Streams";
constexpr const char* kJetStream = "NATS JetStream";

std::unique_ptr<Peer> MakeBeanstalkd(const std::filesystem::path& directory, Sync sync);
std::unique_ptr<Peer> MakeRedis(const std::filesystem::path& directory, Sync sync);
std::unique_ptr<Peer> MakeJetStream(const std::filesystem::path& directory);

// Those that are asked for and installed, started in new directories below `parent`, with
// `messages` messages of `bytes` bytes waiting in each. With kBeforeReply, one that can't do so is
// left out.
Peers StartPeers(const Sizes& sizes, const std::filesystem::path& parent, std::size_t messages,
                 std::size_t bytes, Sync sync = Sync::kLater);

// Tells which of them are not installed.
void NoteMissingPeers(Report& report);

// A port on 127.0.0.1 that nobody has at the moment.
int FreePort();

// Where the program lies; empty if it is not installed.
std::string FindProgram(const std::string& name);

}  // namespace bench
