// The queue of jobs of one thread. Jobs run one at a time, in the order in which they were posted,
// on the one thread that calls Run. An exception that leaves a job is logged and ends neither the
// thread nor the process. This is not a pool, and it owns no thread.

#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <boost/thread/thread.hpp>
#include <chrono>

namespace TalvoQuillpost {

class EventQueue : boost::noncopyable {
 public:
  EventQueue();

  // Queues a job and returns immediately; `name`, a literal, names the job in the log if it throws.
  // Any thread.
  void Post(const char* name, const boost::function<void()>& job);

  // Runs jobs until the queue is stopped, also while there are none. Throws
  // boost::system::system_error if the queue itself fails.
  void Run();

  // No further job begins; one that is running goes on. A stopped queue is not run again. Any
  // thread.
  void Stop() { io_service_.stop(); }
  bool IsStopped() const { return io_service_.stopped(); }

  // If `thread`, which runs this queue, is joinable: stops the queue and joins the thread, after
  // the job that is running. Throws boost::thread_resource_error on that very thread. In every case
  // frees the jobs that are left without running them.
  void StopAndJoin(boost::thread& thread);

  // For those who run handlers of their own on this queue's thread.
  boost::asio::io_service& io_service() { return io_service_; }

 private:
  boost::asio::io_service io_service_;
  boost::asio::io_service::work work_;  // keeps Run from returning while there are no jobs
  bool discarding_ =
      false;  // belongs to the thread in Run; after its end, to the one that joined it
};

// How long one long job of a queue goes on after the queue was stopped: most end within it, and the
// whole service is to end within two seconds. Used by that job.
class StopGracePeriod {
 public:
  explicit StopGracePeriod(const EventQueue& queue) : queue_(queue) {}

  // Whether the job is to end now, with what it has done.
  bool IsOver();

 private:
  typedef std::chrono::steady_clock Clock;

  const EventQueue& queue_;
  Clock::time_point end_ = Clock::time_point::max();  // until the stop has been seen
};

}  // namespace TalvoQuillpost
