// The socket file at which a server of one user can be found, from both sides: making it, with all
// that may stand in the way, and connecting to it. Functions work on the calling thread.

#pragma once

#include <TalvoCppUtils/Descriptor.h>
#include <sys/types.h>

#include <chrono>
#include <string>

namespace IPC {

using TalvoCppUtils::Descriptor;

// The server's side: owns the file that Listen made, until Remove or destruction. Belongs to one
// thread at a time.
class Endpoint {
 public:
  Endpoint() = default;
  ~Endpoint() { Remove(); }
  Endpoint(const Endpoint&) = delete;
  Endpoint& operator=(const Endpoint&) = delete;

  // Makes the socket file `path`, mode 0600 whatever the umask, and listens; the socket does not
  // block. Takes over the socket of this user to which nobody listens any more. Returns no
  // descriptor, with the reason in `error`, if somebody does listen, or if the path is
  // another user's, not a socket, too long or can't be made; what is there stays unchanged.
  //
  // Of several processes that try at the same time exactly one succeeds: between looking and
  // listening each holds a lock on the file "PATH.lock", which is removed before this function
  // returns. A process killed in between leaves that file, and perhaps a dead socket; neither
  // hinders the next one.
  Descriptor Listen(const std::string& path, std::string& error);

  // Removes the file if it is still the one that Listen made. To be called while the socket is
  // still listening: then nobody can have taken the path over between the look and the removal.
  void Remove();

 private:
  std::string path_;  // empty if there is nothing to remove
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

enum class ConnectResult { kConnected, kNoService, kForbidden, kTimedOut };

// The client's side: connects to the server at `path`, waiting at most `timeout` for one that is
// there but busy. The descriptor of a connection does not block. kForbidden: the socket file is not
// for this user; kNoService covers every other reason, which `error` tells.
ConnectResult ConnectTo(const std::string& path, std::chrono::milliseconds timeout,
                        Descriptor& connection, std::string& error);

// Whether the process at the other end of a connected socket is this process's user's: that of the
// one who connected, or who listened. False if the system does not say.
bool IsPeerSameUser(int socket);

// The system's reason for `error_number`.
std::string SystemReason(int error_number);

}  // namespace IPC
