// Long exports take turns: only a few copy at the same time. With one for each application on its
// way, a copy would notice cancellation late, so stopping several in turn would stall every client.
// Exports of up to 1 MiB take no turn, and never wait.

#pragma once

#include <boost/noncopyable.hpp>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/mutex.hpp>
#include <functional>

namespace TalvoQuillpost {

class LongExports : boost::noncopyable {
 public:
  // One export, on the thread that copies.
  class Export : boost::noncopyable {
   public:
    // `is_unwanted` is asked under a lock too: it must not wait.
    Export(LongExports& exports, const std::function<bool()>& is_unwanted);
    ~Export();  // the turn is another's

    // To be asked before each 64 KiB. Waits for its turn if it needs one; false once the export
    // is unwanted.
    bool MayGoOn();

   private:
    LongExports& exports_;
    const std::function<bool()> is_unwanted_;
    int chunks_ = 0;
    bool has_turn_ = false;
  };

  // To be called when an export has become unwanted: it may be waiting for its turn. Any thread.
  void Wake();

 private:
  boost::mutex mutex_;
  boost::condition_variable changed_;
  int running_ = 0;  // guarded by mutex_
};

}  // namespace TalvoQuillpost
