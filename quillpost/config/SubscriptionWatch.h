// Tells when the subscriptions may have changed. Watches their directory, and as long as there is
// none the nearest directory above it, so that a subscription counts as soon as it is there.
//
// The callback runs on the thread of the queue. The object must live until that thread has ended;
// it is made and destroyed by the owner of the queue. If the system has no watch to spare, there is
// a line in the log, and nothing is told.

#pragma once

#include <array>
#include <boost/asio/io_service.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/filesystem/path.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <string>

struct inotify_event;

namespace TalvoQuillpost {
namespace Config {

class SubscriptionWatch : boost::noncopyable {
 public:
  SubscriptionWatch(boost::asio::io_service& queue, const boost::function<void()>& on_change);

 private:
  static void LogEnd(const boost::system::error_code& error);
  bool Arm();
  int AddWatch(const boost::filesystem::path& directory, bool is_target);
  bool IsNews(const inotify_event& event) const;
  void Wait();
  void OnEvents(const boost::system::error_code& error, std::size_t size_bytes);

  const boost::function<void()> on_change_;
  boost::asio::posix::stream_descriptor events_;
  int watch_ = -1;             // of the directory that is watched
  bool is_on_target_ = false;  // it is the directory of the subscriptions itself
  std::string awaited_;        // else the name in it that leads there
  alignas(8) std::array<char, 4096> buffer_;
};

}  // namespace Config
}  // namespace TalvoQuillpost
