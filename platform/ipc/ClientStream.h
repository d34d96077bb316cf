// The connection of a client: reads the service's messages and hands them on. Everything runs on
// the client's own thread, but Send.

#pragma once

#include <IPC/Client.h>

#include <memory>
#include <string>

#include "LineStream.h"
#include "Message.h"

namespace IPC {

// What notifications may hold that wait for their callback; the client counts them.
inline constexpr std::size_t kMaxWaitingBytes = std::size_t(16) << 20;

class ClientStream : public LineStream {
 public:
  // The client, as its stream sees it. Outlives the thread on which the stream runs.
  class Host {
   public:
    virtual void HandleReply(Json::Int64 id, const Client::Reply& reply) = 0;
    // `bytes`: of the line. False if too many wait, which ends the connection.
    virtual bool HandleNotification(std::string name, Json::Value params, std::size_t bytes) = 0;
    virtual void HandleEnd(const Client::Outcome& reason) = 0;

   protected:
    ~Host() {}
  };

  ClientStream(boost::asio::io_service& queue, Descriptor socket, Host& host);

 private:
  void OnLine(std::string_view line) override;
  void OnLineTooLong() override;
  void OnPeerFinished() override;
  void OnEnd(const boost::system::error_code& reason) override;

  void HandleError(const ServerMessage& message);
  void Fail(Client::Error error, const std::string& message);

  Host& host_;
  Client::Outcome failure_;  // why this side ended the connection
};

}  // namespace IPC
