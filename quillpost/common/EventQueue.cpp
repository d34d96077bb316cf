#include "common/EventQueue.h"

#include <algorithm>
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
  // Jobs catch what they throw; handlers of others on this queue may not.
  while (!Common::RunJob("work of a queue", [&] { io_service_.run(error); })) {
  }
  if (error) throw boost::system::system_error(error);
}

void EventQueue::StopAndJoin(boost::thread& thread) {
  const bool was_running = thread.joinable();
  if (was_running) {
    io_service_.stop();
    thread.join();
    io_service_.restart();
  }
  // Jobs hold references to their client or service, which owns this queue: left in here, they and
  // their owner would keep each other. The library frees a job only after calling it.
  discarding_ = true;
  boost::system::error_code ignored;
  io_service_.poll(ignored);
  discarding_ = false;
  if (was_running) io_service_.stop();
}

bool StopGracePeriod::IsOver() {
  constexpr std::chrono::milliseconds kGracePeriod(700);
  if (!queue_.IsStopped()) return false;
  const Clock::time_point now = Clock::now();
  end_ = std::min(end_, now + kGracePeriod);
  return now >= end_;
}

}  // namespace TalvoQuillpost
