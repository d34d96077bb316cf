#include "Talvo/Logger.h"

#include <spdlog/logger.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "Sinks.h"
#include "TalvoCppUtils/Printable.h"

namespace Talvo {
namespace {

spdlog::level::level_enum ToSpdlog(int level) {
  switch (level) {
    case kLogError:
      return spdlog::level::err;
    case kLogWarning:
      return spdlog::level::warn;
    case kLogInformation:
      return spdlog::level::info;
    default:
      return spdlog::level::trace;
  }
}

// Formats as vprintf does. Memory for a message of any length; most fit into the first buffer.
std::string Format(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  std::array<char, 512> first;
  const int length = std::vsnprintf(first.data(), first.size(), format, arguments);
  std::string text;
  if (length < 0) {
    text = format;  // an argument can't be shown: the words of the message are better than nothing
  } else if (static_cast<std::size_t>(length) < first.size()) {
    text.assign(first.data(), static_cast<std::size_t>(length));
  } else {
    std::vector<char> whole(static_cast<std::size_t>(length) + 1);
    std::vsnprintf(whole.data(), whole.size(), format, again);
    text.assign(whole.data(), whole.size() - 1);
  }
  va_end(again);
  return text;
}

}  // namespace

struct LogSink::Impl {
  std::shared_ptr<spdlog::sinks::sink> sink;
};

LogSink LogSink::Stderr() {
  return LogSink(std::make_shared<Impl>(Impl{MakeStderrSink(LinePrefix::kNone)}));
}

LogSink LogSink::Journal() {
  return LogSink(std::make_shared<Impl>(Impl{MakeStderrSink(LinePrefix::kPriority)}));
}

LogSink LogSink::RotatingFile(const std::string& path, std::size_t max_bytes,
                              std::size_t max_files) {
  return LogSink(std::make_shared<Impl>(Impl{MakeRotatingSink(path, max_bytes, max_files)}));
}

LogSink LogSink::Callback(std::function<void(int level, const std::string& message)> callback) {
  return LogSink(std::make_shared<Impl>(Impl{MakeCallbackSink(std::move(callback))}));
}

struct Logger::Impl {
  const std::string tag;
  Logger* next;               // set before the logger is published, constant afterwards
  std::atomic<int> level{0};  // 0 while closed
  std::mutex mutex;           // held while a message is written, and while the sink is changed
  std::shared_ptr<spdlog::logger> output;  // guarded by mutex
};

// All loggers ever opened, as a list that only grows: a look-up takes no lock, and a pointer that
// it returned stays good. There are as many as the host has tags, which is one or two.
struct Logger::Registry {
  static std::atomic<Logger*> head;
  static std::mutex opening;  // so that two threads that open one tag make one logger

  static Logger* Find(const char* tag) {
    for (Logger* logger = head.load(std::memory_order_acquire); logger != nullptr;
         logger = logger->impl_->next) {
      if (logger->impl_->tag == tag) return logger;
    }
    return nullptr;
  }
};

std::atomic<Logger*> Logger::Registry::head{nullptr};
std::mutex Logger::Registry::opening;

Logger::Logger(std::string tag) : impl_(new Impl{std::move(tag), nullptr, {}, {}, {}}) {}

Logger::~Logger() = default;

void Logger::Open(const char* tag, int level, const LogSink& sink) {
  auto output = std::make_shared<spdlog::logger>(tag, sink.impl_->sink);
  output->set_level(spdlog::level::trace);
  output->flush_on(spdlog::level::trace);
  output->set_error_handler([](const std::string&) {});  // there is nowhere to tell it

  std::lock_guard<std::mutex> one_at_a_time(Registry::opening);
  Logger* logger = Registry::Find(tag);
  if (logger == nullptr) {
    logger = new Logger(tag);  // lives as long as the process
    logger->impl_->next = Registry::head.load(std::memory_order_relaxed);
    Registry::head.store(logger, std::memory_order_release);
  }
  std::lock_guard<std::mutex> lock(logger->impl_->mutex);
  logger->impl_->output.swap(output);
  logger->impl_->level.store(level);
}

void Logger::Close(const char* tag) {
  Logger* logger = Registry::Find(tag);
  if (logger == nullptr) return;
  std::lock_guard<std::mutex> lock(logger->impl_->mutex);
  logger->impl_->level.store(0);
  logger->impl_->output.reset();
}

Logger* Logger::GetLogger(const char* tag) {
  Logger* logger = Registry::Find(tag);
  return logger != nullptr && logger->GetLevel() > 0 ? logger : nullptr;
}

int Logger::GetLevel() const {
  return impl_->level.load();
}

void Logger::Log(int level, const char* format, ...) {
  if (level < kLogError || level > GetLevel()) return;
  std::va_list arguments;
  va_start(arguments, format);
  try {
    // Names come from files and clients: none of them may forge a line of its own.
    const std::string message = TalvoCppUtils::Printable(Format(format, arguments));
    std::lock_guard<std::mutex> lock(impl_->mutex);
    if (impl_->output) impl_->output->log(ToSpdlog(level), spdlog::string_view_t(message));
  } catch (...) {
    // Neither a full disk nor a lack of memory may end the work that only wanted to tell of itself.
  }
  va_end(arguments);
}

}  // namespace Talvo
