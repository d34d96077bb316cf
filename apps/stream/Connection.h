// One connection to the servers of a stream: TLS, credentials and reconnecting are those of the
// NATS client library, which this wraps. It knows nothing of ink.
//
// A process that makes connections holds one Library until the last of them is gone.
//
// Threads: the library has its own, on which a Watcher is called. All functions may be called from
// any thread.

#pragma once

#include <nats/nats.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "stream/StreamOptions.h"

namespace Stream {

// Why something did not work, for people: "MESSAGE: the library's or the server's reason".
class StreamError : public std::runtime_error {
 public:
  explicit StreamError(const std::string& message);
  StreamError(const std::string& message, natsStatus status);
};

// The client library's own threads and memory. Messages and connections live within it; its end
// waits until no callback runs any more. One at a time in a process.
class Library {
 public:
  Library();  // throws StreamError
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
};

// Called on the library's threads; must not wait, and must outlive the Library.
class Watcher {
 public:
  // The connection is back, or has gone, or is gone for good.
  virtual void OnChange() = 0;

  // The server found fault with something that it does not answer, for instance a permission.
  virtual void OnServerError(const std::string& reason) = 0;

 protected:
  ~Watcher() = default;
};

// Before a lost connection is tried again, after so many attempts in a row: from 0.1 s to 10 s,
// with chance in it.
std::int64_t ReconnectDelayMs(int attempts);

class Connection {
 public:
  // Connects, waiting a few seconds for each server. Once it stands it is made again whenever it is
  // lost, for as long as it takes, unless the servers refuse the credentials. Throws StreamError.
  // `name` is what the servers' reports call this client.
  Connection(const StreamOptions& options, const std::string& name, Watcher& watcher);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Has messages of the subject handed to `take`, which owns them, on a thread of the library's.
  // Ends with the connection; what `closure` refers to must outlive the Library. Once. Throws
  // StreamError.
  void Subscribe(const std::string& subject, natsMsgHandler take, void* closure);

  // Ends it: whatever waits for it in another thread fails soon.
  void Close();

  bool is_connected() const;
  bool is_closed() const;  // for good

  // The largest message that the server takes, headers included.
  std::size_t limit_bytes() const;

  natsConnection* get() const { return connection_; }
  jsCtx* stream() const { return stream_; }

 private:
  natsConnection* connection_ = nullptr;
  jsCtx* stream_ = nullptr;
  natsSubscription* subscription_ = nullptr;
};

}  // namespace Stream
