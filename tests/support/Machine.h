// What a test does to the machine that it runs on, to see a failure for real: a disk that is full
// or read-only, a user without rights, a user without a home, a foreign number format. Each lasts
// as long as its object. Where the machine does not allow it the object says so, and the test is
// skipped.

#pragma once

#include <fcntl.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <time.h>
#include <unistd.h>

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>
#include <locale>
#include <string>

// Whether programs are built with the thread sanitizer. Its runtime writes a file of its own before
// main, so no program of such a build starts under a file size limit.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QUILLPOST_THREAD_SANITIZER
#endif
#endif
#if defined(__SANITIZE_THREAD__) || defined(QUILLPOST_THREAD_SANITIZER)
constexpr bool kIsThreadSanitized = true;
#else
constexpr bool kIsThreadSanitized = false;
#endif

// Returns when the clock that stamps files has moved on: what is changed from now on has a later
// time than what was changed before. Waits for a tick of a few milliseconds.
inline void WaitForClockTick() {
  timespec before, now;
  ::clock_gettime(CLOCK_REALTIME_COARSE, &before);
  do {
    ::clock_gettime(CLOCK_REALTIME_COARSE, &now);
  } while (now.tv_sec == before.tv_sec && now.tv_nsec == before.tv_nsec);
}

// A file system of its own, in memory, mounted on a directory that is made when missing. The mount
// is seen by this process alone, and ends with it at the latest.
class Disk {
 public:
  explicit Disk(const boost::filesystem::path& at, const std::string& options = "size=64k")
      : at_(at.string()) {
    boost::filesystem::create_directories(at);
    is_mounted_ = ::unshare(CLONE_NEWNS) == 0 &&
                  ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                  ::mount("none", at_.c_str(), "tmpfs", 0, options.c_str()) == 0;
  }
  ~Disk() {
    if (is_mounted_) ::umount2(at_.c_str(), MNT_DETACH);
  }
  Disk(const Disk&) = delete;
  Disk& operator=(const Disk&) = delete;

  bool is_mounted() const { return is_mounted_; }

  bool MakeReadOnly() {
    return ::mount(nullptr, at_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

  // Leaves no room for another byte, and then takes the room back.
  void Fill() {
    const int file = ::open((at_ + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const std::string bytes(4096, 'x');
    while (::write(file, bytes.data(), bytes.size()) > 0) {
    }
    ::close(file);
  }
  void Free() { ::unlink((at_ + "/filler").c_str()); }

 private:
  const std::string at_;
  bool is_mounted_ = false;
};

// The rights of a user to whom nothing belongs that root has made; the real user, and so the home,
// stays. For who is not root, nothing changes.
class PlainUser {
 public:
  PlainUser() {
    if (::geteuid() == 0) is_root_ = ::seteuid(65534) == 0;
  }
  ~PlainUser() {
    if (is_root_ && ::seteuid(0) != 0) ::_exit(1);
  }
  PlainUser(const PlainUser&) = delete;
  PlainUser& operator=(const PlainUser&) = delete;

 private:
  bool is_root_ = false;
};

// A user whom the password database does not know.
class UnknownUser {
 public:
  UnknownUser() {
    if (::geteuid() == 0 && ::getpwuid(kId) == nullptr) is_set_ = ::setresuid(kId, 0, 0) == 0;
  }
  ~UnknownUser() {
    if (is_set_ && ::setresuid(0, 0, 0) != 0) ::_exit(1);
  }
  UnknownUser(const UnknownUser&) = delete;
  UnknownUser& operator=(const UnknownUser&) = delete;

  static constexpr uid_t kId = 3999999998u;
  bool is_set() const { return is_set_; }

 private:
  bool is_set_ = false;
};

// A global locale that writes 12345.5 as 1.2.3.4.5,5, or with another separator than the dot, and
// true as "ja".
class ForeignLocale {
 public:
  explicit ForeignLocale(char separator = '.')
      : before_(
            std::locale::global(std::locale(std::locale::classic(), new Punctuation(separator)))) {}
  ~ForeignLocale() { std::locale::global(before_); }
  ForeignLocale(const ForeignLocale&) = delete;
  ForeignLocale& operator=(const ForeignLocale&) = delete;

 private:
  class Punctuation : public std::numpunct<char> {
   public:
    explicit Punctuation(char separator) : separator_(separator) {}

   private:
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return separator_; }
    std::string do_grouping() const override { return "\1"; }
    std::string do_truename() const override { return "ja"; }
    std::string do_falsename() const override { return "nein"; }

    const char separator_;
  };

  const std::locale before_;
};
