// One connection of the server: reads a request, has it answered, writes the response, reads the
// next one; or becomes a stream of events until it ends. Lives on the server's thread, and as long
// as an operation of it is under way.

#pragma once

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "http/Server.h"

namespace Inbox {

class HttpConnection : public EventStream, public std::enable_shared_from_this<HttpConnection> {
 public:
  HttpConnection(boost::asio::ip::tcp::socket socket, HttpServer& server);

  // `place` is where the server keeps it.
  void Start(HttpServer::Connections::iterator place);

  // Ends the connection; what is under way ends with an error. May be called again.
  void Close();

  // Whether a request on it came from a browser that was let in.
  bool is_known() const { return is_known_; }

  void Send(const std::string& events) override;

 private:
  using Error = boost::system::error_code;

  void ReadHead();
  void OnHead(const Error& error);
  void ReadBody(std::size_t most_bytes);
  void OnBody(const Error& error);
  void Handle();
  void Respond(Response response, bool is_last);
  void OnWritten(const Error& error, bool is_last);
  void BeginStream();
  void Append(std::string events);
  void WriteEvents();
  void Ping();
  void WatchForEnd();
  void End();
  void ReleaseBody();

  HttpServer* server_;  // null once it has stopped
  boost::beast::tcp_stream stream_;
  boost::asio::steady_timer ping_;
  boost::beast::flat_buffer buffer_;
  std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
  Request request_;
  HttpServer::Connections::iterator place_;
  bool is_first_ = true;
  bool is_known_ = false;
  bool is_kept_alive_ = false;
  bool is_large_ = false;  // counts among the server's large bodies
  bool is_streaming_ = false;
  bool is_ended_ = false;
  std::deque<std::string> outbox_;  // events that wait, and the one that is written
  std::size_t outbox_bytes_ = 0;
  char end_probe_ = 0;
};

}  // namespace Inbox
