// A command of the user's that is run for a package.

#pragma once

#include <sys/types.h>
#include <boost/asio/io_service.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/noncopyable.hpp>
#include <functional>
#include <map>
#include <string>

// Runs one command after the other by the shell. Belongs to the thread of the queue.
class PackageCommand : boost::noncopyable {
 public:
  explicit PackageCommand(boost::asio::io_service& queue) : ended_(queue) {}

  // Starts `/bin/sh -c COMMAND` with these variables in its environment, the null device as its
  // standard input, and default signal dispositions. `on_end` is called on the queue with its exit
  // status, 128 plus the signal for one that a signal ended. False, with the reason in `reason`, if
  // it could not be started. Not to be called while one runs.
  bool Start(const std::string& command, const std::map<std::string, std::string>& variables,
             std::function<void(int status)> on_end, std::string& reason);

  bool is_running() const { return ended_.is_open(); }

 private:
  boost::asio::posix::stream_descriptor ended_;  // readable once the process has ended
};
