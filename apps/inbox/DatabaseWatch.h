// Tells when another process has committed to the database, an import from a shell for one.

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <functional>
#include <string>

namespace Inbox {

// Lives on the queue's thread.
class DatabaseWatch {
 public:
  // `on_change` is called on the queue's thread after writes to the database at `path`, our own
  // included. Without a free watch of the system it never is.
  DatabaseWatch(boost::asio::io_context& queue, const std::string& path,
                std::function<void()> on_change);

 private:
  void Read();

  boost::asio::posix::stream_descriptor events_;
  const std::function<void()> on_change_;
  char buffer_[4096];
};

}  // namespace Inbox
