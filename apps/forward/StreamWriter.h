// Puts packages into the stream. A package counts as handed on when the stream has acknowledged all
// of its messages; whatever else happens, its owner hears why, and may try again.
//
// Sent twice. The server drops a message whose identity it has taken within its window. Beyond the
// window the writer looks for itself: before the first package of a pen, before one whose last
// attempt failed, and before one that was offered before (the service has ended without its
// confirmation), it asks for the last message of the subject. A pen's packages come one after the
// other, so an acknowledgement that got lost (with a connection, or with this program) is found
// there.
//
// Threads:
//
//   the connecting one   makes the connection, and gives up what nobody answers
//   the sending one      reads packages and publishes them; waits for the first connection, and for
//                        room in the socket's buffer, but for no answer
//   a few asking ones    each waits for the last message of a subject
//   the library's        bring acknowledgements, one after the other     Publisher.h
//
// So a distant server, for which each acknowledgement takes its time, gets the ink of several pens
// at the same time, and two threads do for all of them. The owner's calls never wait.

#pragma once

#include <boost/asio/thread_pool.hpp>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Options.h"
#include "Publisher.h"
#include "application/ServiceLink.h"
#include "stream/Connection.h"
#include "stream/InkMessage.h"

namespace Forward {

class StreamWriter final : private Stream::Watcher {
 public:
  using Done = Application::ServiceLink::Done;

  // `on_ready` is called on a thread of the writer's or of the library's whenever the stream is
  // there again.
  StreamWriter(const Options& options, std::function<void()> on_ready);

  // Does not wait for acknowledgements: packages on their way fail.
  ~StreamWriter();

  // `done` is called once, on a thread of the writer's, when the stream has acknowledged the
  // package, or with the reason why not. A pen has one package at a time.
  void Put(const Application::Offer& offer, Done done);

 private:
  // On its way into the stream, or waiting for its turn. One thread after the other has it.
  struct Package;
  using PackagePtr = std::shared_ptr<Package>;

  // What a package goes by when its turn comes.
  struct Situation {
    std::shared_ptr<Stream::Connection> connection;
    std::size_t limit_bytes = 0;
    std::string last_identity;  // of its pen; empty if nothing is certain of it
  };

  enum class Ended { kByServers, kForWantOfAStream };

  void OnChange() override;
  void OnServerError(const std::string& reason) override;

  void Maintain();
  void Connect();
  Ended WatchConnection();
  bool PauseUnlessEnding(std::chrono::milliseconds time);
  std::shared_ptr<Stream::Connection> connection();

  void Begin(const PackagePtr& package);
  Situation WaitForStream(const std::string& pen);
  void Ask(const PackagePtr& package);
  void Send(const PackagePtr& package, std::uint32_t part);
  void OnAnswer(const PackagePtr& package, std::uint32_t part, Publisher::Answer answer,
                const std::string& reason);
  void Finish(const PackagePtr& package, const std::string& failure);
  void BeginNext();

  std::uint32_t PartsInStream(Stream::Connection& connection, const Stream::OutgoingInk& ink);
  // The pen's last package in the stream is this, or, if empty, nobody knows.
  void SetLast(const std::string& pen, const std::string& identity);
  void LookForStream(const Stream::Connection& connection);
  std::string WithServerError(const std::string& reason);

  const Options& options_;
  const std::function<void()> on_ready_;
  const std::string user_;
  const std::string host_;
  std::mutex mutex_;  // of the following
  std::condition_variable news_;
  std::size_t stream_limit_bytes_ = 0;  // of a message; 0: the server's own
  std::string hindrance_;               // why not; empty before the first attempt is over, too
  std::string server_error_;            // the last one
  // By pen, the identity of its last package, if that was acknowledged to this process; or empty.
  std::map<std::string, std::string> last_identities_;
  bool is_stream_gone_ = false;  // a server said so
  bool is_ending_ = false;
  std::size_t on_their_way_ = 0;    // packages, at most kMostAtATime
  std::deque<PackagePtr> waiting_;  // for one of those to come to its end
  Publisher publisher_;
  // Ends after the connection, and before all that the library's callbacks touch.
  Stream::Library library_;
  std::shared_ptr<Stream::Connection> connection_;  // null while there is no usable stream
  boost::asio::thread_pool asking_;
  boost::asio::thread_pool sending_;
  std::thread thread_;  // connects
};

}  // namespace Forward
