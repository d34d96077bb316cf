#include "StreamWriter.h"

#include <Talvo/Logger.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>
#include <filesystem>
#include <optional>
#include <system_error>
#include <utility>

#include "Files.h"
#include "StreamSettings.h"
#include "stream/Patience.h"

namespace Forward {

using Application::Offer;
using Stream::Connection;
using Stream::OutgoingInk;
using Stream::StreamError;

namespace {

constexpr std::chrono::milliseconds kFirstPatience(1000);
constexpr std::chrono::milliseconds kLongestPatience(60000);

// More pens than anybody writes with at the same time, and as many files as the memory holds at a
// time.
constexpr std::size_t kMostAtATime = 8;

constexpr char kEnding[] = "the program ends";
constexpr char kLost[] = "the connection to the stream is lost";

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

}  // namespace

struct StreamWriter::Package {
  Offer offer;
  Done done;
  // Once its turn has come.
  std::shared_ptr<Connection> connection;
  std::string bytes;
  std::optional<OutgoingInk> ink;  // refers to the bytes
};

StreamWriter::StreamWriter(const Options& options, std::function<void()> on_ready)
    : options_(options),
      on_ready_(std::move(on_ready)),
      user_(UserName()),
      host_(HostName()),
      asking_(kMostAtATime),
      sending_(1),
      thread_([this] { Maintain(); }) {}

StreamWriter::~StreamWriter() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
  }
  if (const auto current = connection()) current->Close();
  news_.notify_all();
  thread_.join();
  // The connection has ended before, and takes nothing any more: what these threads still have to
  // do fails.
  publisher_.FailAll(kEnding);
  asking_.join();
  sending_.join();
}

std::shared_ptr<Connection> StreamWriter::connection() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return connection_;
}

void StreamWriter::OnChange() {
  news_.notify_all();
  const auto current = connection();
  if (current && current->is_connected()) return on_ready_();
  // Its answers are lost with the connection: tried again when it is back, not after the time in
  // which they should have come.
  publisher_.FailAll(kLost);
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
  Stream::Patience patience(kFirstPatience, kLongestPatience);
  do {
    try {
      Connect();
      on_ready_();
      if (WatchConnection() == Ended::kByServers) patience.Reset();
    } catch (const StreamError& error) {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (hindrance_ != error.what()) Log(Talvo::kLogWarning, error.what());
      hindrance_ = error.what();
      news_.notify_all();
    }
  } while (PauseUnlessEnding(patience.Next()));
}

StreamWriter::Ended StreamWriter::WatchConnection() {
  const auto watched = connection();
  // Asked without the lock: while a server takes no bytes, the library's calls wait for one
  // another.
  bool is_closed = false;
  std::unique_lock<std::mutex> lock(mutex_);
  // Not longer than this between two looks: the word of the end may come before the wait.
  constexpr std::chrono::seconds kLook(1);
  while (!is_ending_ && !is_closed && !is_stream_gone_) {
    news_.wait_for(lock, kLook);
    lock.unlock();
    publisher_.FailOverdue();
    is_closed = watched->is_closed();
    lock.lock();
  }
  const bool is_gone = std::exchange(is_stream_gone_, false);
  hindrance_ = is_gone ? "the stream is gone" : "the servers have ended the connection";
  connection_.reset();
  return is_gone ? Ended::kForWantOfAStream : Ended::kByServers;
}

bool StreamWriter::PauseUnlessEnding(std::chrono::milliseconds time) {
  Log(Talvo::kLogTrace, "The next attempt to connect: in " + std::to_string(time.count()) + " ms.");
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
  publisher_.Listen(*made);
  const std::lock_guard<std::mutex> lock(mutex_);
  connection_ = made;
  news_.notify_all();
  stream_limit_bytes_ = settings.limit_bytes;
  hindrance_.clear();
}

void StreamWriter::Put(const Offer& offer, Done done) {
  const auto package = std::make_shared<Package>();
  package->offer = offer;
  package->done = std::move(done);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    waiting_.push_back(package);
    if (on_their_way_ == kMostAtATime) return;
    ++on_their_way_;
  }
  BeginNext();
}

// A place is free: for the package that waits longest, if one does.
void StreamWriter::BeginNext() {
  PackagePtr next;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (waiting_.empty()) {
      --on_their_way_;
      return;
    }
    next = waiting_.front();
    waiting_.pop_front();
  }
  boost::asio::post(sending_, [this, next] { Begin(next); });
}

StreamWriter::Situation StreamWriter::WaitForStream(const std::string& pen) {
  Situation now;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    news_.wait(lock, [this] { return is_ending_ || connection_ || !hindrance_.empty(); });
    if (is_ending_) throw StreamError(kEnding);
    if (!connection_) throw StreamError(hindrance_);
    now.connection = connection_;
    now.limit_bytes = stream_limit_bytes_;
    now.last_identity = last_identities_[pen];
    server_error_.clear();
  }
  if (!now.connection->is_connected()) throw StreamError(kLost);
  // As the server is now: it may have come back with another limit.
  const std::size_t of_server = now.connection->limit_bytes();
  now.limit_bytes = now.limit_bytes > 0 ? std::min(now.limit_bytes, of_server) : of_server;
  return now;
}

void StreamWriter::Begin(const PackagePtr& package) {
  const Offer& offer = package->offer;
  try {
    const Situation now = WaitForStream(offer.pen);
    package->connection = now.connection;
    std::error_code missing;  // the reading says so
    const std::uintmax_t size = std::filesystem::file_size(offer.file, missing);
    if (!missing) Stream::RefuseTooLarge(size);  // before it takes as much memory
    package->bytes = InkTool::ReadInput(offer.file);
    const OutgoingInk& ink =
        package->ink.emplace(Stream::InkEnvelope{offer.pen, offer.page, offer.type, user_, host_},
                             package->bytes, now.limit_bytes);
    // Until it is acknowledged nothing is certain of this pen: forgotten before anything is sent,
    // since the answer may come on another thread before the call returns.
    SetLast(offer.pen, "");
    // The same ink once more: the service may have ended before it heard that it is safe.
    const bool is_new = !now.last_identity.empty() && now.last_identity != ink.identity();
    if (is_new) return Send(package, 1);
    boost::asio::post(asking_, [this, package] { Ask(package); });
  } catch (const std::exception& error) {
    Finish(package, WithServerError(error.what()));
  }
}

void StreamWriter::Ask(const PackagePtr& package) {
  try {
    const std::uint32_t known = PartsInStream(*package->connection, *package->ink);
    if (known == package->ink->parts()) return Finish(package, "");
    boost::asio::post(sending_, [this, package, known] { Send(package, known + 1); });
  } catch (const std::exception& error) {
    Finish(package, WithServerError(error.what()));
  }
}

// One part at a time, the next when this one is acknowledged: so the last one that the stream has
// tells that it has those before it.
void StreamWriter::Send(const PackagePtr& package, std::uint32_t part) {
  try {
    publisher_.Publish(*package->connection, options_.stream.stream, *package->ink, part,
                       [this, package, part](Publisher::Answer answer, const std::string& reason) {
                         OnAnswer(package, part, answer, reason);
                       });
  } catch (const std::exception& error) {
    Finish(package, WithServerError(error.what()));
  }
}

void StreamWriter::OnAnswer(const PackagePtr& package, std::uint32_t part, Publisher::Answer answer,
                            const std::string& reason) {
  const OutgoingInk& ink = *package->ink;
  switch (answer) {
    case Publisher::Answer::kTaken:
      if (part == ink.parts()) return Finish(package, "");
      return boost::asio::post(sending_, [this, package, part] { Send(package, part + 1); });
    case Publisher::Answer::kNoStream:
      LookForStream(*package->connection);
      return Finish(package, WithServerError("no stream takes messages of " + ink.subject()));
    case Publisher::Answer::kRefused:
      return Finish(package, WithServerError("the stream did not take a message of " +
                                             ink.subject() + ": " + reason));
  }
}

// Any thread.
void StreamWriter::Finish(const PackagePtr& package, const std::string& failure) {
  if (failure.empty()) {
    const OutgoingInk& ink = *package->ink;
    Log(Talvo::kLogTrace, ink.subject() + " " + ink.identity() + " is in the stream.");
    // Before its owner hears of it, who hands over the pen's next package then.
    SetLast(package->offer.pen, ink.identity());
  }
  package->done(failure);
  BeginNext();
}

void StreamWriter::SetLast(const std::string& pen, const std::string& identity) {
  const std::lock_guard<std::mutex> lock(mutex_);
  last_identities_[pen] = identity;
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

}  // namespace Forward
