#include "ClientStream.h"

#include <boost/asio/error.hpp>
#include <utility>

#include "Log.h"

namespace IPC {

ClientStream::ClientStream(boost::asio::io_service& queue, Descriptor socket, Host& host)
    // A service reads on when it has answered enough, however long that takes.
    : LineStream(queue, std::move(socket), {std::chrono::seconds(0), false, nullptr}),
      host_(host) {}

void ClientStream::OnLine(std::string_view line) {
  ServerMessage message;
  std::string reason;
  if (!ReadServerMessage(line, message, reason))
    return Fail(Client::Error::kProtocol,
                "the service sent something that is not a message: " + reason);
  switch (message.kind) {
    case ServerMessage::kNotification:
      if (!host_.HandleNotification(std::move(message.name), std::move(message.params),
                                    line.size()))
        Fail(Client::Error::kProtocol, "more than " + InMebibytes(kMaxWaitingBytes) +
                                           " of notifications were not taken in time");
      return;
    case ServerMessage::kError:
      return HandleError(message);
    case ServerMessage::kReply:
      break;
  }
  if (!message.id.isInt64())
    return Fail(Client::Error::kProtocol, "the service answered a request that was never sent");
  Client::Reply reply;
  reply.status = std::move(message.status);
  reply.result = std::move(message.result);
  host_.HandleReply(message.id.asInt64(), reply);
}

void ClientStream::HandleError(const ServerMessage& message) {
  const std::string text =
      message.error.message + " (error " + std::to_string(message.error.code) + ")";
  if (message.error.code == kTooManyConnections)
    return Fail(Client::Error::kRefused, "the service refused the connection: " + text);
  if (!message.id.isInt64())
    return Fail(Client::Error::kProtocol, "the service found fault with a message: " + text);
  Client::Reply reply;
  reply.error = Client::Error::kProtocol;
  reply.message = "the service found fault with the request: " + text;
  host_.HandleReply(message.id.asInt64(), reply);
}

void ClientStream::OnLineTooLong() {
  Fail(Client::Error::kProtocol,
       "the service sent a line of more than " + std::to_string(kMaxLineBytes) + " bytes");
}

void ClientStream::OnPeerFinished() {
  Close(boost::asio::error::eof);
}

void ClientStream::Fail(Client::Error error, const std::string& message) {
  failure_.error = error;
  failure_.message = message;
  Close(boost::asio::error::connection_aborted);
}

void ClientStream::OnEnd(const boost::system::error_code& reason) {
  if (failure_) {
    failure_.error = Client::Error::kClosed;
    failure_.message = reason == boost::asio::error::eof
                           ? "the service ended the connection"
                           : "the connection was lost: " + reason.message();
  }
  host_.HandleEnd(failure_);
}

}  // namespace IPC
