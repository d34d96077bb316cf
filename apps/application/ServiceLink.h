// A program as an application of the ink service: it enables notifications under its ID, has each
// package kept, and confirms it when it is safe. While the service is away it looks for it, more
// and more rarely, and goes on when it is back.
//
// A package that can't be kept now (a full disk, a server that is away) stays with the service: it
// is not confirmed, and tried again. The ink of other pens goes on in the meantime.
//
// Threads: one of its own, on which it connects and takes notifications, and the socket's of
// IPC::Client. Nothing waits for it but its destructor.

#pragma once

#include <IPC/Client.h>

#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace Application {

// A package that the service offers. The file stays as it is until the package is confirmed.
struct Offer {
  std::string file;
  std::string pen;   // a serial
  std::string page;  // its first page
  std::string type;
};

class ServiceLink {
 public:
  // Whether the service is there, and what keeps ink from coming, for people; empty if nothing
  // does.
  struct State {
    bool is_connected = false;
    std::string hindrance;
  };

  enum class ImportResult { kSuccess, kRefused, kAway, kUnanswered };

  // To be called once, on any thread: empty if the ink is safe, or else why it is not. It may be
  // called after the link's end, and does nothing then.
  using Done = std::function<void(const std::string& failure)>;

  struct Options {
    std::string application_id;
    std::string name;     // for people: "the inbox"
    std::string log_tag;  // Talvo/Logger.h

    // Before ink that could not be kept is tried again: at first, then twice the time before, up to
    // the longest.
    std::chrono::milliseconds first_retry{5000};
    std::chrono::milliseconds longest_retry{5000};

    // Both are called on the link's thread and must not wait. A pen has one package at a time.
    std::function<void(const Offer&, Done)> keep;
    std::function<void(const State&)> on_state;  // with each new state
  };

  explicit ServiceLink(Options options);

  // Ends the connection; what was not confirmed will be offered again.
  ~ServiceLink();
  ServiceLink(const ServiceLink&) = delete;
  ServiceLink& operator=(const ServiceLink&) = delete;

  // Any thread.
  State state() const;

  // Tries all ink that waits for another attempt now. Any thread; never waits.
  void RetryNow();

  // Hands the service a file, which must stay as it is until `done` is called, once, on any
  // thread. Never waits.
  void Import(const std::string& file, std::function<void(ImportResult)> done);

 private:
  // A package that could not be kept, until the next attempt.
  struct Waiting {
    Offer offer;
    std::string reason;
    std::chrono::milliseconds patience{0};  // before this attempt
    std::uint64_t attempt = 0;
    bool is_due = true;  // during an attempt
  };

  // One connection. Jobs hold its number, so that none works for a later one.
  void Connect();
  void OnConnected();
  void Enable();
  void OnEnabled(const IPC::Client::Reply& reply);
  void OnPackage(const Json::Value& params);
  void Keep(const Offer& offer);
  void OnKept(const Offer& offer, const std::string& failure);
  void Retry(Waiting& waiting);
  static void Confirm(IPC::Client& client, const std::string& pen, bool is_delivered);
  void Lose(const std::string& reason);
  void After(std::chrono::milliseconds time, std::function<void()> job);
  void TellWaiting();
  void SetState(bool is_connected, const std::string& hindrance);
  void Log(int level, const std::string& message) const;

  const Options options_;
  // Shared with what reports that ink has been kept, which may come late.
  const std::shared_ptr<boost::asio::io_context> queue_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  // Whether anything is in waiting_, shared likewise: a pen's own entry is made before the attempt
  // whose end looks here.
  const std::shared_ptr<std::atomic<bool>> has_waiting_;
  // The following belong to the link's thread.
  std::shared_ptr<IPC::Client> client_;     // null between two connections
  std::uint64_t number_ = 0;                // of the connection
  std::chrono::milliseconds patience_;      // before the next attempt to connect
  std::map<std::string, Waiting> waiting_;  // by pen
  mutable std::mutex mutex_;                // of state_
  State state_;
  std::thread thread_;
};

}  // namespace Application
