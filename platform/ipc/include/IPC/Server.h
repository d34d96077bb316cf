// A server for programs of one user on one machine: JSON-RPC 2.0 over a Unix stream socket, one
// message a line. It takes requests, hands them to its owner, sends back the owner's replies, and
// sends notifications. It knows nothing of what the messages mean.
//
// The owner makes it with CreateEx and gives it the queue on which all its work is done: reading,
// writing and every callback. One thread must run that queue. Between Listen and the end of Stop
// the server keeps itself alive; the owner may drop its reference at any time after Stop.

#pragma once

#include <json/value.h>

#include <boost/asio/io_service.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/system/error_code.hpp>
#include <cstdint>
#include <string>

namespace IPC {

class Server : boost::noncopyable {
 public:
  // One connected program. Its identity is the pointer: every callback about one connection gets
  // the same object. Holding the pointer keeps the object, not the connection.
  class Connection : boost::noncopyable {
   public:
    virtual ~Connection() {}

    // Queues the notification `name` with the object `params` for the peer, and returns
    // immediately: never waits for the server's thread or for the peer. The notifications and
    // replies of one calling thread reach the peer in the order of the calls. True: the message is
    // in the connection's outbox (which does not promise that the peer reads it). False: the
    // connection is gone or its outbox is full, and nothing of the message was sent. Any thread.
    //
    // `sent_by_peer`, if given, gets the number of bytes that the peer had sent when the message
    // was handed over, whether or not they have been read here: the peer sent any request that
    // begins before this place before it could see the notification.
    virtual bool SendNotification(const std::string& name, const Json::Value& params,
                                  std::uint64_t* sent_by_peer = nullptr) = 0;

    // In OnRequest: where the request that is being handed on begins, in bytes of all that the peer
    // has sent since it connected.
    virtual std::uint64_t BeginOfRequest() const = 0;
  };

  typedef boost::function<void(boost::shared_ptr<Connection>)> OnConnected;

  // Reports the end of a connection, also when the server stops. It is called again until a call
  // drops no reference to the connection: so an owner that files several things under one
  // connection may release one of them at each call. No request of a connection comes after the
  // first report of its end.
  typedef boost::function<void(boost::shared_ptr<Connection>, const boost::system::error_code&)>
      OnDisconnected;

  // Answers one request. `status` is a status text, `result` any JSON value. May be called from
  // any thread, never waits, has an effect only the first time; for a connection that has gone it
  // does nothing. Copies may be kept as long as wished; they keep neither connection nor server
  // alive. While a copy exists the request counts as unfinished, even after its answer. A
  // connection with too many unfinished requests is not read. So keep a copy in each queued job of
  // the request, and drop it with the job.
  typedef boost::function<void(const std::string& status, const Json::Value& result)> Reply;

  // `params` is an object, or null if the request had none. The requests of one connection
  // come in their order. A request that wants no answer has a reply function that does nothing.
  typedef boost::function<void(boost::shared_ptr<Connection>, const std::string& name,
                               const Json::Value& params, Reply reply)>
      OnRequest;

  // Makes a server whose callbacks all run on `queue`, one at a time; any of them may be empty.
  // `queue` must outlive the server. `name`, for instance "Quillpost:Service", names the server in
  // log lines, which go to the logger whose tag is the part before the colon. An exception that
  // leaves a callback is logged at level 1, answered "Failed" if a request is open, and ends
  // nothing.
  static boost::shared_ptr<Server> CreateEx(boost::asio::io_service& queue,
                                            OnConnected on_connected,
                                            OnDisconnected on_disconnected, OnRequest on_request,
                                            const std::string& name);

  // Listens on the Unix socket at the path `endpoint`, for the user of this process alone: the
  // socket's file has mode 0600 from before it can be connected to, whatever the umask. Works on
  // the calling thread and does not wait for the queue. A socket left behind by a killed process
  // is taken over. False, with a line in the log that says why, if another server is listening
  // there, if the path is taken by something else or by another user, is too long for a socket,
  // or has no directory. To be called once.
  virtual bool Listen(const std::string& endpoint) = 0;

  // Ends listening and all connections. On return the end of every open connection has been
  // reported on the queue, the endpoint's file is gone (if it was still ours), and no further
  // callback will run. Needs the queue to be running, and must not be called from it; without a
  // successful Listen, and when called again, it returns immediately.
  virtual void Stop() = 0;

  virtual ~Server() {}

 protected:
  Server() {}
};

}  // namespace IPC
