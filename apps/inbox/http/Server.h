// HTTP on the machine's loopback addresses, 127.0.0.1 and ::1, and nowhere else. It reads requests
// within limits of size and time, has the guard judge their heads, and hands them to the handler.
//
// Everything here lives on the thread that runs the queue; replies and events may come from any
// thread and are passed on to it. The server must be stopped before the handler goes.
//
// Any user of the machine may connect, and hold connections. So there is a limit; beyond it the
// oldest connection of a browser that was not let in makes way for a new one. Connections of other
// users are closed as soon as they are accepted, if the system tells whose they are.

#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <list>
#include <memory>

#include "http/Guard.h"
#include "http/Handler.h"

namespace Inbox {

struct HttpLimits {
  std::size_t connections = 256;
  std::size_t head_bytes = 16 * 1024;
  std::size_t large_bodies = 2;    // of more than kLargeBody at the same time
  std::chrono::seconds head{10};   // to send a request's head
  std::chrono::seconds idle{120};  // between two requests
  std::chrono::seconds body{20};   // to send a body, and a second for each 256 KiB beside that
  std::chrono::seconds ping{30};   // between signs of life on a stream of events
};

class HttpConnection;

class HttpServer {
 public:
  HttpServer(boost::asio::io_context& queue, Handler& handler, HttpLimits limits = {});
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Takes the port, on ::1 too if the machine has it; any free one for 0. Returns the port. Throws
  // boost::system::system_error.
  unsigned short Bind(unsigned short port);

  // Begins to accept. `guard` must outlive the server.
  void Serve(const Guard& guard);

  // Ends listening and all connections. On the queue's thread, or when nothing runs it.
  void Stop();

 private:
  friend class HttpConnection;
  using Connections = std::list<std::shared_ptr<HttpConnection>>;

  void Accept(boost::asio::ip::tcp::acceptor& acceptor);
  void AcceptLater(boost::asio::ip::tcp::acceptor& acceptor);
  void Take(boost::asio::ip::tcp::socket socket);
  void MakeRoom();
  void Remove(Connections::iterator place);

  boost::asio::io_context& queue_;
  Handler& handler_;
  const HttpLimits limits_;
  const Guard* guard_ = nullptr;
  std::list<boost::asio::ip::tcp::acceptor> acceptors_;
  Connections connections_;  // in the order in which they came
  std::size_t large_bodies_ = 0;
  bool is_stopped_ = false;
};

}  // namespace Inbox
