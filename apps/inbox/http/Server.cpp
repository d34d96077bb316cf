#include "http/Server.h"

#include <boost/asio/ip/v6_only.hpp>
#include <boost/system/system_error.hpp>
#include <utility>

#include "http/Connection.h"
#include "http/PeerUser.h"

namespace Inbox {

namespace asio = boost::asio;
using asio::ip::tcp;

namespace {

// Throws boost::system::system_error.
tcp::acceptor Listen(asio::io_context& queue, const asio::ip::address& address,
                     unsigned short port) {
  const tcp::endpoint endpoint(address, port);
  tcp::acceptor acceptor(queue);
  acceptor.open(endpoint.protocol());
  acceptor.set_option(tcp::acceptor::reuse_address(true));  // despite connections that have ended
  if (address.is_v6()) acceptor.set_option(asio::ip::v6_only(true));
  acceptor.bind(endpoint);
  acceptor.listen(asio::socket_base::max_listen_connections);
  return acceptor;
}

}  // namespace

HttpServer::HttpServer(asio::io_context& queue, Handler& handler, HttpLimits limits)
    : queue_(queue), handler_(handler), limits_(limits) {}

HttpServer::~HttpServer() {
  Stop();
}

unsigned short HttpServer::Bind(unsigned short port) {
  acceptors_.push_back(Listen(queue_, asio::ip::address_v4::loopback(), port));
  const unsigned short taken = acceptors_.back().local_endpoint().port();
  try {
    acceptors_.push_back(Listen(queue_, asio::ip::address_v6::loopback(), taken));
  } catch (const boost::system::system_error&) {
    // A machine without IPv6, or another program has this port there: 127.0.0.1 will do.
  }
  return taken;
}

void HttpServer::Serve(const Guard& guard) {
  guard_ = &guard;
  for (tcp::acceptor& acceptor : acceptors_) Accept(acceptor);
}

void HttpServer::Accept(tcp::acceptor& acceptor) {
  acceptor.async_accept(
      [this, &acceptor](const boost::system::error_code& error, tcp::socket socket) {
        if (is_stopped_ || error == asio::error::operation_aborted) return;
        if (error) return AcceptLater(acceptor);
        Take(std::move(socket));
        Accept(acceptor);
      });
}

// There are too few descriptors: that is not over in a moment, and asking again and again would
// only take the processor.
void HttpServer::AcceptLater(tcp::acceptor& acceptor) {
  constexpr std::chrono::milliseconds kPause(100);
  MakeRoom();
  const auto timer = std::make_shared<asio::steady_timer>(queue_, kPause);
  timer->async_wait([this, &acceptor, timer](const boost::system::error_code& error) {
    if (!error && !is_stopped_) Accept(acceptor);
  });
}

void HttpServer::Take(tcp::socket socket) {
  if (IsOtherUsers(socket)) return;
  if (connections_.size() >= limits_.connections) MakeRoom();
  if (connections_.size() >= limits_.connections) return;
  connections_.push_back(std::make_shared<HttpConnection>(std::move(socket), *this));
  connections_.back()->Start(std::prev(connections_.end()));
}

void HttpServer::MakeRoom() {
  for (const auto& connection : connections_) {
    if (connection->is_known()) continue;
    const auto held = connection;  // closing takes it off the list
    return held->Close();
  }
}

void HttpServer::Remove(Connections::iterator place) {
  connections_.erase(place);
}

void HttpServer::Stop() {
  is_stopped_ = true;
  for (tcp::acceptor& acceptor : acceptors_) {
    boost::system::error_code ignored;
    acceptor.close(ignored);
  }
  while (!connections_.empty()) {
    const auto connection = connections_.front();
    connection->Close();
  }
}

}  // namespace Inbox
