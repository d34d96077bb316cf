// Loaded into a service before the system's own library: lets its file-system calls fail, or ends
// the service at one of them. Only calls for what lies below the service's home, its subscriptions
// or the file to import count; the log and the socket do not. By the environment:
//
//   QUILLPOST_FAIL_CALL    the number of the call that fails, from 1
//   QUILLPOST_FAIL_WITH    what happens to it:
//       a number           it fails with that errno, and does nothing, but for close, which closes
//       short              only reads and writes count, and do half
//       kill               only calls that change or sync something count; before it, SIGKILL
//       cut                the same, and before that the file system of QUILLPOST_ROOT loses power
//       cut-late           the same, but the log of the file system has just reached the disk,
//                          as it may at any time, and what was written into files has not
//                          And for every call, without a number:
//       always-short       reads and writes do half
//       always-interrupted calls that a signal can interrupt fail with EINTR, each other time
//   QUILLPOST_FAIL_REPORT  the file that "NAME PATH" of the numbered call is written to
//   QUILLPOST_HOLD         a file; the removal of a stroke file waits, but not for ever, until it
//                          is there
//   QUILLPOST_NO_TMPFILE   if set, the file system makes no files without a name
//   QUILLPOST_FIXED_TIME   what time() tells, so that two services live in the same second

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <signal.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <atomic>

namespace {

enum class Mode {
  kNothing,
  kErrno,
  kShort,
  kKill,
  kCut,
  kCutLate,
  kAlwaysShort,
  kAlwaysInterrupted
};

// What a call can suffer.
enum Trait : unsigned int {
  kPlain = 0,
  kCanBeShort = 1,
  kCanBeInterrupted = 2,
  kIsChange = 4,  // of what a disk holds, or of what it would keep
  kCanWait = 8,
};

std::atomic<long> g_calls_left{0};
thread_local bool g_was_interrupted = false;
thread_local bool g_is_importing = false;
const char* g_hold = nullptr;
Mode g_mode = Mode::kNothing;
int g_errno = 0;
char g_root[512];
char g_places[3][600];

Mode ModeFrom(const char* text) {
  if (::strcmp(text, "short") == 0) return Mode::kShort;
  if (::strcmp(text, "kill") == 0) return Mode::kKill;
  if (::strcmp(text, "cut") == 0) return Mode::kCut;
  if (::strcmp(text, "cut-late") == 0) return Mode::kCutLate;
  if (::strcmp(text, "always-short") == 0) return Mode::kAlwaysShort;
  if (::strcmp(text, "always-interrupted") == 0) return Mode::kAlwaysInterrupted;
  g_errno = ::atoi(text);
  return Mode::kErrno;
}

__attribute__((constructor)) void ReadEnvironment() {
  const char* const root = ::getenv("QUILLPOST_ROOT");
  const char* const call = ::getenv("QUILLPOST_FAIL_CALL");
  const char* const failure = ::getenv("QUILLPOST_FAIL_WITH");
  if (root == nullptr) return;
  g_hold = ::getenv("QUILLPOST_HOLD");
  ::snprintf(g_root, sizeof g_root, "%s", root);
  const passwd* const user = ::getpwuid(::getuid());
  ::snprintf(g_places[0], sizeof g_places[0], "%s%s", g_root, user != nullptr ? user->pw_dir : "/");
  ::snprintf(g_places[1], sizeof g_places[1], "%s/Library", g_root);
  ::snprintf(g_places[2], sizeof g_places[2], "%s/in.stf2", g_root);
  if (failure != nullptr) g_mode = ModeFrom(failure);
  g_calls_left = call != nullptr ? ::atol(call) : 0;
}

bool IsBelow(const char* path, const char* directory) {
  const size_t size = ::strlen(directory);
  return ::strncmp(path, directory, size) == 0 && (path[size] == '/' || path[size] == '\0');
}

bool IsInThePlaces(const char* path) {
  for (const char* place : g_places) {
    if (IsBelow(path, place)) return true;
  }
  return false;
}

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

int NextOpen(const char* path, int flags) {
  return Next<int(const char*, int, ...)>("open")(path, flags | O_CLOEXEC, 0600);
}

void Report(const char* name, const char* path) {
  const char* const report = ::getenv("QUILLPOST_FAIL_REPORT");
  if (report == nullptr) return;
  const int fd = NextOpen(report, O_WRONLY | O_CREAT);
  char line[1024];
  const int size = ::snprintf(line, sizeof line, "%s %s", name, path);
  if (Next<ssize_t(int, const void*, size_t)>("write")(fd, line, static_cast<size_t>(size)) < 0) {
    ::abort();
  }
  Next<int(int)>("close")(fd);
}

// The call of file systems that cuts their power. Their log is lost with it, or flushed before.
void CutPower() {
  constexpr unsigned long kShutdown = _IOR('X', 125, uint32_t);
  uint32_t flags = g_mode == Mode::kCutLate ? 1 : 2;
  if (::ioctl(NextOpen(g_root, O_RDONLY), kShutdown, &flags) != 0) ::abort();
}

bool IsAnEnd() {
  return g_mode == Mode::kKill || g_mode == Mode::kCut || g_mode == Mode::kCutLate;
}

[[noreturn]] void End() {
  ::kill(::getpid(), SIGKILL);
  while (true) ::pause();
}

void Hold(const char* path) {
  constexpr int kMaxWaits = 5000;
  if (g_hold == nullptr || g_is_importing || ::gettid() == ::getpid()) return;
  if (::strstr(path, "/Storage") == nullptr) return;
  const timespec wait = {0, 1000000};
  for (int i = 0; ::access(g_hold, F_OK) != 0 && i < kMaxWaits; ++i) ::nanosleep(&wait, nullptr);
}

// Whether it is the numbered call that the mode is about.
bool IsTheCall(const char* name, const char* path, unsigned int traits) {
  if (g_mode == Mode::kShort && (traits & kCanBeShort) == 0) return false;
  if (IsAnEnd() && (traits & kIsChange) == 0) return false;
  if (--g_calls_left != 0) return false;
  Report(name, path);
  return true;
}

// Whether this call fails, or does half if errno is 0.
bool Fails(const char* name, const char* path, unsigned int traits) {
  if ((traits & kCanWait) != 0) Hold(path);
  if (g_mode == Mode::kNothing || !IsInThePlaces(path)) return false;
  switch (g_mode) {
    case Mode::kAlwaysShort:
      errno = 0;
      return (traits & kCanBeShort) != 0;
    case Mode::kAlwaysInterrupted:
      if ((traits & kCanBeInterrupted) == 0) return false;
      g_was_interrupted = !g_was_interrupted;
      errno = EINTR;
      return g_was_interrupted;
    default:
      break;
  }
  if (!IsTheCall(name, path, traits)) return false;
  if (IsAnEnd() && g_mode != Mode::kKill) CutPower();
  if (IsAnEnd()) End();
  errno = g_mode == Mode::kShort ? 0 : g_errno;
  return true;
}

bool ReadPath(int fd, char (&path)[1024]) {
  char link[64];
  ::snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t size = ::readlink(link, path, sizeof path - 1);
  path[size < 0 ? 0 : size] = '\0';
  return size >= 0;
}

bool Fails(const char* name, int fd, unsigned int traits) {
  char path[1024];
  if (g_mode == Mode::kNothing || (fd >= 0 && fd <= STDERR_FILENO)) return false;
  return ReadPath(fd, path) && Fails(name, path, traits);
}

bool FailsAt(const char* name, int directory, const char* path, unsigned int traits) {
  if (g_mode == Mode::kNothing) return false;
  if (path[0] == '/') return Fails(name, path, traits);
  char whole[2048];
  char base[1024];
  if (!ReadPath(directory, base)) return false;
  ::snprintf(whole, sizeof whole, "%s%s%s", base, path[0] == '\0' ? "" : "/", path);
  return Fails(name, whole, traits);
}

// Half of a transfer that falls short.
size_t Half(size_t size) {
  return size > 1 ? size / 2 : size;
}

bool NeedsMode(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

// Whether the file system would refuse the flags; errno is set then.
bool IsRefused(int flags) {
  if ((flags & O_TMPFILE) != O_TMPFILE || ::getenv("QUILLPOST_NO_TMPFILE") == nullptr) return false;
  errno = EOPNOTSUPP;
  return true;
}

unsigned int TraitsOfOpen(const char* path, int flags) {
  if (::strstr(path, "/in.stf2") != nullptr) g_is_importing = true;
  const bool changes = NeedsMode(flags) || (flags & O_TRUNC) != 0;
  return changes ? kCanBeInterrupted | kIsChange : kCanBeInterrupted;
}

}  // namespace

#define PATH_CALL(result, failure, name, traits, parameters, arguments)                \
  extern "C" result name parameters {                                                  \
    static const auto next = Next<result parameters>(#name);                           \
    return Fails(#name, path, traits) ? static_cast<result>(failure) : next arguments; \
  }

#define FD_CALL(name, traits, parameters, arguments)       \
  extern "C" int name parameters {                         \
    static const auto next = Next<int parameters>(#name);  \
    return Fails(#name, fd, traits) ? -1 : next arguments; \
  }

#define AT_CALL(name, traits, parameters, arguments)                      \
  extern "C" int name parameters {                                        \
    static const auto next = Next<int parameters>(#name);                 \
    return FailsAt(#name, directory, path, traits) ? -1 : next arguments; \
  }

#define TRANSFER(name, traits, parameters, arguments, half_arguments)                         \
  extern "C" ssize_t name parameters {                                                        \
    static const auto next = Next<ssize_t parameters>(#name);                                 \
    if (!Fails(#name, fd, (traits) | kCanBeShort | kCanBeInterrupted)) return next arguments; \
    return errno == 0 ? next half_arguments : -1;                                             \
  }

#define OPEN_CALL(name)                                                      \
  extern "C" int name(const char* path, int flags, ...) {                    \
    static const auto next = Next<int(const char*, int, ...)>(#name);        \
    va_list rest;                                                            \
    va_start(rest, flags);                                                   \
    const mode_t mode = NeedsMode(flags) ? va_arg(rest, mode_t) : 0;         \
    va_end(rest);                                                            \
    return IsRefused(flags) || Fails(#name, path, TraitsOfOpen(path, flags)) \
               ? -1                                                          \
               : next(path, flags, mode);                                    \
  }

#define OPEN_AT_CALL(name)                                                              \
  extern "C" int name(int directory, const char* path, int flags, ...) {                \
    static const auto next = Next<int(int, const char*, int, ...)>(#name);              \
    va_list rest;                                                                       \
    va_start(rest, flags);                                                              \
    const mode_t mode = NeedsMode(flags) ? va_arg(rest, mode_t) : 0;                    \
    va_end(rest);                                                                       \
    const bool fails =                                                                  \
        IsRefused(flags) || FailsAt(#name, directory, path, TraitsOfOpen(path, flags)); \
    return fails ? -1 : next(directory, path, flags, mode);                             \
  }

OPEN_CALL(open)
OPEN_CALL(open64)
OPEN_AT_CALL(openat)
OPEN_AT_CALL(openat64)
PATH_CALL(int, -1, mkostemp, kIsChange, (char* path, int flags), (path, flags))
PATH_CALL(int, -1, stat, kCanWait, (const char* path, struct stat* status), (path, status))
PATH_CALL(int, -1, stat64, kCanWait, (const char* path, struct stat64* status), (path, status))
PATH_CALL(int, -1, lstat, kCanWait, (const char* path, struct stat* status), (path, status))
PATH_CALL(int, -1, lstat64, kCanWait, (const char* path, struct stat64* status), (path, status))
PATH_CALL(int, -1, mkdir, kIsChange, (const char* path, mode_t mode), (path, mode))
PATH_CALL(int, -1, rmdir, kIsChange, (const char* path), (path))
PATH_CALL(int, -1, unlink, kIsChange | kCanWait, (const char* path), (path))
PATH_CALL(int, -1, rename, kIsChange, (const char* from, const char* path), (from, path))
PATH_CALL(int, -1, link, kIsChange, (const char* from, const char* path), (from, path))
PATH_CALL(DIR*, nullptr, opendir, kCanWait, (const char* path), (path))
AT_CALL(mkdirat, kIsChange, (int directory, const char* path, mode_t mode), (directory, path, mode))
AT_CALL(unlinkat, kIsChange, (int directory, const char* path, int flags), (directory, path, flags))
AT_CALL(linkat, kIsChange,
        (int from_directory, const char* from, int directory, const char* path, int flags),
        (from_directory, from, directory, path, flags))
AT_CALL(renameat, kIsChange,
        (int from_directory, const char* from, int directory, const char* path),
        (from_directory, from, directory, path))
AT_CALL(renameat2, kIsChange,
        (int from_directory, const char* from, int directory, const char* path, unsigned int flags),
        (from_directory, from, directory, path, flags))
AT_CALL(fstatat, kPlain, (int directory, const char* path, struct stat* status, int flags),
        (directory, path, status, flags))
AT_CALL(fstatat64, kPlain, (int directory, const char* path, struct stat64* status, int flags),
        (directory, path, status, flags))
FD_CALL(fstat, kPlain, (int fd, struct stat* status), (fd, status))
FD_CALL(fstat64, kPlain, (int fd, struct stat64* status), (fd, status))
FD_CALL(ftruncate, kCanBeInterrupted | kIsChange, (int fd, off_t size), (fd, size))
FD_CALL(ftruncate64, kCanBeInterrupted | kIsChange, (int fd, off64_t size), (fd, size))
FD_CALL(fsync, kCanBeInterrupted | kIsChange, (int fd), (fd))
FD_CALL(fdatasync, kCanBeInterrupted | kIsChange, (int fd), (fd))
FD_CALL(syncfs, kIsChange, (int fd), (fd))
FD_CALL(futimens, kIsChange, (int fd, const struct timespec times[2]), (fd, times))
TRANSFER(read, 0u, (int fd, void* bytes, size_t size), (fd, bytes, size), (fd, bytes, Half(size)))
TRANSFER(pread, 0u, (int fd, void* bytes, size_t size, off_t offset), (fd, bytes, size, offset),
         (fd, bytes, Half(size), offset))
TRANSFER(write, kIsChange, (int fd, const void* bytes, size_t size), (fd, bytes, size),
         (fd, bytes, Half(size)))
TRANSFER(pwrite, kIsChange, (int fd, const void* bytes, size_t size, off_t offset),
         (fd, bytes, size, offset), (fd, bytes, Half(size), offset))

extern "C" struct dirent* readdir(DIR* directory) {
  static const auto next = Next<struct dirent*(DIR*)>("readdir");
  return Fails("readdir", ::dirfd(directory), kPlain) ? nullptr : next(directory);
}

extern "C" struct dirent64* readdir64(DIR* directory) {
  static const auto next = Next<struct dirent64*(DIR*)>("readdir64");
  return Fails("readdir64", ::dirfd(directory), kPlain) ? nullptr : next(directory);
}

// An interrupted close has closed.
extern "C" int close(int fd) {
  static const auto next = Next<int(int)>("close");
  const bool fails = Fails("close", fd, kCanBeInterrupted);
  const int error = errno;
  const int result = next(fd);
  if (!fails) return result;
  errno = error;
  return -1;
}

extern "C" time_t time(time_t* out) noexcept {
  const char* const fixed = ::getenv("QUILLPOST_FIXED_TIME");
  const time_t now = fixed != nullptr ? ::atol(fixed) : Next<time_t(time_t*)>("time")(nullptr);
  if (out != nullptr) *out = now;
  return now;
}
