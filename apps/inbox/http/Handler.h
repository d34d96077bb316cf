// What answers requests that the guard lets through.

#pragma once

#include <memory>
#include <string>

#include "http/Message.h"

namespace Inbox {

// A connection that has become a stream of events. Send may be called from any thread; it never
// waits. A reader that lags more than a megabyte behind loses the connection, and makes another.
class EventStream {
 public:
  virtual ~EventStream() = default;
  virtual void Send(const std::string& events) = 0;
};

class Handler {
 public:
  virtual ~Handler() = default;

  // Called on the server's thread; must not wait. `reply` is called once, from any thread.
  virtual void Handle(Request request, Reply reply) = 0;

  // The response to the request was an event stream, and stands. Called on the server's thread, as
  // is the end of the stream.
  virtual void OnStream(const Request& request, std::shared_ptr<EventStream> stream) = 0;
  virtual void OnStreamEnd(const std::shared_ptr<EventStream>& stream) = 0;
};

}  // namespace Inbox
