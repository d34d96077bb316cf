#include "Session.h"

#include <IPC/Protocol.h>
#include <Talvo/Logger.h>

#include <boost/asio/error.hpp>
#include <boost/make_shared.hpp>
#include <boost/system/error_code.hpp>
#include <utility>

#include "Log.h"

namespace IPC {
namespace {

constexpr int kMaxBadLines = 10;
constexpr int kMaxUnanswered = 128;

// What the requests that are not finished yet may hold, also those that want no answer; a single
// one may hold more. A request holds its line, and what its job and its reply function take.
constexpr std::size_t kMaxUnfinishedBytes = 256 * 1024;
constexpr std::size_t kBytesOfAJob = 512;

constexpr std::chrono::seconds kStallLimit(10);

// What the owner of the server holds.
class SessionConnection : public Server::Connection {
 public:
  explicit SessionConnection(std::weak_ptr<Session> session) : session_(std::move(session)) {}

  bool SendNotification(const std::string& name, const Json::Value& params,
                        std::uint64_t* sent_by_peer) override {
    const std::shared_ptr<Session> session = session_.lock();
    return session && session->Notify(name, params, sent_by_peer);
  }

  std::uint64_t BeginOfRequest() const override {
    const std::shared_ptr<Session> session = session_.lock();
    return session ? session->BeginOfRequest() : 0;
  }

 private:
  const std::weak_ptr<Session> session_;
};

// Answers one request, the first time it is called. Copies share the state.
class Answerer {
 public:
  Answerer(const std::shared_ptr<Session>& session, const RequestMessage& request,
           std::size_t bytes, std::shared_ptr<std::atomic<std::size_t>> unfinished)
      : state_(std::make_shared<State>(session, request, bytes, std::move(unfinished))) {}

  void operator()(const std::string& status, const Json::Value& result) const {
    if (state_->answered.exchange(true) || !state_->has_id) return;
    const std::shared_ptr<Session> session = state_->session.lock();
    if (!session) return;
    session->Answer(state_->id, status, result);
    session->NoteAnswered();
  }

 private:
  // Lives as long as somebody may still be at work on the request. All that is counted for one
  // session is counted for all: first there, and last.
  struct State {
    State(const std::shared_ptr<Session>& session, const RequestMessage& request, std::size_t bytes,
          std::shared_ptr<std::atomic<std::size_t>> unfinished)
        : session(session),
          has_id(request.has_id),
          id(request.id),
          bytes(bytes),
          unfinished(std::move(unfinished)) {
      *this->unfinished += bytes;
      session->CountUnfinished(bytes);
    }
    ~State() {
      if (const std::shared_ptr<Session> open = session.lock()) open->NoteFinished(bytes);
      *unfinished -= bytes;
    }
    const std::weak_ptr<Session> session;
    const bool has_id;
    const Json::Value id;
    const std::size_t bytes;
    const std::shared_ptr<std::atomic<std::size_t>> unfinished;
    std::atomic<bool> answered{false};
  };
  std::shared_ptr<State> state_;
};

boost::system::error_code BadMessage() {
  return boost::system::errc::make_error_code(boost::system::errc::bad_message);
}

}  // namespace

Session::Session(boost::asio::io_service& queue, Descriptor socket, Host& host,
                 std::shared_ptr<SharedRoom> room,
                 std::shared_ptr<std::atomic<std::size_t>> unfinished,
                 const std::string& server_name)
    : LineStream(queue, std::move(socket), {kStallLimit, true, std::move(room)}),
      host_(host),
      server_name_(server_name),
      unfinished_of_all_(std::move(unfinished)) {}

std::shared_ptr<Session> Session::Make(boost::asio::io_service& queue, Descriptor socket,
                                       Host& host, std::shared_ptr<SharedRoom> room,
                                       std::shared_ptr<std::atomic<std::size_t>> unfinished,
                                       const std::string& server_name) {
  std::shared_ptr<Session> session(new Session(queue, std::move(socket), host, std::move(room),
                                               std::move(unfinished), server_name));
  session->connection_ = boost::make_shared<SessionConnection>(session);
  return session;
}

// ---- Reading requests

void Session::OnLine(std::string_view line) {
  RequestMessage request;
  WireError error;
  if (!ReadRequest(line, request, error)) return Refuse(request, error);
  bad_lines_ = 0;
  if (request.has_id) ++unanswered_;
  // No further line until it is known whether there is room for another request.
  Pause();
  host_.HandleRequest(connection_, request,
                      Answerer(Self(), request, line.size() + kBytesOfAJob, unfinished_of_all_));
  if (HasRoom()) Resume();
}

void Session::Refuse(const RequestMessage& request, const WireError& error) {
  if (error.code == kParamsNotAnObject) {
    bad_lines_ = 0;
    if (request.has_id) Send(ErrorLine(request.id, error));
    return;
  }
  Send(ErrorLine(request.id, error));
  if (++bad_lines_ < kMaxBadLines) return;
  LogWarning("ended a connection that sent " + std::to_string(kMaxBadLines) +
             " bad lines in a row, the last: " + error.message);
  Finish(BadMessage());
}

void Session::OnLineTooLong() {
  const std::string limit = std::to_string(kMaxLineBytes) + " bytes";
  Send(ErrorLine(Json::Value(), {kNotARequest, "a line holds at most " + limit}));
  LogWarning("ended a connection that sent a line of more than " + limit);
  Finish(boost::asio::error::message_size);
}

void Session::OnPeerFinished() {
  peer_finished_ = true;
  GoOnAfterReplies();
}

// ---- Sending

void Session::Answer(const Json::Value& id, const std::string& status, const Json::Value& result) {
  std::string line = ReplyLine(id, status, result);
  if (line.size() > kMaxLineBytes) {
    LogWarning("a reply of " + std::to_string(line.size()) + " bytes became \"Failed\"");
    line = ReplyLine(id, Protocol::Core::Status::Failed, Json::Value());
  }
  Send(line);
}

// The line is in the outbox before the count says so. OnPeerFinished sets peer_finished_ and then
// looks at the count; this changes the count and then looks at peer_finished_: one sees the other.
void Session::NoteAnswered() {
  const int unanswered = --unanswered_;
  if (unanswered == kMaxUnanswered - 1 || (unanswered == 0 && peer_finished_))
    queue().post([self = Self()] { self->GoOnAfterReplies(); });
}

// Only the request that makes room posts: each of many would wake the queue for nothing.
void Session::NoteFinished(std::size_t bytes) {
  const std::size_t before = unfinished_bytes_.fetch_sub(bytes);
  if (before >= kMaxUnfinishedBytes && before - bytes < kMaxUnfinishedBytes)
    queue().post([self = Self()] { self->GoOnAfterReplies(); });
}

bool Session::HasRoom() const {
  return unanswered_ < kMaxUnanswered && unfinished_bytes_ < kMaxUnfinishedBytes;
}

void Session::GoOnAfterReplies() {
  if (!is_open()) return;
  if (HasRoom()) Resume();
  if (unanswered_ == 0 && peer_finished_) Finish(boost::asio::error::eof);
}

bool Session::Notify(const std::string& name, const Json::Value& params,
                     std::uint64_t* sent_by_peer) {
  const std::string line = NotificationLine(name, params);
  return line.size() <= kMaxLineBytes && Send(line, sent_by_peer);
}

// ---- Ending

void Session::LogWarning(const std::string& message) const {
  Log(server_name_, Talvo::kLogWarning, message);
}

void Session::OnRoomExceeded() {
  host_.HandleRoomExceeded();
}

void Session::OnEnd(const boost::system::error_code& reason) {
  if (reason == boost::asio::error::no_buffer_space)
    LogWarning("ended a connection that left more than " + InMebibytes(kMaxOutboxBytes) +
               " unread");
  if (reason == boost::asio::error::timed_out)
    LogWarning("ended a connection that read nothing for " + std::to_string(kStallLimit.count()) +
               " s");
  host_.HandleEnd(Self(), std::move(connection_), reason);
}

}  // namespace IPC
