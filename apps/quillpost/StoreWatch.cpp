#include "StoreWatch.h"

#include <TalvoQuillpost/Protocol.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <cerrno>
#include <system_error>
#include <vector>

#include "common/Directories.h"
#include "common/Identifiers.h"
#include "config/FilesConfig.h"
#include "storage/StrokeFiles.h"

namespace fs = boost::filesystem;
using namespace TalvoQuillpost;

namespace {

fs::path Endpoint() {
  return IPC::Protocol::Quillpost::GetEndpoint();
}

}  // namespace

StoreWatch::StoreWatch() : events_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (events_.is_open()) {
    WatchAll();
  } else {
    fault_ = "no more directories can be watched: " + std::generic_category().message(errno);
  }
}

// Null if it can't be watched. A directory that is missing is not a fault.
StoreWatch::Role* StoreWatch::Watch(const fs::path& directory) {
  const int watch = ::inotify_add_watch(events_.get(), directory.c_str(),
                                        IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                            IN_MODIFY | IN_DELETE_SELF | IN_ONLYDIR);
  if (watch >= 0) return &roles_[watch];
  if (errno != ENOENT && errno != ENOTDIR) {
    fault_ = directory.string() + ": " + std::generic_category().message(errno);
  }
  return nullptr;
}

// The directory, or as long as it is not there the nearest above it, where it will appear.
StoreWatch::Role* StoreWatch::WatchNearest(const fs::path& directory) {
  fs::path nearest = directory;
  fs::path below;  // was not there a moment ago
  while (true) {
    Role* const role = Watch(nearest);
    boost::system::error_code error;
    if (role != nullptr && (below.empty() || !fs::exists(below, error))) return role;
    if (role != nullptr) {  // it came before its parent was watched
      nearest = directory;
      below.clear();
      continue;
    }
    if (!fault_.empty() || !nearest.has_parent_path()) return nullptr;
    below = nearest;
    nearest = nearest.parent_path();
  }
}

void StoreWatch::WatchAll() {
  fault_.clear();
  if (Role* role = WatchNearest(Config::GetRoot())) role->is_subscriptions = true;
  if (Role* role = WatchNearest(Endpoint().parent_path())) role->is_service = true;
  const fs::path root = Storage::GetStorageRoot();
  if (root.empty()) return;
  if (Role* role = WatchNearest(root)) role->is_store = true;
  try {
    std::vector<std::string> pens;
    Common::ListDirectoryNames(root, pens);
    for (const std::string& pen : pens) {
      std::vector<std::string> pages;
      if (Role* role = Watch(root / pen)) role->pen = pen;
      Common::ListDirectoryNames(root / pen, pages);
      for (const std::string& page : pages) {
        if (!Common::IsPageAddressValid(page)) continue;
        if (Role* role = Watch(root / pen / page)) {
          role->pen = pen;
          role->page = page;
        }
      }
    }
  } catch (const fs::filesystem_error& error) {
    fault_ = error.what();
  }
}

void StoreWatch::TakeEvent(int watch, unsigned mask, const std::string& name, News& news) {
  const auto found = roles_.find(watch);
  if ((mask & IN_Q_OVERFLOW) != 0) news.is_all = true;
  if (found == roles_.end()) return;
  const Role& role = found->second;
  if (!role.pen.empty()) news.pens.insert(role.pen);
  const bool is_visible = !name.empty() && name[0] != '.' && (mask & IN_ISDIR) == 0;
  if (!role.page.empty() && is_visible && (mask & IN_MODIFY) == 0) {
    const bool has_come = (mask & (IN_CREATE | IN_MOVED_TO)) != 0;
    news.files.push_back({role.pen, role.page + "/" + name, has_come});
  }
  if (role.is_subscriptions) news.are_subscriptions = true;
  if (role.is_store && (mask & IN_ISDIR) != 0) {
    if (Common::IsPenSerialValid(name)) news.pens.insert(name);
    boost::system::error_code error;
    news.is_all = news.is_all || !fs::exists(Storage::GetStorageRoot() / name, error);
  }
  // The service's directory is everybody's; its lock goes when it listens.
  const std::string own = Endpoint().filename().string();
  if (role.is_service && name.compare(0, own.size(), own) == 0) news.is_service = true;
  if ((mask & IN_IGNORED) != 0) roles_.erase(found);
}

StoreWatch::News StoreWatch::Take() {
  News news;
  bool have_directories_changed = false;
  alignas(inotify_event) char buffer[65536];
  ssize_t n;
  while ((n = ::read(events_.get(), buffer, sizeof buffer)) > 0) {
    for (ssize_t at = 0; at < n;) {
      const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
      at += static_cast<ssize_t>(sizeof *event) + event->len;
      have_directories_changed =
          have_directories_changed || (event->mask & (IN_ISDIR | IN_IGNORED | IN_Q_OVERFLOW)) != 0;
      TakeEvent(event->wd, event->mask, event->len > 0 ? event->name : "", news);
    }
  }
  if (!have_directories_changed) return news;
  // What came into a new directory before it was watched is read now: its pen is news anyway. A
  // directory on the way to the store or the subscriptions may have brought them along.
  const std::size_t before = roles_.size();
  WatchAll();
  if (roles_.size() != before && news.pens.empty()) news.is_all = true;
  return news;
}
