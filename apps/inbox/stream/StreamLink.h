// The inbox as the end of a stream: it keeps the ink that others put there (docs/scale.md).
// Messages are committed before they are acknowledged, and how far the stream was read is committed
// with them; so whatever dies, ink comes again rather than not at all, and what comes again is
// known by its bytes.
//
// While the stream is away, or the database takes nothing, it waits and tries again.
//
// Threads: one of its own, which waits for the writer and for the servers.

#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "database/Writer.h"
#include "stream/Connection.h"
#include "stream/Consumer.h"
#include "stream/Patience.h"
#include "stream/StreamOptions.h"

namespace Inbox {

// Where ink comes from.
struct StreamSource {
  Stream::StreamOptions stream;  // without servers there is none
  std::string consumer;
  std::string filter;  // empty: all ink
};

class StreamLink final : private Stream::Watcher {
 public:
  // Whether the stream is there, and what keeps its ink from coming, for people; empty if nothing
  // does, or nothing is known yet.
  struct State {
    bool is_connected = false;
    std::string hindrance;
  };

  // `on_state` is called on the link's thread with each new state, and must not wait.
  StreamLink(const StreamSource& source, Writer& writer,
             std::function<void(const State&)> on_state);

  // Ends after the commit under way.
  ~StreamLink();

  // Any thread.
  State state();

 private:
  void OnChange() override {}
  void OnServerError(const std::string& reason) override;

  void Work();
  // `patience`, before the next attempt, starts again when the stream is read.
  void Follow(const std::shared_ptr<Stream::Connection>& connection, Stream::Patience& patience);
  std::uint64_t Position(const std::string& key);
  bool KeepAll(const std::vector<Consumer::Message>& messages, const std::string& key);
  void KeepOne(Keeper& keeper, const Consumer::Message& message);
  void TellIncomplete();
  void LookIntoSilence(Consumer& consumer, const std::string& key, std::uint64_t& last);
  bool HasGoneBack(Consumer& consumer, const std::string& key, std::uint64_t last);
  void GiveUpAbandoned();
  bool PauseUnlessEnding(std::chrono::milliseconds time);
  void SetState(bool is_connected, const std::string& hindrance);
  bool is_ending();

  const StreamSource source_;
  Writer& writer_;
  const std::function<void(const State&)> on_state_;
  bool has_news_of_parts_ = true;  // since they were last told of; used while the writer is ours
  std::chrono::steady_clock::time_point next_look_at_parts_;  // the link's thread
  std::mutex mutex_;                                          // of the following
  std::condition_variable news_;
  bool is_ending_ = false;
  State state_;
  // Ends after the connection, and before all that the library's callbacks touch.
  Stream::Library library_;
  std::shared_ptr<Stream::Connection> connection_;
  std::thread thread_;
};

}  // namespace Inbox
