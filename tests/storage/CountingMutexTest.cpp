// That work which takes a mutex again and again lets others in.

#include "storage/CountingMutex.h"

#include <gtest/gtest.h>

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/thread.hpp>
#include <thread>

namespace TalvoQuillpost {
namespace Storage {
namespace {

typedef boost::lock_guard<CountingMutex> Lock;

TEST(CountingMutex, LetsInWhoWaits) {
  CountingMutex mutex;
  int turns = 0;  // of the other threads
  for (int round = 1; round <= 20; ++round) {
    mutex.lock();
    std::thread other([&] {
      const Lock lock(mutex);
      ++turns;
    });
    while (!mutex.IsWanted()) boost::this_thread::yield();
    mutex.unlock();
    mutex.LetOneIn();
    {
      const Lock lock(mutex);
      EXPECT_EQ(round, turns);
    }
    other.join();
  }
}

TEST(CountingMutex, IsWantedByNobodyWhereOneThreadTakesItTwice) {
  CountingMutex mutex;
  const Lock outer(mutex);
  const Lock inner(mutex);
  EXPECT_FALSE(mutex.IsWanted());
  mutex.LetOneIn();  // returns
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
