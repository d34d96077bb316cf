// Tells when another process has committed to the database, an import from a shell for one.

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <string>

namespace Inbox {

// Lives on the queue's thread.
class DatabaseWatch {
 public:
  // `on_change` is called on the queue's thread after writes to the database at `path`, our own
  // included: after the first at once, after those of the next 20 ms at their end. Without a free
  // watch of the system it never is.
  DatabaseWatch(boost::asio::io_context& queue, const std::string& path,
                std::function<void()> on_change);

 private:
  void Read();

  void Rest();

  boost::asio::posix::stream_descriptor events_;
  boost::asio::steady_timer rest_;
  const std::function<void()> on_change_;
  char buffer_[4096];
};

}  // namespace Inbox
