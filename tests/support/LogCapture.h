// What the service logs while the object lives, message by message.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "support/Patience.h"

class LogCapture {
 public:
  typedef std::pair<int, std::string> Line;  // level and message

  explicit LogCapture(int level = 4, const char* tag = "Quillpost");
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<Line> lines() const;
  bool Has(int level, const std::string& message) const;
  std::size_t Count(int level, const std::string& message) const;
  std::size_t CountUpTo(int level) const;  // errors and warnings, up to 2
  void Clear();

  // Waits, within a bound, until the message has been logged `times` times.
  bool WaitFor(int level, const std::string& message, std::size_t times = 1) const;

 private:
  const char* tag_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Line> lines_;  // guarded by mutex_
};

// Waits until `condition` holds, asking again and again; false when it does not within the bound.
bool Eventually(const std::function<bool()>& condition, std::chrono::seconds bound = kPatience);

// The state of a thread of this process, as proc(5) has it ('R', 'S', ...); 0 if it has ended.
char StateOfThread(pid_t thread);

// Whether a thread of this process waits for something.
bool IsThreadAsleep(pid_t thread);
