// A queue that cannot be run: the error is thrown on its thread, and not caught there.

#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <boost/thread/thread.hpp>
#include <memory>

#include "common/EventQueue.h"

using TalvoQuillpost::EventQueue;

namespace {

TEST(EventQueueFailure, ThrowsTheErrorOfTheQueue) {
  EventQueue queue;
  try {
    queue.Run();
    FAIL() << "nothing was thrown";
  } catch (const boost::system::system_error& error) {
    EXPECT_EQ(error.code(), boost::system::errc::no_buffer_space);
  }
}

TEST(EventQueueFailure, LeavesTheQueueToBeStopped) {
  EventQueue queue;
  const auto owner = std::make_shared<int>(7);
  queue.Post("job", [owner] { FAIL() << *owner; });
  EXPECT_THROW(queue.Run(), boost::system::system_error);
  boost::thread none;
  queue.StopAndJoin(none);
  EXPECT_EQ(owner.use_count(), 1);
}

TEST(EventQueueFailureDeathTest, EndsTheProcessOfAThreadThatRunsIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EventQueue queue;
        boost::thread(&EventQueue::Run, &queue).join();
      },
      testing::KilledBySignal(SIGABRT), "system_error.*No buffer space available");
}

}  // namespace
