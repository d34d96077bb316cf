// How many descriptors this process has open.

#pragma once

#include <dirent.h>

#include <cstddef>

inline std::size_t OpenDescriptors() {
  DIR* const directory = ::opendir("/proc/self/fd");
  std::size_t count = 0;
  while (::readdir(directory) != nullptr) ++count;
  ::closedir(directory);
  return count - 3;  // ".", ".." and the one that was read
}
