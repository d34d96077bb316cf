#include "routing/LongExports.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>

namespace TalvoQuillpost {

namespace {

// 1 MiB in chunks of 64 KiB, and the look at the end of the file behind them.
constexpr int kFreeChunks = 17;
constexpr int kMaxConcurrent = 2;

}  // namespace

LongExports::Export::Export(LongExports& exports, const std::function<bool()>& is_unwanted)
    : exports_(exports), is_unwanted_(is_unwanted) {}

LongExports::Export::~Export() {
  if (!has_turn_) return;
  const boost::lock_guard<boost::mutex> lock(exports_.mutex_);
  --exports_.running_;
  exports_.changed_.notify_all();
}

bool LongExports::Export::MayGoOn() {
  if (!has_turn_ && ++chunks_ > kFreeChunks) {
    boost::unique_lock<boost::mutex> lock(exports_.mutex_);
    exports_.changed_.wait(lock,
                           [this] { return exports_.running_ < kMaxConcurrent || is_unwanted_(); });
    if (is_unwanted_()) return false;
    ++exports_.running_;
    has_turn_ = true;
  }
  return !is_unwanted_();
}

void LongExports::Wake() {
  const boost::lock_guard<boost::mutex> lock(mutex_);
  changed_.notify_all();
}

}  // namespace TalvoQuillpost
