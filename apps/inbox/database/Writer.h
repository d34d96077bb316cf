// The one thread of a running inbox that changes the database. Jobs that wait together are one
// transaction, so that they share one sync of the disk: a disk that takes 4 ms for it still keeps
// hundreds of packages a second.
//
// Who may wait: any thread but this one may wait for a job (Run); this thread waits for nobody but
// the disk and other processes' locks.

#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "database/Database.h"
#include "database/Keeper.h"

namespace Inbox {

class Writer {
 public:
  // Changes something; throws what it likes, and nothing of it is done then.
  using Job = std::function<void(Keeper&)>;

  // Called on the writer's thread when the job's changes would survive a power cut, or with the
  // reason why nothing of it was done. Must not wait.
  using Done = std::function<void(std::exception_ptr failure)>;

  // `on_commit` is called after each transaction, on the writer's thread. Throws SqliteError.
  Writer(const Database& database, std::function<void()> on_commit);

  // Does what was posted before, and ends the thread.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Never waits.
  void Post(Job job, Done done);

  // Waits until the job is done. Throws what the job threw, or SqliteError.
  void Run(Job job);

 private:
  struct Task {
    Job job;
    Done done;
    std::exception_ptr failure;
  };

  void Work();
  void Carry(std::deque<Task>& tasks);
  void Attempt(Task& task);

  const std::unique_ptr<Connection> connection_;
  Keeper keeper_;
  const std::function<void()> on_commit_;
  std::mutex mutex_;  // of the queue
  std::condition_variable news_;
  std::deque<Task> queue_;
  bool is_ending_ = false;
  std::thread thread_;  // last: it uses the other members
};

}  // namespace Inbox
