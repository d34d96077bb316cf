// A server on a socket of its own, with its queue and thread, whose owner does as the request says:
//   Echo     answers Success with the request's params
//   Hold     keeps the reply function, until Release
//   Keep     answers Success and keeps the reply function, until Release
//   Notify   sends the notification Note with the request's params, then answers Success
//   Throw    throws
//   others   answers NotSupported
// What it has seen can be asked for from the test's thread.

#pragma once

#include <IPC/Server.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

class ServerUnderTest {
 public:
  typedef boost::shared_ptr<IPC::Server::Connection> Connection;

  ServerUnderTest();
  ~ServerUnderTest();  // stops it
  ServerUnderTest(const ServerUnderTest&) = delete;
  ServerUnderTest& operator=(const ServerUnderTest&) = delete;

  std::string endpoint() const { return (root_.path() / "ipc.sock").string(); }
  const boost::filesystem::path& directory() const { return root_.path(); }
  LogCapture& log() { return log_; }

  bool Listen() { return server_->Listen(endpoint()); }
  void Stop() { server_->Stop(); }
  IPC::Server& server() { return *server_; }
  boost::asio::io_service& queue() { return queue_; }

  // Answers the replies that are held, on the calling thread: the last first, if so wished.
  void Release(bool last_first = false);
  void ReleaseTwice();  // calls the first reply that is held two times
  std::size_t held() const;

  std::vector<std::string> requests() const;              // the names, in their order
  std::vector<std::uint64_t> begins_of_requests() const;  // in the stream of their connection
  std::size_t connected() const;
  std::vector<boost::system::error_code> ends() const;

  // The connections that were reported, first first. The server holds them until Forget or its end.
  std::vector<Connection> connections() const;
  void ForgetConnections();

  // Runs the job on the thread of the callbacks, between two of them, and waits for its end.
  void BetweenCallbacks(const std::function<void()>& job);

  // Called within the report of an end; set before Listen or between callbacks.
  std::function<void(const Connection&)> on_end;

 private:
  void Handle(const Connection& connection, const std::string& name, const Json::Value& params,
              const IPC::Server::Reply& reply);

  TestRoot root_;
  LogCapture log_;
  boost::asio::io_service queue_;
  std::unique_ptr<boost::asio::io_service::work> work_;

  mutable std::mutex mutex_;  // guards what follows
  std::deque<IPC::Server::Reply> held_;
  std::vector<std::string> requests_;
  std::vector<std::uint64_t> begins_of_requests_;
  std::vector<Connection> connections_;
  std::size_t connected_ = 0;
  std::vector<boost::system::error_code> ends_;

  boost::shared_ptr<IPC::Server> server_;
  std::thread thread_;
};
