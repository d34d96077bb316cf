// A stream socket that carries lines, with nothing between it and the system calls: the same for
// the service's clients, for the floors, and for the clients of other servers.

#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace bench {

class LineSocket {
 public:
  explicit LineSocket(int fd);
  ~LineSocket();
  LineSocket(const LineSocket&) = delete;
  LineSocket& operator=(const LineSocket&) = delete;

  // To the service of this root, to a Unix socket, to a port of this machine. They throw if nobody
  // listens.
  static int ConnectToService();
  static int ConnectToPath(const std::string& path);
  static int ConnectToPort(int port);

  // Two ends that are connected.
  static std::pair<int, int> Pair();

  void Send(const std::string& line) const;  // adds the line feed
  void SendBytes(const std::string& bytes) const;

  // Waits until something has come, or the other side has closed: then it is true.
  bool AtEnd();

  // Throw at the end of the connection, and if nothing comes for minutes.
  std::string Receive();  // a line, without its line feed
  std::string ReceiveBytes(std::size_t count);

 private:
  bool ReceiveMore();  // false at the end

  const int fd_;
  std::string input_;
};

}  // namespace bench
