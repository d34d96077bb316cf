// Sees what is done to a file or a directory while it lives.

#pragma once

#include <TalvoCppUtils/Descriptor.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <boost/filesystem/path.hpp>
#include <cstdint>
#include <cstring>

class FileWatch {
 public:
  explicit FileWatch(const boost::filesystem::path& path)
      : events_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    EXPECT_NE(-1, ::inotify_add_watch(events_.get(), path.c_str(), IN_ACCESS | IN_MODIFY));
  }

  // IN_ACCESS for reading and listing, IN_MODIFY for writing and new times, since the last call.
  std::uint32_t Seen() {
    std::uint32_t seen = 0;
    char events[4096];
    ssize_t size;
    while ((size = ::read(events_.get(), events, sizeof events)) > 0) {
      for (ssize_t at = 0; at < size;) {
        inotify_event event;
        std::memcpy(&event, events + at, sizeof event);
        seen |= event.mask;
        at += static_cast<ssize_t>(sizeof event + event.len);
      }
    }
    return seen;
  }

 private:
  const TalvoCppUtils::Descriptor events_;
};
