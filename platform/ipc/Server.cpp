#include <IPC/Protocol.h>
#include <IPC/Server.h>
#include <Talvo/Logger.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/error.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/enable_shared_from_this.hpp>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <future>
#include <optional>
#include <set>

#include "Endpoint.h"
#include "Log.h"
#include "Session.h"

namespace IPC {
namespace {

using boost::system::error_code;

constexpr std::size_t kMaxConnections = 64;

// What all connections together may make the server hold for them, of lines not read and not ended.
// Peers that read and send whole lines hold next to nothing.
constexpr std::size_t kMaxHeldBytes = std::size_t(16) << 20;

// What unfinished requests of connections that have gone may hold. Beyond it no new connection is
// taken: else one program could connect, ask and go, again and again, until memory is full.
constexpr std::size_t kMaxLeftBehindBytes = std::size_t(8) << 20;

// How long accepting rests when the system has no descriptors or memory for another connection.
constexpr std::chrono::milliseconds kAcceptRest(100);

class ServerImpl : public Server,
                   public Session::Host,
                   public boost::enable_shared_from_this<ServerImpl> {
 public:
  ServerImpl(boost::asio::io_service& queue, OnConnected on_connected,
             OnDisconnected on_disconnected, OnRequest on_request, const std::string& name)
      : queue_(queue),
        name_(name),
        on_connected_(on_connected),
        on_disconnected_(on_disconnected),
        on_request_(on_request) {}

  bool Listen(const std::string& endpoint) override;
  void Stop() override;

 private:
  void HandleRequest(const boost::shared_ptr<Connection>& connection, const RequestMessage& request,
                     const Reply& reply) override;
  void HandleEnd(const std::shared_ptr<Session>& session, boost::shared_ptr<Connection> connection,
                 const error_code& reason) override;
  void HandleRoomExceeded() override;
  void LogWarning(const std::string& message) const;

  bool RefuseToListen(const std::string& endpoint, const std::string& reason) const;
  void WaitForConnection();
  void Accept();
  void RestFromAccepting(int reason);
  void Admit(Descriptor socket);
  void RefuseConnection(const Descriptor& socket, const std::string& reason) const;
  bool IsTooMuchLeftBehind() const;
  void ShutDown();

  boost::asio::io_service& queue_;
  const std::string name_;

  const std::shared_ptr<SharedRoom> room_{new SharedRoom{kMaxHeldBytes}};

  // What the unfinished requests of all connections hold, those that have gone included.
  const std::shared_ptr<std::atomic<std::size_t>> unfinished_bytes_ =
      std::make_shared<std::atomic<std::size_t>>(0);

  std::atomic<bool> listen_called_{false};
  std::atomic<bool> listening_{false};
  Endpoint endpoint_;  // used by the threads that call Listen and Stop

  // ---- Used on the queue alone, after Listen.
  OnConnected on_connected_;
  OnDisconnected on_disconnected_;
  OnRequest on_request_;
  std::optional<boost::asio::posix::stream_descriptor>
      listener_;  // empty: not or no more listening
  std::optional<boost::asio::steady_timer> accept_rest_;
  bool accepting_rests_ = false;  // so that one shortage is one line in the log
  std::set<std::shared_ptr<Session>> sessions_;
};

// ---- Listening

bool ServerImpl::Listen(const std::string& endpoint) {
  if (listen_called_.exchange(true)) return false;
  std::string error;
  Descriptor listener = endpoint_.Listen(endpoint, error);
  if (!listener) {
    return RefuseToListen(endpoint, error);
  }
  // Made here and not on the queue: if the system has no room for what waiting takes, this is
  // the place to say so.
  try {
    listener_.emplace(queue_);
    listener_->assign(listener.get());
    listener.Release();
    accept_rest_.emplace(queue_);
  } catch (const std::exception& failure) {
    listener_.reset();
    accept_rest_.reset();
    endpoint_.Remove();
    return RefuseToListen(endpoint, failure.what());
  }
  listening_ = true;
  queue_.post([self = shared_from_this()] { self->WaitForConnection(); });
  return true;
}

bool ServerImpl::RefuseToListen(const std::string& endpoint, const std::string& reason) const {
  Log(name_, Talvo::kLogError, "can't listen on " + endpoint + ": " + reason);
  return false;
}

// ---- Accepting. One of its jobs is always under way while the server listens, and keeps it alive.

void ServerImpl::WaitForConnection() {
  listener_->async_wait(boost::asio::posix::stream_descriptor::wait_read,
                        [self = shared_from_this()](const error_code&) {
                          if (self->listener_) self->Accept();
                        });
}

void ServerImpl::Accept() {
  Descriptor socket(
      ::accept4(listener_->native_handle(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  if (socket) {
    accepting_rests_ = false;
    RunGuarded(name_, "taking a new connection", [&] { Admit(std::move(socket)); });
  } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
    return RestFromAccepting(errno);
  }
  WaitForConnection();
}

void ServerImpl::RestFromAccepting(int reason) {
  if (!accepting_rests_)
    Log(name_, Talvo::kLogError, "can't accept connections: " + SystemReason(reason));
  accepting_rests_ = true;
  accept_rest_->expires_after(kAcceptRest);
  accept_rest_->async_wait([self = shared_from_this()](const error_code&) {
    if (self->listener_) self->WaitForConnection();
  });
}

void ServerImpl::Admit(Descriptor socket) {
  if (!IsPeerSameUser(socket.get())) return LogWarning("closed a connection of another user");
  if (sessions_.size() >= kMaxConnections) {
    const std::string limit = std::to_string(kMaxConnections);
    RefuseConnection(socket, limit + " connections are open already");
    return LogWarning("refused a connection beyond " + limit);
  }
  if (IsTooMuchLeftBehind()) {
    RefuseConnection(socket, "too many requests of closed connections are not carried out yet");
    return LogWarning("refused a connection: closed ones have left more than " +
                      InMebibytes(kMaxLeftBehindBytes) + " of requests");
  }
  const std::shared_ptr<Session> session =
      Session::Make(queue_, std::move(socket), *this, room_, unfinished_bytes_, name_);
  sessions_.insert(session);
  if (on_connected_) {
    RunGuarded(name_, "taking a new connection", [&] { on_connected_(session->connection()); });
  }
  session->Start();
}

void ServerImpl::RefuseConnection(const Descriptor& socket, const std::string& reason) const {
  const std::string line = ErrorLine(Json::Value(), {kTooManyConnections, reason});
  // A new socket has room for one line; if not, the end of the connection says enough.
  (void)!::send(socket.get(), line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

bool ServerImpl::IsTooMuchLeftBehind() const {
  const std::size_t of_all = *unfinished_bytes_;
  if (of_all <= kMaxLeftBehindBytes) return false;
  std::size_t of_open_ones = 0;
  for (const std::shared_ptr<Session>& session : sessions_)
    of_open_ones += session->UnfinishedBytes();
  return of_all > kMaxLeftBehindBytes + of_open_ones;
}

// ---- Calling the owner

void ServerImpl::HandleRequest(const boost::shared_ptr<Connection>& connection,
                               const RequestMessage& request, const Reply& reply) {
  if (!on_request_) return reply(Protocol::Core::Status::NotSupported, Json::Value());
  if (!RunGuarded(name_, "the request " + request.method,
                  [&] { on_request_(connection, request.method, request.params, reply); }))
    reply(Protocol::Core::Status::Failed, Json::Value());
}

void ServerImpl::HandleEnd(const std::shared_ptr<Session>& session,
                           boost::shared_ptr<Connection> connection, const error_code& reason) {
  sessions_.erase(session);
  if (!on_disconnected_) return;
  long references_before = 0;
  do {
    references_before = connection.use_count();
    RunGuarded(name_, "reporting the end of a connection",
               [&] { on_disconnected_(connection, reason); });
  } while (connection.use_count() < references_before);
}

// Ends the connection that holds the most, and so on, until the others have room.
void ServerImpl::HandleRoomExceeded() {
  while (room_->IsExceeded() && !sessions_.empty()) {
    const std::shared_ptr<Session> largest = *std::max_element(
        sessions_.begin(), sessions_.end(),
        [](const auto& a, const auto& b) { return a->HeldBytes() < b->HeldBytes(); });
    LogWarning("ended the connection that held the most of more than " +
               InMebibytes(kMaxHeldBytes));
    largest->Close(boost::asio::error::no_memory);
  }
}

void ServerImpl::LogWarning(const std::string& message) const {
  Log(name_, Talvo::kLogWarning, message);
}

// ---- Stopping

void ServerImpl::Stop() {
  if (!listening_.exchange(false)) return;
  endpoint_.Remove();
  const auto done = std::make_shared<std::promise<void>>();
  queue_.post([self = shared_from_this(), done] {
    self->ShutDown();
    done->set_value();
  });
  done->get_future().wait();
}

void ServerImpl::ShutDown() {
  listener_.reset();
  accept_rest_.reset();
  const std::set<std::shared_ptr<Session>> sessions = sessions_;
  for (const std::shared_ptr<Session>& session : sessions)
    session->Close(boost::asio::error::operation_aborted);
  // The owner may be bound into its own callbacks.
  on_connected_.clear();
  on_disconnected_.clear();
  on_request_.clear();
}

}  // namespace

boost::shared_ptr<Server> Server::CreateEx(boost::asio::io_service& queue, OnConnected on_connected,
                                           OnDisconnected on_disconnected, OnRequest on_request,
                                           const std::string& name) {
  return boost::make_shared<ServerImpl>(boost::ref(queue), on_connected, on_disconnected,
                                        on_request, name);
}

}  // namespace IPC
