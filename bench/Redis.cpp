// Redis Streams: one stream with one consumer group, over a Unix socket, written to the append-only
// file.

#include <algorithm>
#include <stdexcept>

#include "Peer.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::size_t kBatch = 100;  // puts on their way together

// A command as Redis wants it: the number of words, and each with its length.
std::string Command(const std::vector<std::string>& words) {
  std::string bytes = "*" + std::to_string(words.size()) + "\r\n";
  for (const std::string& word : words) {
    bytes += "$" + std::to_string(word.size()) + "\r\n" + word + "\r\n";
  }
  return bytes;
}

// Reads an answer of any shape. Returns its first string that looks like the id of a message, else
// its first line.
std::string ReceiveAnswer(LineSocket& socket) {
  const std::string line = socket.Receive();
  if (line.empty() || line[0] == '-') throw std::runtime_error("Redis answers " + line);
  const long size = line[0] == '$' || line[0] == '*' ? std::stol(line.substr(1)) : 0;
  if (line[0] == '$' && size >= 0) {
    std::string bytes = socket.ReceiveBytes(static_cast<std::size_t>(size) + 2);
    bytes.resize(static_cast<std::size_t>(size));
    return bytes;
  }
  std::string id = line;
  for (long i = 0; line[0] == '*' && i < size; ++i) {
    const std::string part = ReceiveAnswer(socket);
    if (id == line && part.find('-') != std::string::npos) id = part;
  }
  return id;
}

class RedisTaker : public Taker {
 public:
  explicit RedisTaker(const std::string& path) : socket_(LineSocket::ConnectToPath(path)) {}

  // A message that is acknowledged is deleted, too: the stream keeps what waits, no more.
  void Next() override {
    std::string commands;
    if (!id_.empty()) {
      commands = Command({"XACK", "ink", "app", id_}) + Command({"XDEL", "ink", id_});
    }
    commands += Command(
        {"XREADGROUP", "GROUP", "app", "one", "COUNT", "1", "BLOCK", "0", "STREAMS", "ink", ">"});
    socket_.SendBytes(commands);
    for (int i = 0; i < 2 && !id_.empty(); ++i) ReceiveAnswer(socket_);
    id_ = ReceiveAnswer(socket_);
  }

 private:
  LineSocket socket_;
  std::string id_;
};

class RedisPutter : public PeerPutter {
 public:
  RedisPutter(const std::string& path, std::size_t bytes)
      : socket_(LineSocket::ConnectToPath(path)),
        put_(Command({"XADD", "ink", "*", "stroke", std::string(bytes, 'x')})) {}

  void Put() override { PutMany(1); }

  void PutMany(std::size_t count) override {
    for (std::size_t done = 0; done < count;) {
      const std::size_t batch = std::min(kBatch, count - done);
      std::string puts;
      for (std::size_t i = 0; i < batch; ++i) puts += put_;
      socket_.SendBytes(puts);
      for (std::size_t i = 0; i < batch; ++i) ReceiveAnswer(socket_);
      done += batch;
    }
  }

 private:
  LineSocket socket_;
  const std::string put_;
};

class Redis : public Peer {
 public:
  Redis(const fs::path& directory, Sync sync)
      : Peer(kRedis, directory), sync_(sync), path_((directory / "socket").string()) {}

  std::unique_ptr<Taker> Take() override { return std::make_unique<RedisTaker>(path_); }
  std::unique_ptr<PeerPutter> Put(std::size_t bytes) override {
    return std::make_unique<RedisPutter>(path_, bytes);
  }

 protected:
  // Its own rewriting of the file would only cost it time here.
  std::vector<std::string> Command() override {
    return {FindProgram("redis-server"),
            "--port",
            "0",
            "--unixsocket",
            path_,
            "--dir",
            directory().string(),
            "--save",
            "",
            "--appendonly",
            "yes",
            "--appendfsync",
            sync_ == Sync::kLater ? "no" : "always",
            "--auto-aof-rewrite-percentage",
            "0"};
  }

  // While it loads it answers with an error.
  bool IsServing() override {
    LineSocket socket(LineSocket::ConnectToPath(path_));
    socket.SendBytes(bench::Command({"EXISTS", "ink"}));
    if (ReceiveAnswer(socket) == ":1\r") return true;
    socket.SendBytes(bench::Command({"XGROUP", "CREATE", "ink", "app", "0", "MKSTREAM"}));
    ReceiveAnswer(socket);
    return true;
  }

 private:
  const Sync sync_;
  const std::string path_;
};

}  // namespace

std::unique_ptr<Peer> MakeRedis(const fs::path& directory, Sync sync) {
  return std::make_unique<Redis>(directory, sync);
}

}  // namespace bench
