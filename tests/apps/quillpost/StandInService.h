// Stands at the endpoint in a service's place and answers as a test wants, to show what a real one
// does only for a moment: it vanishes between two requests. One client at a time, on the thread of
// the test.

#pragma once

#include <TalvoQuillpost/Protocol.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string>

#include "support/Patience.h"

class StandInService {
 public:
  StandInService() : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string path = IPC::Protocol::Quillpost::GetEndpoint();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(listener_, 5) != 0) {
      throw std::runtime_error("can't listen at " + path);
    }
  }
  ~StandInService() { Vanish(); }
  StandInService(const StandInService&) = delete;
  StandInService& operator=(const StandInService&) = delete;

  // Waits for the next request of the client and returns its line.
  std::string TakeRequest() {
    if (client_ < 0) {
      Await(listener_);
      client_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    }
    std::string line;
    for (char c = 0; c != '\n';) {
      Await(client_);
      if (::recv(client_, &c, 1, 0) != 1) throw std::runtime_error("the client has gone");
      line += c;
    }
    return line;
  }

  // Answers a request with a status.
  void Answer(const std::string& request, const std::string& status) {
    const std::size_t id = request.find("\"id\":") + 5;
    const std::string number = request.substr(id, request.find_first_of(",}", id) - id);
    const std::string reply = "{\"jsonrpc\":\"2.0\",\"id\":" + number +
                              ",\"result\":{\"status\":\"" + status + "\",\"result\":null}}\n";
    if (::send(client_, reply.data(), reply.size(), MSG_NOSIGNAL) < 0) {
      throw std::runtime_error("can't answer");
    }
  }

  // Ends the connection and listens no more, as a service that is killed.
  void Vanish() {
    for (int* fd : {&client_, &listener_}) {
      if (*fd >= 0) ::close(*fd);
      *fd = -1;
    }
  }

 private:
  static void Await(int fd) {
    pollfd readable = {fd, POLLIN, 0};
    constexpr int kPatienceMs = std::chrono::milliseconds(kPatience).count();
    if (::poll(&readable, 1, kPatienceMs) != 1) throw std::runtime_error("nothing comes");
  }

  int listener_;
  int client_ = -1;
};
