// Loaded into a service before the system's own library: lets one of its file-system calls fail,
// once. Only calls for what lies below the service's home or its subscriptions count; the log and
// the socket do not. By the environment:
//
//   QUILLPOST_FAIL_CALL    the number of the call that fails, from 1
//   QUILLPOST_FAIL_WITH    the errno, or "short": then only reads and writes count, and do half
//   QUILLPOST_FAIL_REPORT  the file that "NAME PATH" of the call that failed is written to
//
// A call that fails does nothing, but for close, which closes.

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

namespace {

constexpr int kShort = -1;

std::atomic<long> g_calls_left{0};
int g_failure = 0;
char g_home[512];
char g_subscriptions[512];

__attribute__((constructor)) void ReadEnvironment() {
  const char* const root = ::getenv("QUILLPOST_ROOT");
  const char* const call = ::getenv("QUILLPOST_FAIL_CALL");
  const char* const failure = ::getenv("QUILLPOST_FAIL_WITH");
  if (root == nullptr || call == nullptr || failure == nullptr) return;
  ::snprintf(g_home, sizeof g_home, "%s/root", root);
  ::snprintf(g_subscriptions, sizeof g_subscriptions, "%s/Library", root);
  g_failure = ::strcmp(failure, "short") == 0 ? kShort : ::atoi(failure);
  g_calls_left = ::atol(call);
}

bool IsBelow(const char* path, const char* directory) {
  const std::size_t size = ::strlen(directory);
  return size > 0 && ::strncmp(path, directory, size) == 0 &&
         (path[size] == '/' || path[size] == '\0');
}

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

void Report(const char* name, const char* path) {
  const char* const report = ::getenv("QUILLPOST_FAIL_REPORT");
  if (report == nullptr) return;
  const int fd = Next<int(const char*, int, ...)>("open")(report, O_WRONLY | O_CREAT, 0600);
  char line[1024];
  const int size = ::snprintf(line, sizeof line, "%s %s", name, path);
  if (Next<ssize_t(int, const void*, size_t)>("write")(fd, line, static_cast<size_t>(size)) < 0) {
    ::abort();
  }
  Next<int(int)>("close")(fd);
}

// Whether it is this call that fails; errno is set then.
bool Fails(const char* name, const char* path, bool can_be_short = false) {
  if (g_failure == 0 || (g_failure == kShort && !can_be_short)) return false;
  if (!IsBelow(path, g_home) && !IsBelow(path, g_subscriptions)) return false;
  if (--g_calls_left != 0) return false;
  Report(name, path);
  errno = g_failure == kShort ? 0 : g_failure;
  return true;
}

bool Fails(const char* name, int fd, bool can_be_short = false) {
  if (g_failure == 0 || fd <= STDERR_FILENO) return false;
  char link[64];
  char path[1024];
  ::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t size = ::readlink(link, path, sizeof path - 1);
  if (size < 0) return false;
  path[size] = '\0';
  return Fails(name, path, can_be_short);
}

// Half of a transfer that falls short.
size_t Half(size_t size) {
  return size > 1 ? size / 2 : size;
}

}  // namespace

#define PATH_CALL(result, failure, name, parameters, arguments)                \
  extern "C" result name parameters {                                          \
    static const auto next = Next<result parameters>(#name);                   \
    return Fails(#name, path) ? static_cast<result>(failure) : next arguments; \
  }

#define FD_CALL(result, name, parameters, arguments)         \
  extern "C" result name parameters {                        \
    static const auto next = Next<result parameters>(#name); \
    return Fails(#name, fd) ? -1 : next arguments;           \
  }

#define TRANSFER(name, parameters, arguments, half_arguments) \
  extern "C" ssize_t name parameters {                        \
    static const auto next = Next<ssize_t parameters>(#name); \
    if (!Fails(#name, fd, true)) return next arguments;       \
    return g_failure == kShort ? next half_arguments : -1;    \
  }

#define OPEN_CALL(name)                                                    \
  extern "C" int name(const char* path, int flags, ...) {                  \
    static const auto next = Next<int(const char*, int, ...)>(#name);      \
    va_list rest;                                                          \
    va_start(rest, flags);                                                 \
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                                          \
    return Fails(#name, path) ? -1 : next(path, flags, mode);              \
  }

OPEN_CALL(open)
OPEN_CALL(open64)
PATH_CALL(int, -1, mkostemp, (char* path, int flags), (path, flags))
PATH_CALL(int, -1, stat, (const char* path, struct stat* status), (path, status))
PATH_CALL(int, -1, stat64, (const char* path, struct stat64* status), (path, status))
PATH_CALL(int, -1, lstat, (const char* path, struct stat* status), (path, status))
PATH_CALL(int, -1, lstat64, (const char* path, struct stat64* status), (path, status))
PATH_CALL(int, -1, mkdir, (const char* path, mode_t mode), (path, mode))
PATH_CALL(int, -1, rmdir, (const char* path), (path))
PATH_CALL(int, -1, unlink, (const char* path), (path))
PATH_CALL(DIR*, nullptr, opendir, (const char* path), (path))
FD_CALL(int, fstat, (int fd, struct stat* status), (fd, status))
FD_CALL(int, fstat64, (int fd, struct stat64* status), (fd, status))
FD_CALL(int, fstatat, (int fd, const char* name, struct stat* status, int flags),
        (fd, name, status, flags))
FD_CALL(int, ftruncate, (int fd, off_t size), (fd, size))
FD_CALL(int, futimens, (int fd, const struct timespec times[2]), (fd, times))
TRANSFER(read, (int fd, void* bytes, size_t size), (fd, bytes, size), (fd, bytes, Half(size)))
TRANSFER(write, (int fd, const void* bytes, size_t size), (fd, bytes, size),
         (fd, bytes, Half(size)))
TRANSFER(pwrite, (int fd, const void* bytes, size_t size, off_t offset), (fd, bytes, size, offset),
         (fd, bytes, Half(size), offset))

extern "C" struct dirent* readdir(DIR* directory) {
  static const auto next = Next<struct dirent*(DIR*)>("readdir");
  return Fails("readdir", ::dirfd(directory)) ? nullptr : next(directory);
}

extern "C" struct dirent64* readdir64(DIR* directory) {
  static const auto next = Next<struct dirent64*(DIR*)>("readdir64");
  return Fails("readdir64", ::dirfd(directory)) ? nullptr : next(directory);
}

extern "C" int close(int fd) {
  static const auto next = Next<int(int)>("close");
  const bool fails = Fails("close", fd);
  const int result = next(fd);
  if (!fails) return result;
  errno = g_failure;
  return -1;
}
