#include "Endpoint.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace IPC {
namespace {

constexpr mode_t kEndpointMode = S_IRUSR | S_IWUSR;

bool MakeAddress(const std::string& path, sockaddr_un& address, std::string& error) {
  address = sockaddr_un();
  address.sun_family = AF_UNIX;
  if (path.empty() || path.find('\0') != std::string::npos) {
    error = "the path is empty or holds a zero byte";
    return false;
  }
  if (path.size() >= sizeof address.sun_path) {
    error = "the path has " + std::to_string(path.size()) + " bytes, more than the " +
            std::to_string(sizeof address.sun_path - 1) + " of a socket's";
    return false;
  }
  std::copy(path.begin(), path.end(), address.sun_path);
  return true;
}

const sockaddr* AsSockaddr(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

Descriptor MakeSocket(int flags, std::string& error) {
  Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
  if (!socket) error = SystemReason(errno);
  return socket;
}

// The lock that a process holds while it looks at an endpoint's path and puts its own socket there.
// Without it two that start at the same time could both find a dead socket:
//     A: looks, unlinks, binds, listens
//     B: looks                            unlinks (A's!), binds, listens
// and A would serve a socket that nobody can find. flock, because the system releases it however
// the process ends.
//
// The holder deletes the file before it unlocks. So a process that gets the lock must check that
// the path still names the file that it opened.
class StartLock {
 public:
  explicit StartLock(const std::string& endpoint) : path_(endpoint + ".lock") {}

  bool Take(std::string& error) {
    bool is_opened_up = false;
    for (;;) {
      file_ = Descriptor(
          ::open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600));
      struct stat opened, named;
      // Its maker was killed before it could set the mode, under a umask that took the owner's
      // rights.
      if (!file_ && errno == EACCES && !is_opened_up) {
        is_opened_up = OpenUp();
        if (is_opened_up) continue;
        return Fail(EACCES, error);
      }
      if (!file_ || ::fstat(file_.get(), &opened) != 0) return Fail(errno, error);
      if (!S_ISREG(opened.st_mode) || opened.st_uid != ::geteuid()) return Fail(EPERM, error);
      // Whatever the umask: a file that is left behind must not lock its owner out.
      if (::fchmod(file_.get(), kEndpointMode) != 0) return Fail(errno, error);
      while (::flock(file_.get(), LOCK_EX) != 0)
        if (errno != EINTR) return Fail(errno, error);
      // The one who had the lock removes the file when it lets go: a lock on a file that has no
      // name any more, or another one's, keeps nobody out.
      if (::lstat(path_.c_str(), &named) == 0 && named.st_dev == opened.st_dev &&
          named.st_ino == opened.st_ino) {
        taken_ = true;
        return true;
      }
    }
  }

  ~StartLock() {
    if (taken_) ::unlink(path_.c_str());
  }

 private:
  bool OpenUp() const {
    struct stat left;
    return ::lstat(path_.c_str(), &left) == 0 && S_ISREG(left.st_mode) &&
           left.st_uid == ::geteuid() && ::chmod(path_.c_str(), kEndpointMode) == 0;
  }

  bool Fail(int error_number, std::string& error) {
    error = error_number == ENOENT ? "its directory does not exist"
                                   : "can't lock " + path_ + ": " + SystemReason(error_number);
    return false;
  }

  const std::string path_;
  Descriptor file_;
  bool taken_ = false;
};

// Whether the process that listens at the other end of `probe` has ended. A child that it forked
// just before may hold its socket open for a moment more, and serves nobody.
bool HasServerEnded(const Descriptor& probe) {
  ucred server;
  socklen_t size = sizeof server;
  return ::getsockopt(probe.get(), SOL_SOCKET, SO_PEERCRED, &server, &size) == 0 &&
         server.pid > 0 && ::kill(server.pid, 0) != 0 && errno == ESRCH;
}

// Whether the path is free, after a dead socket of this user was removed. Under the lock.
bool ClearTheWay(const std::string& path, const sockaddr_un& address, std::string& error) {
  struct stat status;
  if (::lstat(path.c_str(), &status) != 0) {
    const int reason = errno;
    if (reason == ENOENT) return true;
    error = SystemReason(reason);
    return false;
  }
  if (!S_ISSOCK(status.st_mode)) {
    error = "the path is taken by something that is not a socket";
    return false;
  }
  if (status.st_uid != ::geteuid()) {
    error = "the path is taken by a socket of another user";
    return false;
  }
  const Descriptor probe = MakeSocket(SOCK_NONBLOCK, error);
  if (!probe) return false;
  const bool is_connected = ::connect(probe.get(), AsSockaddr(address), sizeof address) == 0;
  const int reason = is_connected ? 0 : errno;
  if ((is_connected && !HasServerEnded(probe)) || reason == EAGAIN) {
    error = "another server is listening there";
    return false;
  }
  if (!is_connected && reason != ECONNREFUSED && reason != ENOENT) {
    error = "the path is taken by a socket that can't be connected to: " + SystemReason(reason);
    return false;
  }
  if (::unlink(path.c_str()) == 0 || errno == ENOENT) return true;
  error = "can't remove the dead socket: " + SystemReason(errno);
  return false;
}

// connect, which fails with EAGAIN after `timeout`. A server whose queue of connections is full
// makes it wait, as long as sending may. A signal interrupts it; what is left of the time counts
// then.
bool Connect(int socket, const sockaddr_un& address, std::chrono::milliseconds timeout) {
  using std::chrono::microseconds;
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + timeout;
  microseconds left = timeout;
  do {
    // 0 would be no limit at all.
    const auto us = std::max<microseconds::rep>(left.count(), 1);
    const timeval limit = {static_cast<time_t>(us / 1000000),
                           static_cast<suseconds_t>(us % 1000000)};
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    if (::connect(socket, AsSockaddr(address), sizeof address) == 0) return true;
    if (errno != EINTR) return false;
    left = std::chrono::duration_cast<microseconds>(end - steady_clock::now());
  } while (left.count() > 0);
  errno = EAGAIN;
  return false;
}

}  // namespace

std::string SystemReason(int error_number) {
  return std::generic_category().message(error_number);
}

Descriptor Endpoint::Listen(const std::string& path, std::string& error) {
  sockaddr_un address;
  if (!MakeAddress(path, address, error)) return Descriptor();
  StartLock lock(path);
  if (!lock.Take(error) || !ClearTheWay(path, address, error)) return Descriptor();

  // Linux makes the file with the socket's own mode less the umask: never wider than 0600. If
  // the umask took more, chmod gives it back. Until listen nobody can connect.
  Descriptor socket = MakeSocket(SOCK_NONBLOCK, error);
  struct stat status;
  if (!socket) return Descriptor();
  if (::fchmod(socket.get(), kEndpointMode) != 0 ||
      ::bind(socket.get(), AsSockaddr(address), sizeof address) != 0) {
    error = SystemReason(errno);
    return Descriptor();
  }
  if (::lstat(path.c_str(), &status) == 0) {
    path_ = path;
    device_ = status.st_dev;
    inode_ = status.st_ino;
    if (((status.st_mode & 07777) == kEndpointMode || ::chmod(path.c_str(), kEndpointMode) == 0) &&
        ::listen(socket.get(), SOMAXCONN) == 0)
      return socket;
  }
  error = SystemReason(errno);
  Remove();
  return Descriptor();
}

void Endpoint::Remove() {
  struct stat status;
  if (!path_.empty() && ::lstat(path_.c_str(), &status) == 0 && S_ISSOCK(status.st_mode) &&
      status.st_dev == device_ && status.st_ino == inode_)
    ::unlink(path_.c_str());
  path_.clear();
}

ConnectResult ConnectTo(const std::string& path, std::chrono::milliseconds timeout,
                        Descriptor& connection, std::string& error) {
  sockaddr_un address;
  if (!MakeAddress(path, address, error)) return ConnectResult::kNoService;
  Descriptor socket = MakeSocket(0, error);
  if (!socket) return ConnectResult::kNoService;
  if (Connect(socket.get(), address, timeout) && ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) == 0) {
    connection = std::move(socket);
    return ConnectResult::kConnected;
  }
  const int reason = errno;
  error = SystemReason(reason);
  if (reason == EAGAIN) return ConnectResult::kTimedOut;
  const bool forbidden = reason == EACCES || reason == EPERM;
  return forbidden ? ConnectResult::kForbidden : ConnectResult::kNoService;
}

bool IsPeerSameUser(int socket) {
  ucred peer;
  socklen_t size = sizeof peer;
  return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         peer.uid == ::geteuid();
}

}  // namespace IPC
