#include "database/Writer.h"

#include <algorithm>
#include <future>
#include <iterator>
#include <utility>

namespace Inbox {
namespace {

// More would delay the first jobs and save little: the sync is a small share by then.
constexpr std::size_t kMostTogether = 128;

}  // namespace

Writer::Writer(const Database& database, std::function<void()> on_commit)
    : connection_(database.OpenWriter()),
      keeper_(*connection_),
      on_commit_(std::move(on_commit)),
      thread_([this] { Work(); }) {}

Writer::~Writer() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    is_ending_ = true;
  }
  news_.notify_one();
  thread_.join();
}

void Writer::Post(Job job, Done done) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.push_back({std::move(job), std::move(done), nullptr});
  }
  news_.notify_one();
}

void Writer::Run(Job job) {
  std::promise<void> promise;
  Post(std::move(job), [&promise](std::exception_ptr failure) {
    if (failure) {
      promise.set_exception(failure);
    } else {
      promise.set_value();
    }
  });
  promise.get_future().get();
}

void Writer::Work() {
  for (;;) {
    std::deque<Task> tasks;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      news_.wait(lock, [this] { return is_ending_ || !queue_.empty(); });
      if (queue_.empty()) return;
      const std::size_t count = std::min(kMostTogether, queue_.size());
      const auto end = queue_.begin() + static_cast<std::ptrdiff_t>(count);
      tasks.assign(std::make_move_iterator(queue_.begin()), std::make_move_iterator(end));
      queue_.erase(queue_.begin(), end);
    }
    Carry(tasks);
    for (Task& task : tasks) task.done(task.failure);
    on_commit_();
  }
}

void Writer::Carry(std::deque<Task>& tasks) {
  try {
    Transaction transaction(*connection_);
    for (Task& task : tasks) Attempt(task);
    transaction.Commit();
  } catch (const SqliteError&) {
    for (Task& task : tasks) {
      if (!task.failure) task.failure = std::current_exception();
    }
  }
}

// A job that fails takes only its own changes back; unless SQLite has ended the whole transaction,
// as it does on a full disk.
void Writer::Attempt(Task& task) {
  connection_->Execute("SAVEPOINT task");
  try {
    task.job(keeper_);
  } catch (const SqliteError&) {
    task.failure = std::current_exception();
    if (!connection_->is_in_transaction()) throw;
    connection_->Execute("ROLLBACK TO task");
  } catch (...) {
    task.failure = std::current_exception();
    connection_->Execute("ROLLBACK TO task");
  }
  connection_->Execute("RELEASE task");
}

}  // namespace Inbox
