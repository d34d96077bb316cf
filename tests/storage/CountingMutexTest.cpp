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

TEST(CountingMutex, IsWantedByNobodyIfOneThreadTakesItTwice) {
  CountingMutex mutex;
  const Lock outer(mutex);
  const Lock inner(mutex);
  EXPECT_FALSE(mutex.IsWanted());
}

// Who holds it would wait for ever for one who waits for it.
TEST(CountingMutex, LetsNobodyInWhileTheCallerHoldsIt) {
  CountingMutex mutex;
  bool had_turn = false;
  mutex.lock();
  mutex.lock();
  std::thread other([&] {
    const Lock lock(mutex);
    had_turn = true;
  });
  while (!mutex.IsWanted()) boost::this_thread::yield();
  mutex.unlock();
  mutex.LetOneIn();
  EXPECT_FALSE(had_turn);
  mutex.unlock();
  other.join();
  EXPECT_TRUE(had_turn);
}

}  // namespace
}  // namespace Storage
}  // namespace TalvoQuillpost
