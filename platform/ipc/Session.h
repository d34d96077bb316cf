// One connection of the server: reads lines, hands requests to the server, answers every other line
// itself, and carries the replies back. The owner of the server knows it as a Server::Connection,
// an object of its own that refers to the session weakly: so only the owner changes the count of
// references to that object, and keeping it keeps no socket.

#pragma once

#include <IPC/Server.h>

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <memory>
#include <string>

#include "LineStream.h"
#include "Message.h"

namespace IPC {

class Session : public LineStream {
 public:
  // The server, as its sessions see it. Called on the queue; outlives every session that is open.
  class Host {
   public:
    virtual void HandleRequest(const boost::shared_ptr<Server::Connection>& connection,
                               const RequestMessage& request, const Server::Reply& reply) = 0;
    // The session has ended and calls nothing any more; `connection` is its last reference to it.
    virtual void HandleEnd(const std::shared_ptr<Session>& session,
                           boost::shared_ptr<Server::Connection> connection,
                           const boost::system::error_code& reason) = 0;

    // The sessions together hold more than their room.
    virtual void HandleRoomExceeded() = 0;

   protected:
    ~Host() {}
  };

  // Takes a connected socket. On the queue.
  static std::shared_ptr<Session> Make(boost::asio::io_service& queue, Descriptor socket,
                                       Host& host, std::shared_ptr<SharedRoom> room,
                                       std::shared_ptr<std::atomic<std::size_t>> unfinished,
                                       const std::string& server_name);

  const boost::shared_ptr<Server::Connection>& connection() const { return connection_; }

  // Sends the reply to the request with this id. Any thread.
  void Answer(const Json::Value& id, const std::string& status, const Json::Value& result);

  // A request with an id has been answered. Any thread.
  void NoteAnswered();

  // What a request of its own holds of the owner's memory: counted from when it is handed on until
  // the last copy of its reply function has gone. Any thread.
  void CountUnfinished(std::size_t bytes) { unfinished_bytes_ += bytes; }
  void NoteFinished(std::size_t bytes);
  std::size_t UnfinishedBytes() const { return unfinished_bytes_; }

  // As in Server::Connection. While a request is handed on.
  std::uint64_t BeginOfRequest() const { return line_begin(); }

  // Sends a notification; false as in Server::Connection. Any thread.
  bool Notify(const std::string& name, const Json::Value& params, std::uint64_t* sent_by_peer);

 private:
  Session(boost::asio::io_service& queue, Descriptor socket, Host& host,
          std::shared_ptr<SharedRoom> room, std::shared_ptr<std::atomic<std::size_t>> unfinished,
          const std::string& server_name);

  void OnLine(std::string_view line) override;
  void OnLineTooLong() override;
  void OnPeerFinished() override;
  void OnRoomExceeded() override;
  void OnEnd(const boost::system::error_code& reason) override;

  std::shared_ptr<Session> Self() { return std::static_pointer_cast<Session>(shared_from_this()); }
  void Refuse(const RequestMessage& request, const WireError& error);
  bool HasRoom() const;
  void GoOnAfterReplies();
  void LogWarning(const std::string& message) const;

  Host& host_;  // used on the queue alone, while the session is open
  const std::string server_name_;
  boost::shared_ptr<Server::Connection> connection_;  // null once the end has been reported
  int bad_lines_ = 0;                                 // in a row; used on the queue alone
  std::atomic<int> unanswered_{0};
  std::atomic<std::size_t> unfinished_bytes_{0};
  const std::shared_ptr<std::atomic<std::size_t>> unfinished_of_all_;  // also of sessions now gone
  std::atomic<bool> peer_finished_{false};
};

}  // namespace IPC
