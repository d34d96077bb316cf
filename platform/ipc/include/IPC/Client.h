// A program's side of the connection to a service of IPC/Server.h: it connects to the endpoint,
// makes sure that the service belongs to the same user, sends requests and takes notifications.
// It knows nothing of what the messages mean.
//
//   IPC::Client::Options options;
//   options.on_notification = [](const std::string& name, const Json::Value& params) { ... };
//   IPC::Client client(options);
//   IPC::Client::Outcome outcome = client.Connect(endpoint);
//   if (!outcome) Complain(outcome.message);
//   IPC::Client::Reply reply = client.Request("Hello");
//   if (reply && reply.status == IPC::Protocol::Core::Status::Success) Show(reply.result);
//
// Threads. Every function may be called from any thread, also from the client's own callbacks. A
// client runs one thread for its socket, which runs no code of the owner, and one on which all
// callbacks run, one at a time, in the order in which their causes arrived. If the owner gives
// a queue, callbacks are posted there instead and the second thread does not exist. So a callback
// may send requests and wait for their replies; but while it waits no other callback runs on its
// thread. Both threads block all signals.
//
// Signals and descriptors. SIGPIPE is never raised; no descriptor is inherited by programs that
// are started; signal dispositions and the umask are left alone.

#pragma once

#include <json/value.h>

#include <boost/asio/io_service.hpp>
#include <boost/noncopyable.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace IPC {

class Client : boost::noncopyable {
 public:
  typedef std::chrono::milliseconds Milliseconds;

  enum class Error {
    kNone,
    kNoService,  // nothing listens at the endpoint
    kWrongUser,  // another user's program listens there; nothing was sent to it
    kRefused,    // the service takes no further connection now; its message says why
    kTimedOut,   // the time given was not enough; a request may have been carried out all the same
    kProtocol,  // the service found fault with the message, or sent something that is not a message
    kClosed,    // there is no connection: never made, lost, or closed by the owner. A request that
                // was under way may have been carried out
  };

  // How something went. `message` is one English sentence without a full stop, for people, that
  // names the endpoint and the system's reason; empty if all went well.
  struct Outcome {
    Error error = Error::kNone;
    std::string message;

    explicit operator bool() const { return error == Error::kNone; }
  };

  // The service's answer to a request. If the outcome is an error, `status` is empty and
  // `result` null. Otherwise `status` is the service's own, as in IPC/Protocol.h: a service that
  // refuses what was asked has answered, and that is not an error here.
  struct Reply : Outcome {
    std::string status;
    Json::Value result;
  };

  typedef std::function<void(const std::string& name, const Json::Value& params)> OnNotification;
  typedef std::function<void()> OnConnected;
  typedef std::function<void(const Outcome& reason)> OnDisconnected;
  typedef std::function<void(const Reply& reply)> OnReply;

  // Any callback may be empty. What an exception that leaves a callback does: on the client's own
  // thread it is logged at level 1 and ends nothing; on the owner's queue it is the owner's.
  struct Options {
    // A notification of the service. `params` is an object, or null if there was none. Up to
    // 16 MiB of them may wait for the callback to return; a connection that brings more is ended
    // with kProtocol.
    OnNotification on_notification;

    // The connection stands: after the first Connect, and after every reconnection. The place for
    // requests that are to be made anew on every connection, for instance subscribing.
    OnConnected on_connected;

    // The connection has been lost; not called for Close. Every open request has been ended with
    // the same reason before.
    OnDisconnected on_disconnected;

    // Where callbacks run: a queue of the owner's, which must outlive the client and should be run
    // by one thread; null for a thread of the client's own.
    boost::asio::io_service* callback_queue = nullptr;

    // Whether a lost connection is made again: after `reconnect_first`, then after twice the time
    // before, up to `reconnect_longest`, until it succeeds or Close is called. Requests are not
    // kept in the meantime: they fail immediately with kClosed.
    bool reconnect = false;
    Milliseconds reconnect_first{100};
    Milliseconds reconnect_longest{5000};

    // The tag of the logger for what goes wrong in callbacks (Talvo/Logger.h).
    std::string log_tag = "Quillpost";
  };

  Client();
  explicit Client(Options options);

  // Closes without waiting for open requests. Destroying the client from one of its own callbacks
  // is allowed.
  ~Client();

  // Connects to the service that listens at the path `endpoint`, waiting at most `timeout` if
  // the service is there but busy; a service that is not there is not waited for. Errors:
  // kNoService, kWrongUser, kTimedOut, or kClosed if the client is connected already or has
  // been closed. After a failure it may be called again.
  Outcome Connect(const std::string& endpoint, Milliseconds timeout = Milliseconds(5000));

  // Whether there is a connection now; it may be lost in the next moment.
  bool IsConnected() const;

  // Sends the request `name` with the object `params` (or null), and waits for the reply, at most
  // `timeout`; 0 or less waits as long as it takes, which for work such as an import may be long.
  // A reply that comes after the timeout is dropped. Requests from one thread reach the service in
  // their order, up to 4 MiB of them may wait for the service to read; a message holds at most
  // 1 MiB (kProtocol beyond either).
  Reply Request(const std::string& name, const Json::Value& params = Json::Value(),
                Milliseconds timeout = Milliseconds(30000));

  // The same without waiting: `on_reply` is called once with the reply or the error, also when the
  // connection is lost or closed. Always on the thread of the callbacks, but for a client that has
  // been closed before: then it is called within this function.
  void RequestAsync(const std::string& name, const Json::Value& params, OnReply on_reply,
                    Milliseconds timeout = Milliseconds(30000));

  // Ends the connection in order: waits, at most `patience`, until every open request has been
  // answered, ends what is still open with kClosed, and closes. On its return, with a thread of the
  // client's own, every callback has returned and none will run. If a callback itself closes the
  // client, and on a queue of the owner's, replies that wait for their callbacks still reach them
  // afterwards, but no notifications and no reports of the connection. The client stays closed:
  // make another one to connect again.
  void Close(Milliseconds patience = Milliseconds(2000));

 private:
  class Impl;
  std::shared_ptr<Impl> impl_;
};

}  // namespace IPC
