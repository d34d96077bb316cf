// A program that does wrong things at the service's door, at random: what it sends, how much of it
// is JSON, whether it ever reads, and when it dies. It never waits long for the service, and takes
// the end of its connection for granted. What may belong to others it leaves alone: it asks for
// the ink of one application only, which is given to it.

#pragma once

#include <random>
#include <string>

class HostilePeer {
 public:
  // `application` is subscribed; `ink` is the path of a file with ink for it.
  HostilePeer(const std::string& endpoint, const std::string& application, const std::string& ink,
              unsigned seed);

  // One connection with what happens on it, a few dozen milliseconds long.
  void Visit();

 private:
  int Connect() const;
  // Sends what the service takes; false if it has ended the connection.
  bool Pour(int fd, const std::string& bytes);
  void Read(int fd);
  std::string Misdeed();
  std::string Bytes(std::size_t size);
  std::string Request(const std::string& method, const std::string& params);
  std::string ManyValues();
  std::size_t UpTo(std::size_t most) { return random_() % (most + 1); }

  const std::string endpoint_;
  const std::string application_;
  const std::string ink_;
  std::mt19937 random_;
};
