#include "http/Connection.h"

#include <TalvoQuillpost/Limits.h>

#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/write.hpp>
#include <utility>

#include "http/ReadRequest.h"
#include "http/Target.h"
#include "ink/Text.h"

namespace Inbox {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr std::size_t kLargeBody = std::size_t{1} << 20;
constexpr std::size_t kMostOutbox = std::size_t{1} << 20;

// Whether what was read can't be HTTP; else the connection has ended.
bool IsFault(const boost::system::error_code& error) {
  return error.category() == http::make_error_code(http::error::bad_method).category() &&
         error != http::error::end_of_stream && error != http::error::partial_message;
}

std::chrono::seconds TimeFor(std::chrono::seconds time, std::size_t bytes) {
  return time + std::chrono::seconds(bytes >> 18);
}

}  // namespace

HttpConnection::HttpConnection(asio::ip::tcp::socket socket, HttpServer& server)
    : server_(&server), stream_(std::move(socket)), ping_(stream_.get_executor()) {}

void HttpConnection::Start(HttpServer::Connections::iterator place) {
  place_ = place;
  ReadHead();
}

void HttpConnection::ReadHead() {
  ReleaseBody();
  request_ = Request();
  parser_.emplace();
  parser_->header_limit(static_cast<std::uint32_t>(server_->limits_.head_bytes));
  parser_->body_limit(TalvoQuillpost::kMaxImportBytes);  // less for most, once the head is known
  // One span for the whole head: a peer that sends a byte now and then gains nothing.
  stream_.expires_after(is_first_ ? server_->limits_.head : server_->limits_.idle);
  is_first_ = false;
  http::async_read_header(
      stream_, buffer_, *parser_,
      [self = shared_from_this()](const Error& error, std::size_t) { self->OnHead(error); });
}

void HttpConnection::OnHead(const Error& error) {
  if (is_ended_ || server_ == nullptr) return;
  if (error == http::error::header_limit) {
    return Respond(MakeError(431, "the head of the request is too long"), true);
  }
  if (error == http::error::body_limit) {
    return Respond(MakeError(413, "the body is too large"), true);
  }
  if (error) return IsFault(error) ? Respond(MakeError(400, "that is not HTTP"), true) : End();
  request_ = ReadRequest(parser_->get());
  is_kept_alive_ = parser_->get().keep_alive();
  if (!ParseTarget(request_.target, request_.path, request_.query)) {
    return Respond(MakeError(404, "there is nothing at this address"), true);
  }
  if (const auto refusal = server_->guard_->Refuse(request_)) {
    return Respond(*refusal, !parser_->is_done());  // what follows may be a body
  }
  is_known_ = is_known_ || server_->guard_->IsKnown(request_);
  const std::size_t most = Guard::MostBodyBytes(request_);
  const auto length = parser_->content_length();
  if (length && *length > most) {
    return Respond(MakeError(413, most == 0 ? "the request may not have a body"
                                            : "the body is larger than " +
                                                  std::to_string(most >> 20) + " MiB"),
                   true);
  }
  ReadBody(most);
}

void HttpConnection::ReadBody(std::size_t most_bytes) {
  const std::size_t length = parser_->content_length().value_or(most_bytes);
  if (length > kLargeBody) {
    if (server_->large_bodies_ >= server_->limits_.large_bodies) {
      return Respond(MakeError(503, "other files are on their way; try again"), true);
    }
    ++server_->large_bodies_;
    is_large_ = true;
  }
  parser_->body_limit(most_bytes);
  stream_.expires_after(TimeFor(server_->limits_.body, length));
  const auto read = [self = shared_from_this()] {
    http::async_read(self->stream_, self->buffer_, *self->parser_,
                     [self](const Error& error, std::size_t) { self->OnBody(error); });
  };
  if (TalvoInk::LowerCase(request_.Header("expect")) != "100-continue") return read();
  static const std::string kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
  asio::async_write(stream_, asio::buffer(kContinue),
                    [self = shared_from_this(), read](const Error& error, std::size_t) {
                      if (error) return self->End();
                      read();
                    });
}

void HttpConnection::OnBody(const Error& error) {
  if (is_ended_ || server_ == nullptr) return;
  if (error == http::error::body_limit) {
    return Respond(MakeError(413, "the body is too large"), true);
  }
  if (error) return End();
  request_.body = std::move(parser_->get().body());
  Handle();
}

void HttpConnection::Handle() {
  stream_.expires_never();
  // The reply outlives the connection if the server stops meanwhile; then it is dropped. The body,
  // which may be large, goes to the handler; the rest is needed for the response.
  const auto self = shared_from_this();
  std::string body = std::move(request_.body);
  Request request = request_;
  request.body = std::move(body);
  server_->handler_.Handle(std::move(request), [self](Response response) {
    asio::post(self->stream_.get_executor(), [self, response = std::move(response)]() mutable {
      if (self->is_ended_ || self->server_ == nullptr) return;
      self->Respond(std::move(response), !self->is_kept_alive_);
    });
  });
}

void HttpConnection::Respond(Response response, bool is_last) {
  ReleaseBody();
  if (response.is_event_stream) return BeginStream();
  const auto message = std::make_shared<http::response<http::string_body>>(
      static_cast<http::status>(response.status), 11);
  if (!response.type.empty()) message->set(http::field::content_type, response.type);
  for (const auto& [name, value] : SafetyHeaders()) message->set(name, value);
  message->set(http::field::cache_control, "no-store");
  for (const auto& [name, value] : response.headers) message->set(name, value);
  message->keep_alive(!is_last);
  const std::size_t length = response.body.size();
  const bool has_body = request_.method != "HEAD" && response.status != 304;
  if (has_body) message->body() = std::move(response.body);
  if (response.status != 304) message->content_length(length);
  stream_.expires_after(TimeFor(server_->limits_.body, has_body ? length : 0));
  http::async_write(stream_, *message,
                    [self = shared_from_this(), message, is_last](const Error& error, std::size_t) {
                      self->OnWritten(error, is_last);
                    });
}

void HttpConnection::OnWritten(const Error& error, bool is_last) {
  if (is_ended_ || server_ == nullptr) return;
  if (error || is_last) return End();
  ReadHead();
}

void HttpConnection::BeginStream() {
  is_streaming_ = true;
  stream_.expires_never();
  std::string head =
      "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\nCache-Control: no-store\r\n"
      "Connection: close\r\n";
  for (const auto& [name, value] : SafetyHeaders()) head += name + ": " + value + "\r\n";
  Append(head + "\r\n");
  WatchForEnd();
  Ping();
  server_->handler_.OnStream(request_, shared_from_this());
}

void HttpConnection::Send(const std::string& events) {
  asio::post(stream_.get_executor(), [self = shared_from_this(), events] { self->Append(events); });
}

void HttpConnection::Append(std::string events) {
  if (is_ended_) return;
  outbox_bytes_ += events.size();
  if (outbox_bytes_ > kMostOutbox) return End();
  outbox_.push_back(std::move(events));
  if (outbox_.size() == 1) WriteEvents();
}

void HttpConnection::WriteEvents() {
  asio::async_write(stream_, asio::buffer(outbox_.front()),
                    [self = shared_from_this()](const Error& error, std::size_t) {
                      if (self->is_ended_) return;
                      if (error) return self->End();
                      self->outbox_bytes_ -= self->outbox_.front().size();
                      self->outbox_.pop_front();
                      if (!self->outbox_.empty()) self->WriteEvents();
                    });
}

// A comment now and then: the browser's side learns that the connection stands, and we that it does
// not.
void HttpConnection::Ping() {
  ping_.expires_after(server_->limits_.ping);
  ping_.async_wait([self = shared_from_this()](const Error& error) {
    if (error || self->is_ended_ || self->server_ == nullptr) return;
    self->Append(":\n\n");
    self->Ping();
  });
}

void HttpConnection::WatchForEnd() {
  stream_.async_read_some(asio::buffer(&end_probe_, 1),
                          [self = shared_from_this()](const Error& error, std::size_t) {
                            if (self->is_ended_) return;
                            if (error) return self->End();
                            self->WatchForEnd();
                          });
}

void HttpConnection::ReleaseBody() {
  if (is_large_ && server_ != nullptr) --server_->large_bodies_;
  is_large_ = false;
}

void HttpConnection::Close() {
  End();
}

void HttpConnection::End() {
  if (is_ended_) return;
  is_ended_ = true;
  ReleaseBody();
  ping_.cancel();
  Error ignored;
  stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
  stream_.close();
  HttpServer* const server = std::exchange(server_, nullptr);
  const auto self = shared_from_this();  // the list may hold the last reference
  server->Remove(place_);
  if (is_streaming_) server->handler_.OnStreamEnd(self);
}

}  // namespace Inbox
