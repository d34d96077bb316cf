// Keeps what is to be done about each published message until the stream has acknowledged it.
// Publishing does not wait for that, so that one thread serves many pens, and a distant server does
// not hold it up.
//
// The client library's own publishing waits, a thread for each message: with eight pens a third of
// the processor time went into waking those threads. Its asynchronous one never frees messages
// whose connection was lost.
//
// Threads: any. Answers come on a thread of the library's.

#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "stream/Connection.h"
#include "stream/InkMessage.h"

namespace Forward {

class Publisher {
 public:
  enum class Answer {
    kTaken,     // the stream has the message
    kNoStream,  // no stream takes messages of this subject
    kRefused,   // or unanswered in time, or the connection was lost; it may be in the stream then
  };

  // Called once for each message, without a lock; must not wait. The reason is for people, and
  // empty if the message was taken.
  using Done = std::function<void(Answer answer, const std::string& reason)>;

  Publisher();

  // Brings the acknowledgements of this connection here. To be called before the first Publish.
  // The publisher must outlive the Stream::Library. Throws StreamError.
  void Listen(Stream::Connection& connection);

  // Publishes part `part` of the ink to the stream of this name. Does not wait for its
  // acknowledgement, but for room in the socket's buffer. Throws StreamError, and never calls
  // `done` then.
  void Publish(Stream::Connection& connection, const std::string& stream,
               const Stream::OutgoingInk& ink, std::uint32_t part, Done done);

  // What is on its way counts as refused; answers that come later are dropped. The ink may be in
  // the stream all the same.
  void FailAll(const std::string& reason);

  // The same with messages that were not answered in time.
  void FailOverdue();

 private:
  using Clock = std::chrono::steady_clock;

  struct Waiting {
    Clock::time_point since;
    Done done;
  };

  static void OnReply(natsConnection* connection, natsSubscription* subscription, natsMsg* reply,
                      void* publisher);
  void Take(natsMsg* reply);
  bool Forget(std::uint64_t number, Done& done);
  void FailSentUntil(Clock::time_point last, const std::string& reason);

  const std::string replies_;  // the subject of answers, up to the message's number
  std::mutex mutex_;           // of the following
  std::uint64_t last_number_ = 0;
  std::map<std::uint64_t, Waiting> waiting_;  // by number, and so by time
};

}  // namespace Forward
