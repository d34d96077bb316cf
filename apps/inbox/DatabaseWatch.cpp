#include "DatabaseWatch.h"

#include <sys/inotify.h>

#include <boost/asio/buffer.hpp>
#include <utility>

namespace Inbox {

DatabaseWatch::DatabaseWatch(boost::asio::io_context& queue, const std::string& path,
                             std::function<void()> on_change)
    : events_(queue), on_change_(std::move(on_change)) {
  const int fd = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (fd < 0) return;
  events_.assign(fd);
  // The log before the database: each commit is written there.
  ::inotify_add_watch(fd, (path + "-wal").c_str(), IN_MODIFY);
  Read();
}

void DatabaseWatch::Read() {
  events_.async_read_some(boost::asio::buffer(buffer_),
                          [this](const boost::system::error_code& error, std::size_t) {
                            if (error) return;
                            on_change_();
                            Read();
                          });
}

}  // namespace Inbox
