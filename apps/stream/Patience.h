// How long to wait before the next attempt: twice as long each time, up to a limit. So a server
// that comes back soon is found soon, and one that stays away is not pressed by thousands of
// desktops.
//
// One thread.

#pragma once

#include <algorithm>
#include <chrono>

namespace Stream {

class Patience {
 public:
  using Milliseconds = std::chrono::milliseconds;

  Patience(Milliseconds first, Milliseconds longest)
      : first_(first), longest_(longest), next_(first) {}

  // The wait before the next attempt.
  Milliseconds Next() {
    const Milliseconds now = next_;
    next_ = std::min(2 * next_, longest_);
    return now;
  }

  // An attempt has worked.
  void Reset() { next_ = first_; }

 private:
  const Milliseconds first_;
  const Milliseconds longest_;
  Milliseconds next_;
};

}  // namespace Stream
