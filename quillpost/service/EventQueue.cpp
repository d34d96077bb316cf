#include "service/EventQueue.h"

#include <boost/system/system_error.hpp>

#include "common/Job.h"

namespace TalvoQuillpost {

EventQueue::EventQueue() : work_(io_service_) {}

void EventQueue::Post(const char* name, const boost::function<void()>& job) {
  io_service_.post([this, name, job] {
    if (!discarding_) Common::RunJob(name, job);
  });
}

void EventQueue::Run() {
  boost::system::error_code error;
  io_service_.run(error);
  if (error) throw boost::system::system_error(error);
}

void EventQueue::StopAndJoin(boost::thread& thread) {
  if (!thread.joinable()) return;
  io_service_.stop();
  thread.join();
  // Jobs hold references to their client or service, which owns this queue: left in here, they and
  // their owner would keep each other. The library frees a job only after calling it.
  discarding_ = true;
  io_service_.restart();
  boost::system::error_code ignored;
  io_service_.poll(ignored);
  io_service_.stop();
}

}  // namespace TalvoQuillpost
