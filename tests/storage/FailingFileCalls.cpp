#include "storage/FailingFileCalls.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

// Of the one object. The calls of one thread are made to fail, so nothing guards them.
bool g_is_active = false;
std::string g_file_name;
int g_calls_left = 0;
int g_error = 0;
FailingFileCalls::Lasting g_lasting = FailingFileCalls::Lasting::kOnce;
std::string g_failed;

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool IsTheFile(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) return false;
  char link[64];
  char path[1024];
  ::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t size = ::readlink(link, path, sizeof path - 1);
  if (size < 0) return false;
  path[size] = '\0';
  const char* const name = ::strrchr(path, '/');
  return name != nullptr && g_file_name == name + 1;
}

bool Fails(const char* call, int fd) {
  if (!g_is_active || !IsTheFile(fd)) return false;
  --g_calls_left;
  const bool lasts = g_lasting == FailingFileCalls::Lasting::kFromThenOn;
  if (g_calls_left > 0 || (g_calls_left < 0 && !lasts)) return false;
  if (g_failed.empty()) g_failed = call;
  errno = g_error;
  return true;
}

}  // namespace

FailingFileCalls::FailingFileCalls(const std::string& file_name, int call, int error,
                                   Lasting lasting) {
  g_file_name = file_name;
  g_calls_left = call;
  g_error = error;
  g_lasting = lasting;
  g_failed.clear();
  g_is_active = true;
}

FailingFileCalls::~FailingFileCalls() {
  g_is_active = false;
}

std::string FailingFileCalls::failed() const {
  return g_failed;
}

extern "C" {

ssize_t write(int fd, const void* bytes, size_t size) {
  static const auto next = Next<ssize_t(int, const void*, size_t)>("write");
  return Fails("write", fd) ? -1 : next(fd, bytes, size);
}

ssize_t pwrite(int fd, const void* bytes, size_t size, off_t offset) {
  static const auto next = Next<ssize_t(int, const void*, size_t, off_t)>("pwrite");
  return Fails("pwrite", fd) ? -1 : next(fd, bytes, size, offset);
}

int ftruncate(int fd, off_t size) noexcept {
  static const auto next = Next<int(int, off_t)>("ftruncate");
  return Fails("ftruncate", fd) ? -1 : next(fd, size);
}

int fdatasync(int fd) {
  static const auto next = Next<int(int)>("fdatasync");
  return Fails("fdatasync", fd) ? -1 : next(fd);
}

int fsync(int fd) {
  static const auto next = Next<int(int)>("fsync");
  return Fails("fsync", fd) ? -1 : next(fd);
}

int close(int fd) {
  static const auto next = Next<int(int)>("close");
  const bool fails = Fails("close", fd);
  const int error = errno;
  const int result = next(fd);
  if (!fails) return result;
  errno = error;
  return -1;
}
}
