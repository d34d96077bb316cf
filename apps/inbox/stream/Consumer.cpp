#include "stream/Consumer.h"

#include <utility>

namespace Inbox {

using Stream::StreamError;

namespace {

constexpr int kMostTogether = 64;  // with the default limit of a message at most 64 MiB
constexpr std::int64_t kFetchMs = 1000;

// Much longer than keeping takes; what takes longer (a full disk) asks for more time.
constexpr std::int64_t kAckWaitNs = 30LL * 1000000000;

// One acknowledgement for all messages of a commit: each costs the server more than the message.
// They may share it since they are read and kept in their order, none without those before it.
constexpr jsAckPolicy kAckPolicy = js_AckAll;

struct Deleter {
  void operator()(jsMsgMetaData* data) const { ::jsMsgMetaData_Destroy(data); }
};

struct MessageList {
  natsMsgList list{};
  ~MessageList() { ::natsMsgList_Destroy(&list); }
};

}  // namespace

Consumer::Consumer(Stream::Connection& connection, const std::string& stream,
                   const std::string& name, const std::string& filter)
    : connection_(connection),
      stream_(stream),
      name_(name),
      filter_(filter),
      created_(Look()->Created) {}

Consumer::StreamInfo Consumer::Look() {
  jsStreamInfo* found = nullptr;
  jsErrCode code{};
  const natsStatus status =
      ::js_GetStreamInfo(&found, connection_.stream(), stream_.c_str(), nullptr, &code);
  StreamInfo info(found);
  if (status == NATS_NOT_FOUND) throw StreamError("there is no stream " + stream_);
  if (status == NATS_NO_RESPONDERS) {
    throw StreamError("the server has no streams: JetStream is not enabled there");
  }
  if (status != NATS_OK) throw StreamError("can't find the stream " + stream_, status);
  return info;
}

std::uint64_t Consumer::Create(std::uint64_t last) {
  jsConsumerConfig config;
  ::jsConsumerConfig_Init(&config);
  config.Durable = name_.c_str();
  config.Description = "Ink for an inbox";
  config.AckPolicy = kAckPolicy;
  config.AckWait = kAckWaitNs;
  config.FilterSubject = filter_.c_str();
  if (last > 0) {
    config.DeliverPolicy = js_DeliverByStartSequence;
    config.OptStartSeq = last + 1;
  }
  jsConsumerInfo* made = nullptr;
  jsErrCode code{};
  const natsStatus status =
      ::js_AddConsumer(&made, connection_.stream(), stream_.c_str(), &config, nullptr, &code);
  const ConsumerInfo info(made);
  if (status != NATS_OK) throw StreamError("can't make the consumer " + name_, status);
  return info->Delivered.Consumer;
}

Consumer::ConsumerInfo Consumer::Find() {
  jsConsumerInfo* found = nullptr;
  jsErrCode code{};
  const natsStatus status = ::js_GetConsumerInfo(&found, connection_.stream(), stream_.c_str(),
                                                 name_.c_str(), nullptr, &code);
  ConsumerInfo info(found);
  if (status != NATS_OK && status != NATS_NOT_FOUND) {
    throw StreamError("can't find the consumer " + name_, status);
  }
  return info;
}

bool Consumer::HasLost() {
  const ConsumerInfo info = Find();
  return !info || info->Delivered.Consumer != last_delivery_ || info->NumPending > 0 ||
         info->NumAckPending > 0;
}

void Consumer::Resume(std::uint64_t last, bool is_anew) {
  subscription_.reset();
  ConsumerInfo info = Find();
  if (info) {
    const char* const had = info->Config->FilterSubject;
    if (filter_.empty()) filter_ = had == nullptr ? "" : had;
    if (filter_ != (had == nullptr ? "" : had)) {
      throw StreamError("the consumer " + name_ + " has another filter, '" +
                        (had == nullptr ? "" : had) + "'; give this one another name");
    }
    // One of an older inbox wants each message acknowledged by itself.
    const bool is_of_another_kind = info->Config->AckPolicy != kAckPolicy;
    if (is_anew || is_of_another_kind || info->Delivered.Stream > last) {
      jsErrCode code{};
      const natsStatus status =
          ::js_DeleteConsumer(connection_.stream(), stream_.c_str(), name_.c_str(), nullptr, &code);
      if (status != NATS_OK && status != NATS_NOT_FOUND) {
        throw StreamError("can't make the consumer " + name_ + " anew", status);
      }
      info.reset();
    }
  }
  // A consumer that is gone may have gone with its stream, whose numbers mean nothing in another.
  if (!info && Look()->Created != created_) {
    throw StreamError("the stream " + stream_ + " was made anew");
  }
  if (filter_.empty()) filter_ = Stream::kAllInk;
  last_delivery_ = info ? info->Delivered.Consumer : Create(last);
  Subscribe();
}

void Consumer::Subscribe() {
  jsSubOptions options;
  ::jsSubOptions_Init(&options);
  options.Stream = stream_.c_str();
  options.Consumer = name_.c_str();
  natsSubscription* made = nullptr;
  jsErrCode code{};
  const natsStatus status = ::js_PullSubscribe(&made, connection_.stream(), filter_.c_str(),
                                               name_.c_str(), nullptr, &options, &code);
  if (status != NATS_OK) throw StreamError("can't use the consumer " + name_, status);
  subscription_.reset(made);
}

void Consumer::Acknowledge(const Message& last) {
  ::natsMsg_Ack(last.message.get(), nullptr);
}

std::vector<Consumer::Message> Consumer::Fetch(bool& is_broken) {
  is_broken = false;
  MessageList fetched;
  jsErrCode code{};
  const natsStatus status =
      ::natsSubscription_Fetch(&fetched.list, subscription_.get(), kMostTogether, kFetchMs, &code);
  if (status != NATS_OK && status != NATS_TIMEOUT) {
    throw StreamError("can't read from the stream " + stream_, status);
  }
  std::vector<Message> messages;
  for (int i = 0; i < fetched.list.Count && !is_broken; ++i) {
    jsMsgMetaData* data = nullptr;
    if (::natsMsg_GetMetaData(&data, fetched.list.Msgs[i]) != NATS_OK) continue;
    const std::unique_ptr<jsMsgMetaData, Deleter> owned(data);
    is_broken = data->Sequence.Consumer != last_delivery_ + 1;
    if (is_broken) break;
    ++last_delivery_;
    constexpr std::int64_t kMillisecondNs = 1000000;
    messages.push_back({Stream::MessagePtr(std::exchange(fetched.list.Msgs[i], nullptr)),
                        data->Sequence.Stream, data->Timestamp / kMillisecondNs});
  }
  return messages;
}

}  // namespace Inbox
