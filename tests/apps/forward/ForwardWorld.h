// A desktop with its service and quillpost-forward, and an inbox at the other end of the stream.
// Programs write their logs to files in the test's root.

#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "NatsServer.h"
#include "stream/Connection.h"
#include "stream/InkMessage.h"
#include "support/InkFile.h"
#include "support/LogCapture.h"
#include "support/Process.h"
#include "support/TestRoot.h"

// QUILLPOST_FORWARD_LONG asks for the long form of the stories of failures.
int InLongForm(int few, int many);

// A program with a log, and arguments that all starts of it share.
class LoggingProgram {
 public:
  LoggingProgram(const std::string& program, const std::string& log,
                 std::vector<std::string> arguments);

  void Start();
  void Signal(int signal) { process_->Signal(signal); }
  void Kill();  // as a crash would
  int Stop();   // by SIGTERM; its exit status

  bool WaitForLog(const std::string& text);
  std::string log() const { return ReadFile(log_); }

 private:
  const std::string log_;
  std::vector<std::string> command_;
  std::unique_ptr<Process> process_;
};

class ForwardWorld {
 public:
  ForwardWorld();

  TestRoot& root() { return root_; }
  boost::filesystem::path path(const std::string& name) const { return root_.path() / name; }

  // Has the service take ink; true if it has.
  bool Import(const std::string& bytes);

  // Has the service take so many more packages: of two pens in turn, a page and a stroke each,
  // which starts later than all before. True if it has taken them.
  bool ImportMore(int packages);
  std::size_t imported() const { return imported_; }  // by ImportMore

  // Ink of one stroke.
  static std::string InkOf(const std::string& page, std::uint64_t start_ms,
                           std::uint64_t pen = kTestPen);

  // The service's process stands still, as on a machine that is about to go down; and is killed and
  // starts again.
  void StopServiceInItsTracks();
  void RestartKilledService();

  // Waits until all ink has been confirmed.
  bool WaitUntilStoreIsEmpty();
  bool is_store_empty() const { return HoldsNothing(root_.storage()); }

  // A desktop's end and an inbox's, with these arguments behind --to and --from. Not started.
  LoggingProgram Forward(const std::string& servers, const std::vector<std::string>& more = {});
  LoggingProgram Inbox(const std::string& servers, const std::vector<std::string>& more = {},
                       const std::string& consumer = "library");

  // All packages of the inbox, in the order in which it kept them: "PEN PAGE START".
  std::vector<std::string> Kept() const;
  bool WaitUntilKept(std::size_t count) const;

  // The only package that the inbox holds.
  std::string KeptBytes() const;

  // What the service has offered, in that order, as Kept has it. It offers a pen's next package
  // once the one before is confirmed, and one again whose application has died; which is the next
  // may change while an import is routed page by page.
  std::vector<std::string> Offered() const;

  // Whether the inbox holds each package of ImportMore once, and those of each pen in the order in
  // which the service offered them.
  testing::AssertionResult HasKeptAllOnceAndInOrder() const;

  // What the inbox holds of packages whose rest has not come.
  std::size_t PartsThatWait() const;

  // Has them be that much older. To be called while no inbox runs.
  void AgeParts(std::chrono::milliseconds time);

 private:
  void StartService();
  std::string InboxFile() const;
  std::vector<std::vector<std::string>> Select(const char* sql) const;  // in the inbox

  TestRoot root_;
  std::unique_ptr<Process> service_;
  int imports_ = 0;
  std::size_t imported_ = 0;
};

// The stream as its administrator sees it.
class StreamPeer final : private Stream::Watcher {
 public:
  explicit StreamPeer(const std::string& url);

  // Makes the stream INK, of ink.>, with what `change` makes of its configuration.
  void Create(const std::function<void(jsStreamConfig&)>& change);
  void Create(std::int64_t duplicate_window_ms = 120000);

  std::uint64_t Count();

  // All ink in the order of the stream, as ForwardWorld::Kept has it.
  std::vector<std::string> Ink();

  // Whether the consumer has given and been acknowledged all that is in the stream. The server
  // counts a message for a consumer that is already there a moment after it was published: wait
  // until its ink is kept first.
  bool HasTakenAll(const std::string& consumer);
  void Purge();

  // When the consumer was made; 0 if it is not there.
  std::int64_t MakingOf(const std::string& consumer);

  // Puts one part of ink there; false if the stream has dropped it as known.
  bool Put(const Stream::OutgoingInk& ink, std::uint32_t part = 1) {
    return Put(ink, part, ink.MessageIdOf(part));
  }
  bool Put(const Stream::OutgoingInk& ink, std::uint32_t part, const std::string& id);
  bool Put(const std::string& page, std::uint64_t start_ms);  // of one stroke

  Stream::Connection& connection() { return *connection_; }

 private:
  void OnChange() override {}
  void OnServerError(const std::string&) override {}

  Stream::Library library_;
  std::unique_ptr<Stream::Connection> connection_;
};
