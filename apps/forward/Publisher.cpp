#include "Publisher.h"

#include <json/json.h>
#include <sodium.h>

#include <charconv>
#include <cstring>
#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace Forward {

using Stream::Connection;
using Stream::StreamError;

namespace {

// Three servers may have to elect a leader of the stream first.
constexpr std::chrono::seconds kAnswerTimeout(5);

// Random, so that no other client can acknowledge our ink.
std::string RandomSubject() {
  unsigned char bytes[16];
  ::randombytes_buf(bytes, sizeof bytes);
  char text[2 * sizeof bytes + 1];
  ::sodium_bin2hex(text, sizeof text, bytes, sizeof bytes);
  return std::string("_INBOX.") + text + ".";
}

// Empty if the stream has taken the message:
//   {"stream":"INK","seq":12}    or    {"error":{"code":503,"description":"..."},"stream":"INK"}
std::string RefusalIn(const char* text, std::size_t size) {
  static const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value answer;
  std::string fault;
  if (!reader->parse(text, text + size, &answer, &fault) || !answer.isObject()) {
    return "the server's answer is not one of a stream";
  }
  const Json::Value& error = answer["error"];
  if (error.isObject()) {
    const Json::Value& description = error["description"];
    return description.isString() ? description.asString() : "the server does not say why";
  }
  const Json::Value& sequence = answer["seq"];
  return sequence.isUInt64() && sequence.asUInt64() > 0
             ? ""
             : "the server's answer is not one of a stream";
}

}  // namespace

Publisher::Publisher() : replies_(RandomSubject()) {}

void Publisher::Listen(Connection& connection) {
  connection.Subscribe(replies_ + "*", OnReply, this);
}

void Publisher::Publish(Connection& connection, const std::string& stream,
                        const Stream::OutgoingInk& ink, std::uint32_t part, Done done) {
  std::uint64_t number = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    number = ++last_number_;
    // Before the message is sent: its answer may be there before the library's call returns.
    waiting_[number] = {Clock::now(), std::move(done)};
  }
  natsStatus status = NATS_ERR;
  try {
    const Stream::MessagePtr message = ink.Make(part, replies_ + std::to_string(number));
    Stream::SetHeader(message.get(), "Nats-Msg-Id", ink.MessageIdOf(part));
    Stream::SetHeader(message.get(), "Nats-Expected-Stream", stream);
    status = ::natsConnection_PublishMsg(connection.get(), message.get());
  } catch (...) {
    Done unused;
    Forget(number, unused);
    throw;
  }
  if (status == NATS_OK) return;
  const StreamError error("the stream did not take a message of " + ink.subject(), status);
  Done unused;
  // Unless it counts as refused already, with a lost connection.
  if (Forget(number, unused)) throw error;
}

void Publisher::OnReply(natsConnection*, natsSubscription*, natsMsg* reply, void* publisher) {
  const Stream::MessagePtr owned(reply);
  static_cast<Publisher*>(publisher)->Take(reply);
}

void Publisher::Take(natsMsg* reply) {
  const char* const subject = ::natsMsg_GetSubject(reply) + replies_.size();
  std::uint64_t number = 0;
  std::from_chars(subject, subject + std::strlen(subject), number);
  Done done;
  if (!Forget(number, done)) return;  // nobody waits for it any more
  if (::natsMsg_IsNoResponders(reply)) return done(Answer::kNoStream, "no stream takes it");
  std::string refusal;
  try {
    refusal = RefusalIn(::natsMsg_GetData(reply),
                        static_cast<std::size_t>(::natsMsg_GetDataLength(reply)));
  } catch (const std::exception& error) {
    refusal = error.what();
  }
  done(refusal.empty() ? Answer::kTaken : Answer::kRefused, refusal);
}

bool Publisher::Forget(std::uint64_t number, Done& done) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = waiting_.find(number);
  if (found == waiting_.end()) return false;
  done = std::move(found->second.done);
  waiting_.erase(found);
  return true;
}

void Publisher::FailAll(const std::string& reason) {
  FailSentUntil(Clock::time_point::max(), reason);
}

void Publisher::FailOverdue() {
  FailSentUntil(Clock::now() - kAnswerTimeout, "nobody has answered in time");
}

void Publisher::FailSentUntil(Clock::time_point last, const std::string& reason) {
  std::vector<Done> failed;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto end = waiting_.begin();
    for (; end != waiting_.end() && end->second.since <= last; ++end) {
      failed.push_back(std::move(end->second.done));
    }
    waiting_.erase(waiting_.begin(), end);
  }
  for (const Done& done : failed) done(Answer::kRefused, reason);
}

}  // namespace Forward
