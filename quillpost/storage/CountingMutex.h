// A mutex that knows whether others wait for it, so that a long piece of work can let them in. A
// free mutex goes to the first thread that reaches for it, and the one that has just left it is
// there before those that have to wake up first: work that takes it again and again would keep all
// others out until it has ended.

#pragma once

#include <atomic>
#include <boost/thread/recursive_mutex.hpp>
#include <boost/thread/thread.hpp>

namespace TalvoQuillpost {
namespace Storage {

class CountingMutex : public boost::recursive_mutex {
 public:
  void lock() {
    ++waiting_;
    boost::recursive_mutex::lock();
    --waiting_;
    ++depth_;
    ++turns_;
  }

  void unlock() {
    --depth_;
    boost::recursive_mutex::unlock();
  }

  // Whether a thread waits for it.
  bool IsWanted() const { return waiting_ > 0; }

  // If the mutex is free and a thread is about to get in, returns once it did. For one that has
  // just left the mutex and is going to take it again; does nothing if the caller still holds it.
  void LetOneIn() const {
    const unsigned before = turns_;
    while (IsWanted() && depth_ == 0 && turns_ == before) boost::this_thread::yield();
  }

 private:
  std::atomic<int> depth_{0};  // how many times the thread that holds it has taken it
  std::atomic<int> waiting_{0};
  std::atomic<unsigned> turns_{0};
};

}  // namespace Storage
}  // namespace TalvoQuillpost
