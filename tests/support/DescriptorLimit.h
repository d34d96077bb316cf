// A process that runs out of descriptors.

#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

// As long as this object lives, this process can open `count` more files, and no more.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t count) {
    // The lowest one that is free, whether or not the standard ones are open.
    const int next = ::open("/", O_RDONLY | O_CLOEXEC);
    ::close(next);
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit limit = {static_cast<rlim_t>(next) + count, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_;
};
