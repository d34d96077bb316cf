#include "DatabaseWatch.h"

#include <sys/inotify.h>

#include <boost/asio/buffer.hpp>
#include <chrono>
#include <filesystem>
#include <utility>

namespace Inbox {

DatabaseWatch::DatabaseWatch(boost::asio::io_context& queue, const std::string& path,
                             std::function<void()> on_change)
    : events_(queue), rest_(queue), on_change_(std::move(on_change)) {
  const int fd = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
  if (fd < 0) return;
  events_.assign(fd);
  // A commit is written to a log beside the database before readers see it; what its writer does
  // last is to close the files.
  ::inotify_add_watch(fd, std::filesystem::path(path).parent_path().c_str(),
                      IN_MODIFY | IN_CLOSE_WRITE);
  Read();
}

void DatabaseWatch::Read() {
  events_.async_read_some(boost::asio::buffer(buffer_),
                          [this](const boost::system::error_code& error, std::size_t) {
                            if (error) return;
                            on_change_();
                            Rest();
                          });
}

// A commit is dozens of writes, and each that is waited for costs more to hear of than to make. The
// system keeps them until they are read, equal ones as one.
void DatabaseWatch::Rest() {
  rest_.expires_after(std::chrono::milliseconds(20));
  rest_.async_wait([this](const boost::system::error_code& error) {
    if (!error) Read();
  });
}

}  // namespace Inbox
