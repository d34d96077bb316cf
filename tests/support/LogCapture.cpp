#include "support/LogCapture.h"

#include <Talvo/Logger.h>

#include <algorithm>
#include <thread>

#include "support/TestRoot.h"

LogCapture::LogCapture(int level, const char* tag) : tag_(tag) {
  Talvo::Logger::Open(tag_, level,
                      Talvo::LogSink::Callback([this](int line_level, const std::string& message) {
                        std::lock_guard<std::mutex> lock(mutex_);
                        lines_.emplace_back(line_level, message);
                        changed_.notify_all();
                      }));
}

LogCapture::~LogCapture() {
  Talvo::Logger::Close(tag_);
}

std::vector<LogCapture::Line> LogCapture::lines() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

bool LogCapture::Has(int level, const std::string& message) const {
  return Count(level, message) > 0;
}

std::size_t LogCapture::Count(int level, const std::string& message) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), Line(level, message)));
}

std::size_t LogCapture::CountUpTo(int level) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      lines_.begin(), lines_.end(), [level](const Line& line) { return line.first <= level; }));
}

void LogCapture::Clear() {
  std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

bool LogCapture::WaitFor(int level, const std::string& message, std::size_t times) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, kPatience, [&] {
    return static_cast<std::size_t>(
               std::count(lines_.begin(), lines_.end(), Line(level, message))) >= times;
  });
}

bool Eventually(const std::function<bool()>& condition, std::chrono::seconds bound) {
  const auto end = std::chrono::steady_clock::now() + bound;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

char StateOfThread(pid_t thread) {
  std::string status;
  try {
    status = ReadFile("/proc/self/task/" + std::to_string(thread) + "/stat");
  } catch (const std::ios_base::failure&) {
    return 0;  // it ended between the opening and the reading
  }
  const std::size_t name_end = status.rfind(") ");
  return name_end == std::string::npos ? '\0' : status[name_end + 2];
}

bool IsThreadAsleep(pid_t thread) {
  return StateOfThread(thread) == 'S';
}
