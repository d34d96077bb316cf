// A durable pull consumer of a stream, read strictly in the stream's order.
//
// A server that has handed out messages whose receiver died hands out newer ones first, and those
// again only when their time is over: a pen's ink would come out of order. So the reader says how
// far it has come, and a consumer that has handed out more than that is made anew from there. The
// same is done when a delivery is missing, which its count tells. A consumer's name therefore
// belongs to one reader.
//
// One thread, but for Connection::Close, which ends a Fetch.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "stream/Connection.h"
#include "stream/InkMessage.h"

namespace Inbox {

class Consumer {
 public:
  struct Message {
    Stream::MessagePtr message;
    std::uint64_t sequence = 0;  // in the stream, from 1
    std::int64_t time_ms = 0;    // when the stream took it
  };

  // `filter` may be empty: all ink, or what the consumer has that is there already. Waits for the
  // server; throws StreamError with what is missing.
  Consumer(Stream::Connection& connection, const std::string& stream, const std::string& name,
           const std::string& filter);

  // Tells this stream from another of its name that was there before.
  std::int64_t created() const { return created_; }

  // The number of the stream's last message, 0 for none. Waits for the server; throws StreamError.
  std::uint64_t FindEnd() { return Look()->State.LastSeq; }

  // What Fetch gives next is what follows the stream's message `last`, 0 for none. Messages before
  // it may come again. `is_anew` has the consumer made anew also if the server's account of it is
  // right. Waits for the server; throws StreamError, also if the stream is another one by now.
  void Resume(std::uint64_t last, bool is_anew = false);

  // Whether something should have come that follows what Fetch has given, or an acknowledgement of
  // what came before got lost: to be asked now and then while nothing comes.
  // What was on its way when a server died stays away until its time is over, and as long as
  // nothing follows it no count tells; and a server that has taken over from another may not know
  // that somebody waits. The answer to all of it is to resume anew. Waits for the server; throws
  // StreamError.
  bool HasLost();

  // The next messages in the stream's order, none if nothing comes within a second. `is_broken`
  // tells that what follows them was lost on its way: go on with Resume. Throws StreamError.
  std::vector<Message> Fetch(bool& is_broken);

  // Tells the server that this message and all before it are safe. Waits for nobody; what gets lost
  // on its way brings the messages again.
  static void Acknowledge(const Message& last);

 private:
  struct SubscriptionDeleter {
    void operator()(natsSubscription* subscription) const {
      ::natsSubscription_Destroy(subscription);
    }
  };
  struct InfoDeleter {
    void operator()(jsConsumerInfo* info) const { ::jsConsumerInfo_Destroy(info); }
    void operator()(jsStreamInfo* info) const { ::jsStreamInfo_Destroy(info); }
  };
  using StreamInfo = std::unique_ptr<jsStreamInfo, InfoDeleter>;
  using ConsumerInfo = std::unique_ptr<jsConsumerInfo, InfoDeleter>;

  StreamInfo Look();
  ConsumerInfo Find();  // null if it is not there
  std::uint64_t Create(std::uint64_t last);
  void Subscribe();

  Stream::Connection& connection_;
  const std::string stream_;
  const std::string name_;
  std::string filter_;
  std::int64_t created_ = 0;
  std::uint64_t last_delivery_ = 0;  // the consumer's count
  std::unique_ptr<natsSubscription, SubscriptionDeleter> subscription_;
};

}  // namespace Inbox
