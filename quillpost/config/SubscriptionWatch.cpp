#include "config/SubscriptionWatch.h"

#include <errno.h>
#include <sys/inotify.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/filesystem/operations.hpp>

#include "common/Log.h"
#include "config/FilesConfig.h"

namespace fs = boost::filesystem;

namespace TalvoQuillpost {
namespace Config {

namespace {

constexpr std::uint32_t kGone = IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT;
constexpr std::uint32_t kOfSubscriptions = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                                           IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                           IN_ONLYDIR;
constexpr std::uint32_t kOfParents =
    IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

}  // namespace

SubscriptionWatch::SubscriptionWatch(boost::asio::io_service& queue,
                                     const boost::function<void()>& on_change)
    : on_change_(on_change), events_(queue) {
  const int descriptor = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (descriptor >= 0) events_.assign(descriptor);
  if (descriptor < 0 || !Arm()) {
    LogEnd(boost::system::error_code(errno, boost::system::system_category()));
    return;
  }
  Wait();
}

void SubscriptionWatch::LogEnd(const boost::system::error_code& error) {
  QUILLPOST_LOG_WARNING("Can't watch the subscriptions, so a change waits for the next ink: %s",
                        error.message().c_str());
}

// Watches the directory of the subscriptions, or the nearest one above it. False with errno set.
bool SubscriptionWatch::Arm() {
  const fs::path target = GetRoot();
  for (;;) {
    if (watch_ >= 0) ::inotify_rm_watch(events_.native_handle(), watch_);
    fs::path missing;  // the one below the directory that is watched
    fs::path path = target;
    while ((watch_ = AddWatch(path, path == target)) < 0) {
      if ((errno != ENOENT && errno != ENOTDIR) || !path.has_parent_path()) return false;
      missing = path;
      path = path.parent_path();
    }
    is_on_target_ = path == target;
    awaited_ = missing.filename().native();
    // It may have come after it was looked for and before its parent was watched.
    boost::system::error_code ignored;
    if (is_on_target_ || !fs::is_directory(fs::status(missing, ignored))) return true;
  }
}

int SubscriptionWatch::AddWatch(const fs::path& directory, bool is_target) {
  return ::inotify_add_watch(events_.native_handle(), directory.c_str(),
                             is_target ? kOfSubscriptions : kOfParents);
}

void SubscriptionWatch::Wait() {
  events_.async_read_some(boost::asio::buffer(buffer_),
                          [this](const boost::system::error_code& error, std::size_t size_bytes) {
                            OnEvents(error, size_bytes);
                          });
}

// Not the end of an earlier watch, and above the subscriptions nothing but what leads to them.
bool SubscriptionWatch::IsNews(const inotify_event& event) const {
  if ((event.mask & IN_Q_OVERFLOW) != 0) return true;
  if (event.wd != watch_) return false;
  return is_on_target_ || (event.mask & kGone) != 0 || (event.len > 0 && awaited_ == event.name);
}

void SubscriptionWatch::OnEvents(const boost::system::error_code& error, std::size_t size_bytes) {
  if (error == boost::asio::error::operation_aborted) return;
  if (error) return LogEnd(error);
  bool is_changed = false;
  bool is_gone = false;
  for (std::size_t at = 0; at < size_bytes;) {
    const auto* const event = reinterpret_cast<const inotify_event*>(&buffer_[at]);
    at += sizeof *event + event->len;
    if (!IsNews(*event)) continue;
    is_changed = true;
    is_gone = is_gone || (event->mask & kGone) != 0;
  }
  const bool must_arm = is_changed && (is_gone || !is_on_target_);
  const bool is_armed = !must_arm || Arm();
  if (!is_armed) LogEnd(boost::system::error_code(errno, boost::system::system_category()));
  if (is_changed) on_change_();
  if (is_armed) Wait();
}

}  // namespace Config
}  // namespace TalvoQuillpost
