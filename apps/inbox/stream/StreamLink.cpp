#include "stream/StreamLink.h"

#include <Talvo/Logger.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "stream/PartSets.h"

namespace Inbox {

using std::chrono::milliseconds;
using Stream::StreamError;

namespace {

constexpr milliseconds kFirstPatience(500);
constexpr milliseconds kLongestPatience(30000);

// Before ink that could not be kept is tried again; well within the time after which the server
// would hand it out again.
constexpr milliseconds kRetryPatience(5000);

// So many times in a row, each a second, nothing comes before the server is asked whether something
// should have.
constexpr unsigned kSilenceOfALoss = 3;

// No sender goes on with parts that are so old.
constexpr auto kAbandoned = 7 * Stream::kLongestPause;
constexpr std::chrono::hours kTimeBetweenLooks(1);  // for sets that are

std::string NameOf(const PartSets::Incomplete& set) {
  return "Ink of pen " + set.pen + ", page " + set.page;
}

std::string CountOf(const PartSets::Incomplete& set) {
  return std::to_string(set.here) + " of " + std::to_string(set.parts) + " parts have come";
}

void Log(int level, const std::string& message) {
  if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Inbox")) {
    logger->Log(level, "%s", message.c_str());
  }
}

}  // namespace

StreamLink::StreamLink(const StreamSource& source, Writer& writer,
                       std::function<void(const State&)> on_state)
    : source_(source),
      writer_(writer),
      on_state_(std::move(on_state)),
      thread_([this] { Work(); }) {}

StreamLink::~StreamLink() {
  std::shared_ptr<Stream::Connection> connection;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
    connection = connection_;
  }
  if (connection) connection->Close();
  news_.notify_all();
  thread_.join();
}

void StreamLink::OnServerError(const std::string& reason) {
  Log(Talvo::kLogWarning, "The server: " + reason);
}

bool StreamLink::is_ending() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return is_ending_;
}

bool StreamLink::PauseUnlessEnding(milliseconds time) {
  std::unique_lock<std::mutex> lock(mutex_);
  return !news_.wait_for(lock, time, [this] { return is_ending_; });
}

StreamLink::State StreamLink::state() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return state_;
}

void StreamLink::SetState(bool is_connected, const std::string& hindrance) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const bool is_known = state_.hindrance == hindrance;
    if (is_known && state_.is_connected == is_connected) return;
    if (!is_known && !hindrance.empty()) {
      Log(Talvo::kLogWarning, "No ink comes from the stream: " + hindrance);
    }
    state_ = {is_connected, hindrance};
  }
  on_state_({is_connected, hindrance});
}

void StreamLink::Work() {
  Stream::Patience patience(kFirstPatience, kLongestPatience);
  for (;;) {
    try {
      Stream::Watcher& watcher = *this;
      const auto connection = std::make_shared<Stream::Connection>(
          source_.stream, "quillpost-inbox " + source_.consumer, watcher);
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (is_ending_) return;
        connection_ = connection;
      }
      Follow(connection, patience);
    } catch (const std::exception& error) {
      if (!is_ending()) SetState(false, error.what());
    }
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      connection_.reset();
    }
    const milliseconds wait = patience.Next();
    Log(Talvo::kLogTrace,
        "The next attempt to read the stream: in " + std::to_string(wait.count()) + " ms.");
    if (!PauseUnlessEnding(wait)) return;
  }
}

// Until something fails. Then everything is looked at anew: the stream may be another one, or its
// consumer gone.
void StreamLink::Follow(const std::shared_ptr<Stream::Connection>& connection,
                        Stream::Patience& patience) {
  Consumer consumer(*connection, source_.stream.stream, source_.consumer, source_.filter);
  const std::string key = "stream " + source_.stream.stream + " " + source_.consumer + " " +
                          std::to_string(consumer.created()) + " " + source_.filter;
  std::uint64_t last = Position(key);
  if (HasGoneBack(consumer, key, last)) last = 0;
  consumer.Resume(last);
  patience.Reset();
  Log(Talvo::kLogInformation, "The stream " + source_.stream.stream + " is there.");
  SetState(true, "");
  unsigned silent_fetches = 0;
  bool is_lost = false;
  while (!is_ending() && !connection->is_closed()) {
    if (!connection->is_connected()) {
      is_lost = true;  // it comes back by itself
      SetState(false, "the connection to the servers is lost");
    } else if (is_lost) {
      is_lost = false;
      SetState(true, "");
    }
    bool is_broken = false;
    const auto messages = consumer.Fetch(is_broken);
    if (messages.empty() && !is_broken) {
      TellIncomplete();
      const bool is_to_ask = !is_lost && ++silent_fetches % kSilenceOfALoss == 0;
      if (is_to_ask) LookIntoSilence(consumer, key, last);
    }
    if (!messages.empty()) {
      silent_fetches = 0;
      if (!KeepAll(messages, key)) return;
      for (const auto& message : messages) last = std::max(last, message.sequence);
    }
    if (is_broken) consumer.Resume(last);
  }
}

void StreamLink::LookIntoSilence(Consumer& consumer, const std::string& key, std::uint64_t& last) {
  bool has_lost = false;
  try {
    if (HasGoneBack(consumer, key, last)) {
      last = 0;
      return consumer.Resume(last, true);
    }
    has_lost = consumer.HasLost();
  } catch (const StreamError&) {
    return;  // while servers elect a leader, they deliver ink but answer no questions
  }
  if (has_lost) {
    consumer.Resume(last, true);
  } else {
    GiveUpAbandoned();
  }
}

// Servers that lost the end of the stream, in a power cut for one, give its numbers to other ink.
bool StreamLink::HasGoneBack(Consumer& consumer, const std::string& key, std::uint64_t last) {
  const std::uint64_t end = consumer.FindEnd();
  if (end >= last) return false;
  Log(Talvo::kLogWarning, "The stream " + source_.stream.stream + " ends with message " +
                              std::to_string(end) + ", and was read up to " + std::to_string(last) +
                              " before: it is read from its beginning.");
  writer_.Run([&](Keeper& keeper) { keeper.Set(key, "0"); });
  return true;
}

std::uint64_t StreamLink::Position(const std::string& key) {
  std::string text;
  writer_.Run([&](Keeper& keeper) { text = keeper.Setting(key); });
  return std::strtoull(text.c_str(), nullptr, 10);
}

// All or none of them. False if the inbox ends before they could be kept.
bool StreamLink::KeepAll(const std::vector<Consumer::Message>& messages, const std::string& key) {
  for (;;) {
    try {
      writer_.Run([&](Keeper& keeper) {
        std::uint64_t last = std::strtoull(keeper.Setting(key).c_str(), nullptr, 10);
        for (const auto& message : messages) {
          KeepOne(keeper, message);
          last = std::max(last, message.sequence);
        }
        keeper.Set(key, std::to_string(last));
      });
      break;
    } catch (const std::exception& error) {
      SetState(true, error.what());
    }
    if (!PauseUnlessEnding(kRetryPatience)) return false;
    for (const auto& message : messages) ::natsMsg_InProgress(message.message.get(), nullptr);
  }
  SetState(true, "");
  // After the commit, which has written the ink and how far it was read to the disk: what is
  // acknowledged never comes again.
  Consumer::Acknowledge(messages.back());
  return true;
}

void StreamLink::KeepOne(Keeper& keeper, const Consumer::Message& message) {
  Stream::IncomingInk ink;
  std::string reason;
  if (!Stream::ReadMessage(message.message.get(), ink, reason)) {
    Log(Talvo::kLogWarning,
        "Message " + std::to_string(message.sequence) + " of the stream is passed over: " + reason);
    return;
  }
  if (ink.whole.empty()) {
    keeper.Keep({std::string(ink.bytes), ink.pen, ink.page}, NowMs());
    PartSets(keeper.connection()).Forget(ink);
    return;
  }
  if (!ink.digest.empty() && keeper.IsKept(ink.digest)) {
    PartSets(keeper.connection()).ForgetWhole(ink.whole);
    return;
  }
  auto whole = PartSets(keeper.connection()).Add(ink, message.time_ms);
  if (!whole) {
    has_news_of_parts_ = true;
    return;
  }
  if (Stream::IdentityOf(ink.pen, ink.page, *whole) != ink.whole) {
    // Somebody has mixed them up. The ink may come once more, whole.
    Log(Talvo::kLogWarning, "Ink of pen " + ink.pen + ", page " + ink.page +
                                ", is not what its parts say it is, and is passed over.");
    return;
  }
  keeper.Keep({std::move(*whole), ink.pen, ink.page}, NowMs());
}

void StreamLink::TellIncomplete() {
  if (!has_news_of_parts_) return;
  std::vector<PartSets::Incomplete> sets;
  writer_.Run([&](Keeper& keeper) { sets = PartSets(keeper.connection()).FindIncomplete(); });
  has_news_of_parts_ = false;
  for (const auto& set : sets) {
    Log(Talvo::kLogWarning, NameOf(set) + ", is not whole: " + CountOf(set) + ".");
  }
}

// Called when all that is in the stream has been read: what is missing then is not there.
void StreamLink::GiveUpAbandoned() {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_look_at_parts_) return;
  next_look_at_parts_ = now + kTimeBetweenLooks;
  std::vector<PartSets::Incomplete> sets;
  writer_.Run([&](Keeper& keeper) {
    sets = PartSets(keeper.connection()).GiveUp(NowMs() - milliseconds(kAbandoned).count());
  });
  for (const auto& set : sets) {
    Log(Talvo::kLogWarning, NameOf(set) + ", is given up: " + CountOf(set) + ", and none for " +
                                std::to_string(kAbandoned / std::chrono::hours(24)) + " days.");
  }
}

}  // namespace Inbox
