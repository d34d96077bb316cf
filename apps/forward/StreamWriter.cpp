#include "StreamWriter.h"

#include <Talvo/Logger.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <utility>

#include "Files.h"
#include "StreamSettings.h"

namespace Forward {

using Application::Offer;
using Stream::Connection;
using Stream::OutgoingInk;
using Stream::StreamError;

namespace {

constexpr std::chrono::milliseconds kFirstPatience(500);
constexpr std::chrono::milliseconds kLongestPatience(60000);

// More pens than anybody writes with at the same time.
constexpr std::size_t kMostAtATime = 8;

void Log(int level, const std::string& message) {
  if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Forward")) {
    logger->Log(level, "%s", message.c_str());
  }
}

std::string UserName() {
  char buffer[4096];
  passwd entry{};
  passwd* found = nullptr;
  const bool is_known =
      ::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found != nullptr;
  return is_known ? entry.pw_name : std::to_string(::getuid());
}

std::string HostName() {
  char name[256] = {};
  return ::gethostname(name, sizeof name - 1) == 0 ? name : "";
}

struct AckDeleter {
  void operator()(jsPubAck* ack) const { ::jsPubAck_Destroy(ack); }
};

}  // namespace

StreamWriter::StreamWriter(const Options& options, std::function<void()> on_ready)
    : options_(options),
      on_ready_(std::move(on_ready)),
      user_(UserName()),
      host_(HostName()),
      pool_(kMostAtATime),
      thread_([this] { Maintain(); }) {}

StreamWriter::~StreamWriter() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
  }
  if (const auto current = connection()) current->Close();
  news_.notify_all();
  thread_.join();
  pool_.join();
}

std::shared_ptr<Connection> StreamWriter::connection() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return connection_;
}

void StreamWriter::OnChange() {
  news_.notify_all();
  const auto current = connection();
  if (current && current->is_connected()) on_ready_();
}

void StreamWriter::OnServerError(const std::string& reason) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    server_error_ = reason;
  }
  Log(Talvo::kLogWarning, "The server: " + reason);
}

// Once it stands a connection comes back by itself, so there is nothing to do until it is closed
// for good.
void StreamWriter::Maintain() {
  std::chrono::milliseconds patience = kFirstPatience;
  do {
    try {
      Connect();
      patience = kFirstPatience;
      on_ready_();
      std::unique_lock<std::mutex> lock(mutex_);
      // Not longer than this between two looks: the word of the end may come before the wait.
      constexpr std::chrono::seconds kLook(1);
      while (!is_ending_ && !connection_->is_closed() && !is_stream_gone_)
        news_.wait_for(lock, kLook);
      hindrance_ = is_stream_gone_ ? "the stream is gone" : "the servers have ended the connection";
      is_stream_gone_ = false;
      connection_.reset();
    } catch (const StreamError& error) {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (hindrance_ != error.what()) Log(Talvo::kLogWarning, error.what());
      hindrance_ = error.what();
      news_.notify_all();
    }
    patience = std::min(patience * 2, kLongestPatience);
  } while (PauseUnlessEnding(patience));
}

bool StreamWriter::PauseUnlessEnding(std::chrono::milliseconds time) {
  std::unique_lock<std::mutex> lock(mutex_);
  return !news_.wait_for(lock, time, [this] { return is_ending_; });
}

void StreamWriter::Connect() {
  Stream::Watcher& watcher = *this;
  const auto made = std::make_shared<Connection>(
      options_.stream, "quillpost-forward " + user_ + "@" + host_, watcher);
  const StreamSettings settings = FindStream(*made, options_);
  for (const std::string& line : settings.told) Log(Talvo::kLogWarning, line);
  Log(Talvo::kLogInformation, "The stream " + options_.stream.stream + " is there.");
  const std::lock_guard<std::mutex> lock(mutex_);
  connection_ = made;
  news_.notify_all();
  stream_limit_bytes_ = settings.limit_bytes;
  hindrance_.clear();
}

void StreamWriter::Put(const Offer& offer, Done done) {
  boost::asio::post(pool_, [this, offer, done = std::move(done)] { done(PutNow(offer)); });
}

std::string StreamWriter::PutNow(const Offer& offer) {
  std::shared_ptr<Connection> connection;
  std::size_t limit_bytes = 0;
  std::string last_identity;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    news_.wait(lock, [this] { return is_ending_ || connection_ || !hindrance_.empty(); });
    if (!connection_) return is_ending_ ? "the program ends" : hindrance_;
    connection = connection_;
    // As the server is now: it may have come back with another limit.
    limit_bytes = connection->limit_bytes();
    if (stream_limit_bytes_ > 0) limit_bytes = std::min(limit_bytes, stream_limit_bytes_);
    last_identity = acknowledged_[offer.pen];
    server_error_.clear();
  }
  if (!connection->is_connected()) return "the connection to the stream is lost";
  try {
    const std::string bytes = InkTool::ReadInput(offer.file);
    const OutgoingInk ink({offer.pen, offer.page, offer.type, user_, host_}, bytes, limit_bytes);
    // The same ink once more: the service may have ended before it heard that it is safe.
    const bool is_new = !last_identity.empty() && last_identity != ink.identity();
    // Until it is acknowledged nothing is certain of this pen.
    Acknowledge(offer.pen, "");
    const std::uint32_t known = is_new ? 0 : PartsInStream(*connection, ink);
    PutParts(*connection, ink, known + 1);
    Log(Talvo::kLogTrace, ink.subject() + " " + ink.identity() + " is in the stream.");
    Acknowledge(offer.pen, ink.identity());
    return {};
  } catch (const std::exception& error) {
    return WithServerError(error.what());
  }
}

void StreamWriter::Acknowledge(const std::string& pen, const std::string& identity) {
  const std::lock_guard<std::mutex> lock(mutex_);
  acknowledged_[pen] = identity;
}

// The connection is made anew, which looks for the stream, and makes it if that is wanted.
void StreamWriter::LookForStream(const Connection& connection) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (connection_.get() != &connection) return;  // that has happened
  is_stream_gone_ = true;
  news_.notify_all();
}

// A message that the server refuses for want of permission is not answered; its reason comes by
// another way.
std::string StreamWriter::WithServerError(const std::string& reason) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return server_error_.empty() ? reason : reason + " (" + server_error_ + ")";
}

std::uint32_t StreamWriter::PartsInStream(Connection& connection, const OutgoingInk& ink) {
  natsMsg* found = nullptr;
  jsErrCode code{};
  const natsStatus status =
      ::js_GetLastMsg(&found, connection.stream(), options_.stream.stream.c_str(),
                      ink.subject().c_str(), nullptr, &code);
  const Stream::MessagePtr last(found);
  if (status == NATS_NOT_FOUND && code == JSNoMessageFoundErr) return 0;
  if (status == NATS_NOT_FOUND) LookForStream(connection);
  if (status != NATS_OK) {
    throw StreamError("can't see the last message of " + ink.subject(), status);
  }
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return ink.PartsBefore(found, std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void StreamWriter::PutParts(Connection& connection, const OutgoingInk& ink, std::uint32_t first) {
  for (std::uint32_t part = first; part <= ink.parts(); ++part) {
    const Stream::MessagePtr message = ink.Make(part);
    const std::string id = ink.MessageIdOf(part);
    jsPubOptions options;
    ::jsPubOptions_Init(&options);
    options.MsgId = id.c_str();
    options.ExpectStream = options_.stream.stream.c_str();
    jsPubAck* acknowledgement = nullptr;
    jsErrCode code{};
    const natsStatus status =
        ::js_PublishMsg(&acknowledgement, connection.stream(), message.get(), &options, &code);
    const std::unique_ptr<jsPubAck, AckDeleter> owned(acknowledgement);
    if (status == NATS_OK) continue;
    if (status == NATS_NO_RESPONDERS) {
      LookForStream(connection);
      throw StreamError("no stream takes messages of " + ink.subject());
    }
    throw StreamError("the stream did not take a message of " + ink.subject(), status);
  }
}

}  // namespace Forward
