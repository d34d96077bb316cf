// beanstalkd: puts, reserves and deletes over a Unix socket, jobs written to its log.

#include <stdexcept>

#include "Peer.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

void Expect(LineSocket& socket, const std::string& answer) {
  const std::string line = socket.Receive();
  if (line.rfind(answer, 0) != 0) throw std::runtime_error("beanstalkd answers " + line);
}

class BeanstalkdTaker : public Taker {
 public:
  explicit BeanstalkdTaker(const std::string& path) : socket_(LineSocket::ConnectToPath(path)) {}

  void Next() override {
    const bool is_first = id_.empty();
    socket_.SendBytes((is_first ? "" : "delete " + id_ + "\r\n") + "reserve\r\n");
    if (!is_first) Expect(socket_, "DELETED");
    const std::string line = socket_.Receive();  // RESERVED <id> <bytes>
    const std::size_t id = line.find(' ') + 1;
    const std::size_t bytes = line.find(' ', id) + 1;
    if (id == 0 || bytes == 0) throw std::runtime_error("beanstalkd answers " + line);
    id_ = line.substr(id, bytes - 1 - id);
    socket_.ReceiveBytes(std::stoul(line.substr(bytes)) + 2);
  }

 private:
  LineSocket socket_;
  std::string id_;
};

class BeanstalkdPutter : public PeerPutter {
 public:
  BeanstalkdPutter(const std::string& path, std::size_t bytes)
      : socket_(LineSocket::ConnectToPath(path)),
        put_("put 0 0 3600 " + std::to_string(bytes) + "\r\n" + std::string(bytes, 'x') + "\r\n") {}

  void Put() override {
    socket_.SendBytes(put_);
    Expect(socket_, "INSERTED");
  }

  // One after the other: several puts on their way make it slower if it syncs, and many of 10 KB
  // make it stall.
  void PutMany(std::size_t count) override {
    for (std::size_t i = 0; i < count; ++i) Put();
  }

 private:
  LineSocket socket_;
  const std::string put_;
};

class Beanstalkd : public Peer {
 public:
  Beanstalkd(const fs::path& directory, Sync sync)
      : Peer(kBeanstalkd, directory), sync_(sync), path_((directory / "socket").string()) {}

  std::unique_ptr<Taker> Take() override { return std::make_unique<BeanstalkdTaker>(path_); }
  std::unique_ptr<PeerPutter> Put(std::size_t bytes) override {
    return std::make_unique<BeanstalkdPutter>(path_, bytes);
  }

 protected:
  std::vector<std::string> Command() override {
    fs::remove(path_);
    return {FindProgram("beanstalkd"),           "-l", "unix:" + path_, "-b", directory().string(),
            sync_ == Sync::kLater ? "-F" : "-f0"};
  }

  // It reads its log before it answers.
  bool IsServing() override {
    LineSocket socket(LineSocket::ConnectToPath(path_));
    socket.SendBytes("list-tube-used\r\n");
    Expect(socket, "USING");
    return true;
  }

 private:
  const Sync sync_;
  const std::string path_;
};

}  // namespace

std::unique_ptr<Peer> MakeBeanstalkd(const fs::path& directory, Sync sync) {
  return std::make_unique<Beanstalkd>(directory, sync);
}

}  // namespace bench
