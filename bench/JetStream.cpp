// NATS JetStream: one stream in files, from which an acknowledged message is removed, and one
// consumer that pulls, over a loopback port: it has no Unix socket.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "Peer.h"

namespace fs = std::filesystem;

namespace bench {

int FreePort() {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const bool is_bound = ::bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  ::close(fd);
  if (!is_bound) throw std::runtime_error("there is no free port");
  return ntohs(address.sin_port);
}

namespace {

constexpr std::size_t kBatch = 100;  // puts on their way together

// A connection with an inbox of its own, to which all answers and messages are sent.
class NatsSocket {
 public:
  struct Message {
    std::string reply_to;
    std::string bytes;
  };

  explicit NatsSocket(int port) : socket_(LineSocket::ConnectToPort(port)) {
    static int connections = 0;
    inbox_ = "_INBOX." + std::to_string(::getpid()) + "." + std::to_string(++connections);
    socket_.SendBytes("CONNECT {\"verbose\":false,\"pedantic\":false}\r\nSUB " + inbox_ + " 1\r\n");
  }

  // The text that publishes something and asks for an answer.
  std::string Publication(const std::string& subject, const std::string& bytes) const {
    return "PUB " + subject + " " + inbox_ + " " + std::to_string(bytes.size()) + "\r\n" + bytes +
           "\r\n";
  }

  void Send(const std::string& bytes) const { socket_.SendBytes(bytes); }

  Message Receive() {
    for (;;) {
      const std::string line = socket_.Receive();
      if (line.rfind("PING", 0) == 0) socket_.SendBytes("PONG\r\n");
      if (line.rfind("-ERR", 0) == 0) throw std::runtime_error("JetStream answers " + line);
      if (line.rfind("MSG ", 0) == 0) return ReceiveMessage(line);
    }
  }

 private:
  // MSG <subject> <number of the subscription> [reply to] <bytes>
  Message ReceiveMessage(const std::string& line) {
    std::istringstream text(line);
    const std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
    Message message;
    if (words.size() == 5) message.reply_to = words[3];
    const std::size_t bytes = std::stoul(words.back());
    message.bytes = socket_.ReceiveBytes(bytes + 2);
    message.bytes.resize(bytes);
    return message;
  }

  LineSocket socket_;
  std::string inbox_;
};

// Confirms and asks for the next in one message. No slower than a consumer to which messages are
// pushed one at a time, the other way that does without a request for each.
class JetStreamTaker : public Taker {
 public:
  explicit JetStreamTaker(int port) : socket_(port) {}

  void Next() override {
    if (reply_to_.empty()) {
      socket_.Send(socket_.Publication("$JS.API.CONSUMER.MSG.NEXT.INK.APP", "1"));
    } else {
      socket_.Send(socket_.Publication(reply_to_, "+NXT"));
    }
    do {
      reply_to_ = socket_.Receive().reply_to;
    } while (reply_to_.empty());
  }

 private:
  NatsSocket socket_;
  std::string reply_to_;
};

class JetStreamPutter : public PeerPutter {
 public:
  JetStreamPutter(int port, std::size_t bytes)
      : socket_(port), put_(socket_.Publication("ink", std::string(bytes, 'x'))) {}

  void Put() override { PutMany(1); }

  void PutMany(std::size_t count) override {
    for (std::size_t done = 0; done < count;) {
      const std::size_t batch = std::min(kBatch, count - done);
      std::string puts;
      for (std::size_t i = 0; i < batch; ++i) puts += put_;
      socket_.Send(puts);
      for (std::size_t i = 0; i < batch; ++i) ReceiveAcknowledgement();
      done += batch;
    }
  }

 private:
  void ReceiveAcknowledgement() {
    const std::string answer = socket_.Receive().bytes;
    if (answer.find("\"seq\"") == std::string::npos) {
      throw std::runtime_error("JetStream answers " + answer);
    }
  }

  NatsSocket socket_;
  const std::string put_;
};

class JetStream : public Peer {
 public:
  explicit JetStream(const fs::path& directory) : Peer(kJetStream, directory) {}

  std::unique_ptr<Taker> Take() override { return std::make_unique<JetStreamTaker>(port_); }
  std::unique_ptr<PeerPutter> Put(std::size_t bytes) override {
    return std::make_unique<JetStreamPutter>(port_, bytes);
  }

 protected:
  std::vector<std::string> Command() override {
    port_ = FreePort();
    return {FindProgram("nats-server"), "-a",  "127.0.0.1", "-p",
            std::to_string(port_),      "-js", "-sd",       directory().string()};
  }

  // Makes the stream and its consumer; that they are there already is an answer, too.
  bool IsServing() override {
    NatsSocket socket(port_);
    socket.Send(socket.Publication(
        "$JS.API.STREAM.CREATE.INK",
        R"({"name":"INK","subjects":["ink"],"retention":"workqueue","storage":"file"})"));
    if (!IsMade(socket.Receive().bytes)) return false;
    socket.Send(socket.Publication(
        "$JS.API.CONSUMER.DURABLE.CREATE.INK.APP",
        R"({"stream_name":"INK","config":{"durable_name":"APP","ack_policy":"explicit"}})"));
    return IsMade(socket.Receive().bytes);
  }

 private:
  static bool IsMade(const std::string& answer) {
    return answer.find("\"error\"") == std::string::npos;
  }

  int port_ = 0;
};

}  // namespace

std::unique_ptr<Peer> MakeJetStream(const fs::path& directory) {
  return std::make_unique<JetStream>(directory);
}

}  // namespace bench
