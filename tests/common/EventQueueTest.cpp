#include "common/EventQueue.h"

#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <boost/thread/future.hpp>
#include <boost/thread/thread.hpp>
#include <boost/weak_ptr.hpp>
#include <stdexcept>
#include <thread>
#include <vector>

#include "support/LogCapture.h"

using TalvoQuillpost::EventQueue;

namespace {

class EventQueueTest : public testing::Test {
 protected:
  ~EventQueueTest() override { queue.StopAndJoin(thread); }

  // Runs the queue's jobs so far to their end.
  void Drain() {
    boost::promise<void> done;
    queue.Post("end", [&done] { done.set_value(); });
    done.get_future().get();
  }

  // Runs `stop`, which stops the queue, while a job is running and others are queued.
  void StopDuringAJob() {
    boost::promise<void> reached;
    boost::promise<void> let_go;
    queue.Post("long job", [&] {
      reached.set_value();
      let_go.get_future().get();
      long_job_ended = true;
    });
    queue.Post("job behind", [this] { job_behind_ran = true; });
    reached.get_future().get();
    std::thread host([this] { queue.StopAndJoin(thread); });
    EXPECT_TRUE(Eventually([this] { return queue.io_service().stopped(); }));
    let_go.set_value();
    host.join();
  }

  bool long_job_ended = false;  // belong to the queue's thread until it has been joined
  bool job_behind_ran = false;
  EventQueue queue;
  boost::thread thread{&EventQueue::Run, &queue};
};

TEST_F(EventQueueTest, RunsJobsInTheOrderInWhichTheyWerePostedOnOneThread) {
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) {
    queue.Post("job", [&, i] {
      EXPECT_EQ(boost::this_thread::get_id(), thread.get_id());
      order.push_back(i);
    });
  }
  Drain();
  ASSERT_EQ(order.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST_F(EventQueueTest, AJobMayPostAnother) {
  boost::promise<void> done;
  queue.Post("first", [&] { queue.Post("second", [&done] { done.set_value(); }); });
  done.get_future().get();
}

TEST_F(EventQueueTest, AJobThatThrowsIsLoggedAndEndsNothing) {
  const LogCapture log;
  queue.Post("first job", [] { throw std::runtime_error("no ink"); });
  queue.Post("second job", [] { throw 7; });
  Drain();
  EXPECT_EQ(log.lines(),
            (std::vector<LogCapture::Line>{{1, "The first job failed: no ink"},
                                           {1, "The second job failed: unknown exception"}}));
}

TEST_F(EventQueueTest, StoppingWaitsForTheJobThatRunsAndDropsTheOthers) {
  StopDuringAJob();
  EXPECT_TRUE(long_job_ended);
  EXPECT_FALSE(job_behind_ran);
  EXPECT_FALSE(thread.joinable());
}

// Jobs hold the owner of their queue; left in there they would keep it for ever.
TEST_F(EventQueueTest, StoppingFreesTheJobsThatAreLeft) {
  const auto owner = boost::make_shared<int>(1);
  const boost::weak_ptr<int> watch(owner);
  boost::promise<void> let_go;
  boost::promise<void> reached;
  queue.Post("long job", [&] {
    reached.set_value();
    let_go.get_future().get();
  });
  reached.get_future().get();
  for (int i = 0; i < 3; ++i) queue.Post("job", [owner] { FAIL() << *owner; });
  EXPECT_EQ(owner.use_count(), 4);
  std::thread host([this] { queue.StopAndJoin(thread); });
  EXPECT_TRUE(Eventually([this] { return queue.io_service().stopped(); }));
  let_go.set_value();
  host.join();
  EXPECT_EQ(owner.use_count(), 1);
}

TEST_F(EventQueueTest, AJobPostedAfterTheStopIsNotRun) {
  queue.StopAndJoin(thread);
  queue.Post("job", [] { FAIL(); });
  queue.StopAndJoin(thread);
}

TEST_F(EventQueueTest, StoppingAgainDoesNothing) {
  queue.StopAndJoin(thread);
  queue.StopAndJoin(thread);
  EXPECT_FALSE(thread.joinable());
}

TEST_F(EventQueueTest, StoppingWithoutAThreadDoesNothing) {
  EventQueue idle;
  boost::thread none;
  idle.StopAndJoin(none);
  EXPECT_FALSE(idle.io_service().stopped());
}

TEST_F(EventQueueTest, StoppingFreesAlsoTheJobsOfAQueueThatNobodyRuns) {
  const auto owner = std::make_shared<int>(7);
  EventQueue idle;
  boost::thread none;
  idle.Post("job", [owner] { FAIL() << *owner; });
  idle.StopAndJoin(none);
  EXPECT_EQ(owner.use_count(), 1);
}

TEST_F(EventQueueTest, AHandlerOfOthersThatThrowsIsLoggedAndEndsNothing) {
  const LogCapture log;
  queue.io_service().post([] { throw std::runtime_error("out of paper"); });
  boost::promise<void> done;
  queue.Post("job", [&] { done.set_value(); });
  done.get_future().get();
  EXPECT_TRUE(log.Has(1, "The work of a queue failed: out of paper"));
}

TEST_F(EventQueueTest, StoppingOnItsOwnThreadThrows) {
  const LogCapture log;
  boost::promise<std::string> reason;
  queue.Post("job", [&] {
    try {
      queue.StopAndJoin(thread);
      reason.set_value("nothing was thrown");
    } catch (const boost::thread_resource_error& error) {
      reason.set_value(error.what());
    }
  });
  EXPECT_EQ(reason.get_future().get().find("boost thread: trying joining itself"), 0u);
}

// A long job goes on for a while after the stop, so that most come to their end, and then no more.
TEST_F(EventQueueTest, ThePatienceWithALongJobEndsSomeTimeAfterTheStop) {
  TalvoQuillpost::StopGracePeriod patience(queue);
  EXPECT_FALSE(patience.IsOver());
  queue.Stop();
  EXPECT_FALSE(patience.IsOver());
  EXPECT_TRUE(Eventually([&] { return patience.IsOver(); }));
}

}  // namespace
