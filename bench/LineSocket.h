// A Unix stream socket that carries lines, with nothing between it and the system calls: the same
// for the service's clients and for the floors.

#pragma once

#include <string>
#include <utility>

namespace bench {

class LineSocket {
 public:
  explicit LineSocket(int fd) : fd_(fd) {}
  ~LineSocket();
  LineSocket(const LineSocket&) = delete;
  LineSocket& operator=(const LineSocket&) = delete;

  // To the service of this world. Throws where nobody listens.
  static int ConnectToService();

  // Two ends that are connected.
  static std::pair<int, int> Pair();

  void Send(const std::string& line) const;  // adds the line feed
  std::string Receive();                     // without it; throws at the end of the connection

 private:
  const int fd_;
  std::string input_;
};

}  // namespace bench
