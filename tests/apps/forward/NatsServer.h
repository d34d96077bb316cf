// A real server of streams in a process of its own, on a loopback port, with its files in the
// test's root. Ends with the object.

#pragma once

#include <boost/filesystem/path.hpp>
#include <memory>
#include <string>

#include "support/Process.h"

class NatsServer {
 public:
  // `settings` are lines of the server's configuration. Starts it and waits until it listens;
  // throws std::runtime_error with its log if it does not. A server of a cluster is told its port,
  // others find one. The address may be that of all networks, 0.0.0.0.
  explicit NatsServer(const boost::filesystem::path& folder, const std::string& settings = "",
                      unsigned short port = 0, const std::string& address = "127.0.0.1");

  // As a power cut would end it; and up again, with its files, on the same port.
  void Kill();
  void Start();

  // Of the next start.
  void SetSettings(const std::string& settings) { settings_ = settings; }

  bool is_running() const { return process_ != nullptr; }
  unsigned short port() const { return port_; }
  std::string url(const std::string& scheme = "nats://",
                  const std::string& host = "127.0.0.1") const {
    return scheme + host + ":" + std::to_string(port_);
  }

 private:
  bool TryStart();

  const boost::filesystem::path folder_;
  std::string settings_;
  unsigned short port_;
  const std::string address_;
  std::unique_ptr<Process> process_;
};

// A port on 127.0.0.1 that nobody has at the moment.
unsigned short FreePort();
