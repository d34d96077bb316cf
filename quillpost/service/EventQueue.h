// The queue of jobs of one thread. Jobs run one at a time, in the order in which they were posted,
// on the one thread that calls Run. An exception that leaves a job is logged and ends neither the
// thread nor the process. This is not a pool, and it owns no thread.

#pragma once

#include <boost/asio/io_service.hpp>
#include <boost/function.hpp>
#include <boost/noncopyable.hpp>
#include <boost/thread/thread.hpp>

namespace TalvoQuillpost {

class EventQueue : boost::noncopyable {
 public:
  EventQueue();

  // Queues a job and returns at once; `name`, a literal, names the job in the log if it throws.
  // Any thread.
  void Post(const char* name, const boost::function<void()>& job);

  // Runs jobs until the queue is stopped, also while there are none. Throws
  // boost::system::system_error where the queue itself fails.
  void Run();

  // Where `thread`, which runs this queue, is joinable: stops the queue, joins the thread and frees
  // the jobs that are left without running them. Throws boost::thread_resource_error on that very
  // thread. A job that is running is waited for. A stopped queue is not run again.
  void StopAndJoin(boost::thread& thread);

  // For those who run handlers of their own on this queue's thread.
  boost::asio::io_service& io_service() { return io_service_; }

 private:
  boost::asio::io_service io_service_;
  boost::asio::io_service::work work_;  // keeps Run from returning while there are no jobs
  bool discarding_ =
      false;  // belongs to the thread in Run; after its end, to the one that joined it
};

}  // namespace TalvoQuillpost
