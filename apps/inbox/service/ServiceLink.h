// The inbox as an application of the ink service: it enables notifications under the ID "Inbox",
// has each package kept, and confirms it when it would survive a power cut. While the service is
// away it looks for it, more and more rarely, and goes on when it is back.
//
// A package that can't be kept now (a full disk) stays with the service: it is not confirmed, and
// tried again.
//
// Threads: one of its own, on which it connects and takes notifications, and the socket's of
// IPC::Client. Nothing waits for it but Stop.

#pragma once

#include <IPC/Client.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "database/Writer.h"

namespace Inbox {

inline constexpr char kApplicationId[] = "Inbox";

class ServiceLink {
 public:
  // Whether the service is there, and what keeps ink from coming, for people; empty if nothing
  // does.
  struct State {
    bool is_connected = false;
    std::string hindrance;
  };

  enum class ImportResult { kSuccess, kRefused, kAway, kUnanswered };

  // `on_state` is called with each new state, on the link's thread; it must not wait.
  ServiceLink(Writer& writer, std::function<void(const State&)> on_state);

  // Ends the connection; what was not confirmed will be offered again.
  ~ServiceLink();
  ServiceLink(const ServiceLink&) = delete;
  ServiceLink& operator=(const ServiceLink&) = delete;

  // Any thread.
  State state() const;

  // Hands the service a file, which must stay as it is until `done` is called, once, on any
  // thread. Never waits.
  void Import(const std::string& file, std::function<void(ImportResult)> done);

 private:
  // One connection. Jobs hold its number, so that none works for a later one.
  void Connect();
  void OnConnected();
  void Enable();
  void OnEnabled(const IPC::Client::Reply& reply);
  void OnPackage(const Json::Value& params);
  void Keep(const std::string& file, const Package& envelope);
  void OnKept(const std::string& file, const Package& envelope, const std::string& failure);
  void Confirm(const std::string& pen);
  void Lose(const std::string& reason);
  void After(std::chrono::milliseconds time, std::function<void()> job);
  void SetState(bool is_connected, const std::string& hindrance);

  Writer& writer_;
  const std::function<void(const State&)> on_state_;
  boost::asio::io_context queue_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
  std::unique_ptr<IPC::Client> client_;  // null between two connections; the link's thread
  std::uint64_t number_ = 0;             // of the connection; the link's thread
  std::chrono::milliseconds patience_;   // before the next attempt; the link's thread
  mutable std::mutex mutex_;             // of state_
  State state_;
  std::thread thread_;
};

}  // namespace Inbox
