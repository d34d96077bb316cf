#include <IPC/Client.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <condition_variable>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "ClientStream.h"
#include "Endpoint.h"
#include "LineDecoder.h"
#include "Log.h"

namespace IPC {
namespace {

// A reconnection is tried on the thread of the socket, so it does not wait for a busy service.
constexpr Client::Milliseconds kReconnectPatience(100);

Client::Outcome MakeOutcome(Client::Error error, const std::string& message) {
  Client::Outcome outcome;
  outcome.error = error;
  outcome.message = message;
  return outcome;
}

Client::Reply MakeReply(const Client::Outcome& outcome) {
  Client::Reply reply;
  static_cast<Client::Outcome&>(reply) = outcome;
  return reply;
}

Client::Outcome ConnectToService(const std::string& endpoint, Client::Milliseconds timeout,
                                 Descriptor& connection) {
  std::string reason;
  switch (ConnectTo(endpoint, timeout, connection, reason)) {
    case ConnectResult::kConnected:
      break;
    case ConnectResult::kNoService:
      return MakeOutcome(Client::Error::kNoService,
                         "no service is listening at " + endpoint + ": " + reason);
    case ConnectResult::kForbidden:
      return MakeOutcome(Client::Error::kWrongUser,
                         "the service at " + endpoint + " is not for this user: " + reason);
    case ConnectResult::kTimedOut:
      return MakeOutcome(Client::Error::kTimedOut,
                         "the service at " + endpoint + " did not take the connection in time");
  }
  if (IsPeerSameUser(connection.get())) return Client::Outcome();
  connection = Descriptor();
  return MakeOutcome(Client::Error::kWrongUser,
                     "another user's program is listening at " + endpoint);
}

// Starts a thread that leaves all signals to the threads of the host.
template <typename Function>
std::thread StartThread(Function function) {
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread(std::move(function));
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

// A queue and the thread that runs it, until End, and then what is still in it.
class Worker {
 public:
  // The thread keeps `owner` alive, so that the owner may let go of itself on it.
  void Begin(std::shared_ptr<void> owner) {
    work_.emplace(queue_);
    thread_ = StartThread([this, owner = std::move(owner)] { queue_.run(); });
  }

  // Waits for the thread, unless called on it.
  void End() {
    work_.reset();
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();
    } else if (thread_.joinable()) {
      thread_.join();
    }
  }

  boost::asio::io_service& queue() { return queue_; }

 private:
  boost::asio::io_service queue_;
  std::optional<boost::asio::io_service::work> work_;
  std::thread thread_;
};

}  // namespace

class Client::Impl final : public ClientStream::Host,
                           public std::enable_shared_from_this<Client::Impl> {
 public:
  explicit Impl(Options options)
      : options_(std::move(options)), reconnect_delay_(options_.reconnect_first) {}

  void Begin();
  Outcome Connect(const std::string& endpoint, Milliseconds timeout);
  bool IsConnected() const;
  void RequestAsync(const std::string& name, const Json::Value& params, OnReply on_reply,
                    Milliseconds timeout);
  Reply Request(const std::string& name, const Json::Value& params, Milliseconds timeout);
  void Close(Milliseconds patience);

 private:
  enum class Phase { kNew, kConnecting, kConnected, kReconnecting, kClosing, kClosed };

  struct OpenRequest {
    OnReply on_reply;  // called on the socket's thread
    std::shared_ptr<boost::asio::steady_timer> timeout;
  };

  void HandleReply(Json::Int64 id, const Reply& reply) override;
  bool HandleNotification(std::string name, Json::Value params, std::size_t bytes) override;
  void HandleEnd(const Outcome& reason) override;

  boost::asio::io_service& callbacks() {
    return options_.callback_queue ? *options_.callback_queue : callback_worker_.queue();
  }
  void Adopt(Descriptor connection);
  Outcome Call(const std::string& name, const Json::Value& params, OnReply on_reply,
               Milliseconds timeout);
  void WatchTimeout(Json::Int64 id, Milliseconds timeout);
  void EndRequest(Json::Int64 id, const Reply& reply);
  void FailOpenRequests(const Outcome& reason);
  void ScheduleReconnect();
  void Reconnect();
  void ShutDown();
  void PostReply(OnReply on_reply, const Reply& reply);
  template <typename Report>
  void PostReport(const char* what, Report report);
  template <typename Callback>
  void RunCallback(const char* what, Callback callback);

  const Options options_;
  Worker socket_worker_;
  Worker callback_worker_;
  std::atomic<bool> silent_{false};            // notifications and reports do nothing any more
  std::atomic<std::size_t> waiting_bytes_{0};  // of notifications

  // ---- Used on the socket's thread alone.
  std::optional<boost::asio::steady_timer> reconnect_timer_;
  Milliseconds reconnect_delay_;  // back to the first once the service has said something

  mutable std::mutex mutex_;  // guards what follows
  std::condition_variable all_answered_;
  Phase phase_ = Phase::kNew;
  std::string endpoint_;
  std::shared_ptr<ClientStream> stream_;  // null while there is no connection
  Outcome end_reason_;                    // of the last connection, while there is none
  Json::Int64 last_id_ = 0;
  std::map<Json::Int64, OpenRequest> open_requests_;
};

void Client::Impl::Begin() {
  socket_worker_.Begin(shared_from_this());
  if (!options_.callback_queue) callback_worker_.Begin(shared_from_this());
}

// ---- Connecting

Client::Outcome Client::Impl::Connect(const std::string& endpoint, Milliseconds timeout) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (phase_ >= Phase::kClosing) return MakeOutcome(Error::kClosed, "the client has been closed");
    if (phase_ != Phase::kNew)
      return MakeOutcome(Error::kClosed, "the client is connected or connecting already");
    phase_ = Phase::kConnecting;
    endpoint_ = endpoint;
  }
  Descriptor connection;
  const Outcome outcome = ConnectToService(endpoint, timeout, connection);
  std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ != Phase::kConnecting)
    return MakeOutcome(Error::kClosed, "the client has been closed");
  if (outcome) {
    Adopt(std::move(connection));
  } else {
    phase_ = Phase::kNew;
  }
  return outcome;
}

// Under the mutex. Nothing is read before the report of the connection has been posted.
void Client::Impl::Adopt(Descriptor connection) {
  phase_ = Phase::kConnected;
  end_reason_ = Outcome();
  stream_ = std::make_shared<ClientStream>(socket_worker_.queue(), std::move(connection), *this);
  if (options_.on_connected) PostReport("reporting the connection", options_.on_connected);
  socket_worker_.queue().post([stream = stream_] { stream->Start(); });
}

bool Client::Impl::IsConnected() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return stream_ != nullptr;
}

void Client::Impl::HandleEnd(const Outcome& reason) {
  bool reconnect = false;
  bool lost = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stream_.reset();
    end_reason_ = reason;
    lost = phase_ == Phase::kConnected;
    reconnect = lost && options_.reconnect;
    if (lost) phase_ = reconnect ? Phase::kReconnecting : Phase::kNew;
  }
  FailOpenRequests(reason);
  if (lost && options_.on_disconnected)
    PostReport("reporting the end of the connection",
               [this, reason] { options_.on_disconnected(reason); });
  if (reconnect) ScheduleReconnect();
}

void Client::Impl::ScheduleReconnect() {
  reconnect_timer_.emplace(socket_worker_.queue());
  reconnect_timer_->expires_after(reconnect_delay_);
  reconnect_timer_->async_wait([this](const boost::system::error_code& error) {
    if (!error) Reconnect();
  });
  reconnect_delay_ = std::min(reconnect_delay_ * 2, options_.reconnect_longest);
}

void Client::Impl::Reconnect() {
  Descriptor connection;
  const Outcome outcome = ConnectToService(endpoint_, kReconnectPatience, connection);
  std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ != Phase::kReconnecting) return;
  if (outcome) return Adopt(std::move(connection));
  ScheduleReconnect();
}

// ---- Requests

// Files and sends the request. On success `on_reply` is called once, on the socket's thread.
Client::Outcome Client::Impl::Call(const std::string& name, const Json::Value& params,
                                   OnReply on_reply, Milliseconds timeout) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ >= Phase::kClosing) return MakeOutcome(Error::kClosed, "the client has been closed");
  if (!stream_) {
    return end_reason_ ? MakeOutcome(Error::kClosed, "there is no connection to the service")
                       : end_reason_;
  }
  const Json::Int64 id = ++last_id_;
  const std::string line = RequestLine(id, name, params);
  if (line.size() > kMaxLineBytes)
    return MakeOutcome(Error::kProtocol, "the request " + name + " has more than " +
                                             std::to_string(kMaxLineBytes) + " bytes");
  // A stream that is ending takes nothing more, but knows why: the request is ended with the
  // reason.
  if (!stream_->Send(line) && stream_->IsSending()) {
    return MakeOutcome(Error::kProtocol,
                       "no room for the request " + name + ": the service leaves too many unread");
  }
  open_requests_[id].on_reply = std::move(on_reply);
  if (timeout.count() > 0)
    socket_worker_.queue().post([this, id, timeout] { WatchTimeout(id, timeout); });
  return Outcome();
}

void Client::Impl::WatchTimeout(Json::Int64 id, Milliseconds timeout) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto request = open_requests_.find(id);
  if (request == open_requests_.end()) return;
  const auto timer = std::make_shared<boost::asio::steady_timer>(socket_worker_.queue(), timeout);
  request->second.timeout = timer;
  timer->async_wait([this, id, timeout](const boost::system::error_code& error) {
    if (error) return;
    HandleReply(
        id, MakeReply(MakeOutcome(Error::kTimedOut, "the service did not answer within " +
                                                        std::to_string(timeout.count()) + " ms")));
  });
}

void Client::Impl::HandleReply(Json::Int64 id, const Reply& reply) {
  reconnect_delay_ = options_.reconnect_first;
  EndRequest(id, reply);
}

// A reply that nobody waits for any more is dropped.
void Client::Impl::EndRequest(Json::Int64 id, const Reply& reply) {
  OpenRequest request;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = open_requests_.find(id);
    if (found == open_requests_.end()) return;
    request = std::move(found->second);
    open_requests_.erase(found);
    if (open_requests_.empty()) all_answered_.notify_all();
  }
  request.on_reply(reply);
}

void Client::Impl::FailOpenRequests(const Outcome& reason) {
  std::map<Json::Int64, OpenRequest> requests;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    requests.swap(open_requests_);
    all_answered_.notify_all();
  }
  for (auto& request : requests) request.second.on_reply(MakeReply(reason));
}

Client::Reply Client::Impl::Request(const std::string& name, const Json::Value& params,
                                    Milliseconds timeout) {
  const auto answer = std::make_shared<std::promise<Reply>>();
  std::future<Reply> reply = answer->get_future();
  const Outcome outcome = Call(
      name, params, [answer](const Reply& reply) { answer->set_value(reply); }, timeout);
  return outcome ? reply.get() : MakeReply(outcome);
}

void Client::Impl::RequestAsync(const std::string& name, const Json::Value& params,
                                OnReply on_reply, Milliseconds timeout) {
  const Outcome outcome = Call(
      name, params, [this, on_reply](const Reply& reply) { PostReply(on_reply, reply); }, timeout);
  if (outcome) return;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    // As long as this holds, the callbacks' thread will run what is posted now.
    if (phase_ < Phase::kClosing) return PostReply(on_reply, MakeReply(outcome));
  }
  if (on_reply) RunCallback("taking a reply", [&] { on_reply(MakeReply(outcome)); });
}

// ---- Callbacks

template <typename Callback>
void Client::Impl::RunCallback(const char* what, Callback callback) {
  if (options_.callback_queue) return callback();
  RunGuarded(options_.log_tag, what, callback);
}

template <typename Report>
void Client::Impl::PostReport(const char* what, Report report) {
  callbacks().post([self = shared_from_this(), what, report = std::move(report)] {
    if (!self->silent_) self->RunCallback(what, report);
  });
}

bool Client::Impl::HandleNotification(std::string name, Json::Value params, std::size_t bytes) {
  reconnect_delay_ = options_.reconnect_first;
  if (!options_.on_notification) return true;
  if (waiting_bytes_ + bytes > kMaxWaitingBytes) return false;
  waiting_bytes_ += bytes;
  const auto message = std::make_shared<const std::pair<std::string, Json::Value>>(
      std::move(name), std::move(params));
  PostReport("taking a notification", [this, message, bytes] {
    waiting_bytes_ -= bytes;
    options_.on_notification(message->first, message->second);
  });
  return true;
}

void Client::Impl::PostReply(OnReply on_reply, const Reply& reply) {
  if (!on_reply) return;
  callbacks().post([self = shared_from_this(), on_reply, reply] {
    self->RunCallback("taking a reply", [&] { on_reply(reply); });
  });
}

// ---- Closing

void Client::Impl::Close(Milliseconds patience) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (phase_ >= Phase::kClosing) return;
    phase_ = Phase::kClosing;
    if (stream_) all_answered_.wait_for(lock, patience, [this] { return open_requests_.empty(); });
    phase_ = Phase::kClosed;
  }
  silent_ = true;
  socket_worker_.queue().post([this] { ShutDown(); });
  socket_worker_.End();
  callback_worker_.End();
}

void Client::Impl::ShutDown() {
  reconnect_timer_.reset();
  std::shared_ptr<ClientStream> stream;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stream = stream_;
  }
  FailOpenRequests(MakeOutcome(Error::kClosed, "the client has been closed"));
  if (stream) stream->Close(boost::asio::error::operation_aborted);
}

// ---- The public face

Client::Client() : Client(Options()) {}

Client::Client(Options options) : impl_(std::make_shared<Impl>(std::move(options))) {
  impl_->Begin();
}

Client::~Client() {
  impl_->Close(Milliseconds(0));
}

Client::Outcome Client::Connect(const std::string& endpoint, Milliseconds timeout) {
  return impl_->Connect(endpoint, timeout);
}

bool Client::IsConnected() const {
  return impl_->IsConnected();
}

Client::Reply Client::Request(const std::string& name, const Json::Value& params,
                              Milliseconds timeout) {
  return impl_->Request(name, params, timeout);
}

void Client::RequestAsync(const std::string& name, const Json::Value& params, OnReply on_reply,
                          Milliseconds timeout) {
  impl_->RequestAsync(name, params, std::move(on_reply), timeout);
}

void Client::Close(Milliseconds patience) {
  impl_->Close(patience);
}

}  // namespace IPC
