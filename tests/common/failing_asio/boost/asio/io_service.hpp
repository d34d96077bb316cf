// A queue of jobs in the place of the library's, as far as the service's queue asks it for
// anything: one that cannot be run.

#pragma once

#include <boost/function.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <vector>

namespace boost {
namespace asio {

class io_service {
 public:
  class work {
   public:
    explicit work(io_service&) {}
  };

  void post(const boost::function<void()>& job) { jobs_.push_back(job); }

  std::size_t run(boost::system::error_code& error) {
    error = make_error_code(boost::system::errc::no_buffer_space);
    return 0;
  }

  std::size_t poll(boost::system::error_code&) {
    for (const auto& job : jobs_) job();
    jobs_.clear();
    return 0;
  }

  void stop() { is_stopped_ = true; }
  void restart() { is_stopped_ = false; }
  bool stopped() const { return is_stopped_; }

 private:
  std::vector<boost::function<void()>> jobs_;
  bool is_stopped_ = false;
};

}  // namespace asio
}  // namespace boost
