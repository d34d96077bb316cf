// A mutex that knows whether others wait for it, so that a long piece of work can let them in. The
// system gives a mutex to the thread that asks next, and that is mostly the one that has just left
// it: work that takes it again and again would keep all others out until it has ended.

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
    ++turns_;
  }

  // Whether a thread waits for it.
  bool IsWanted() const { return waiting_ > 0; }

  // If anybody waits, returns once a thread got in. For one that has just left the mutex and is
  // going to take it again.
  void LetOneIn() const {
    const unsigned before = turns_;
    while (IsWanted() && turns_ == before) boost::this_thread::yield();
  }

 private:
  std::atomic<int> waiting_{0};
  std::atomic<unsigned> turns_{0};
};

}  // namespace Storage
}  // namespace TalvoQuillpost
