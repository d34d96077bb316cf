#include "Sinks.h"

#include <fcntl.h>
#include <poll.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <mutex>
#include <stdexcept>
#include <system_error>

#include "Talvo/Logger.h"

namespace Talvo {
namespace {

// spdlog's letters of err, warn, info and trace are E, W, I and T.
std::unique_ptr<spdlog::formatter> MakeFormatter() {
  return std::make_unique<spdlog::pattern_formatter>("%Y-%m-%dT%H:%M:%S.%eZ %L %n: %v",
                                                     spdlog::pattern_time_type::utc, "\n");
}

const char* Priority(spdlog::level::level_enum level) {
  switch (level) {
    case spdlog::level::err:
      return "<3>";
    case spdlog::level::warn:
      return "<4>";
    case spdlog::level::info:
      return "<6>";
    default:
      return "<7>";
  }
}

int ToLogLevel(spdlog::level::level_enum level) {
  switch (level) {
    case spdlog::level::err:
      return kLogError;
    case spdlog::level::warn:
      return kLogWarning;
    case spdlog::level::info:
      return kLogInformation;
    default:
      return kLogTrace;
  }
}

// Writes all of it, in one call if the system takes it so; lines of two writers never mix then.
// Returns how much was written, less than `size` only if writing fails.
std::size_t WriteAll(int fd, const char* data, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t n = ::write(fd, data + done, size - done);
    if (n >= 0) {
      done += static_cast<std::size_t>(n);
    } else if (errno == EAGAIN) {  // another program that shares it has made it non-blocking
      pollfd writable = {fd, POLLOUT, 0};
      ::poll(&writable, 1, -1);
    } else if (errno != EINTR) {
      break;
    }
  }
  return done;
}

// What the two sinks that write lines share: formatting, and keeping lines apart after a failure.
class LineSink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  explicit LineSink(LinePrefix prefix) : base_sink(MakeFormatter()), prefix_(prefix) {}

  std::string MakeLine(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t text;
    formatter_->format(message, text);
    std::string line = torn_ ? "\n" : "";
    if (prefix_ == LinePrefix::kPriority) line += Priority(message.level);
    return line.append(text.data(), text.size());
  }

  // Returns the number of bytes that reached the file.
  std::size_t WriteLine(int fd, const std::string& line) {
    const std::size_t written = WriteAll(fd, line.data(), line.size());
    if (written > 0) torn_ = written < line.size();
    return written;
  }

  void flush_() override {}  // nothing is held back

 private:
  const LinePrefix prefix_;
  bool torn_ = false;  // the last line that was begun could not be ended
};

class StderrSink : public LineSink {
 public:
  explicit StderrSink(LinePrefix prefix) : LineSink(prefix) {}

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    WriteLine(STDERR_FILENO, MakeLine(message));
  }
};

class RotatingSink : public LineSink {
 public:
  RotatingSink(std::string path, std::size_t max_bytes, std::size_t max_files)
      : LineSink(LinePrefix::kNone),
        path_(std::move(path)),
        max_bytes_(max_bytes),
        max_files_(max_files) {
    if (!OpenFile()) {
      throw std::runtime_error("can't open the log file '" + path_ +
                               "': " + std::generic_category().message(errno));
    }
  }

  ~RotatingSink() override { CloseFile(); }

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    const std::string line = MakeLine(message);
    if (regular_ && size_ > 0 && size_ + line.size() > max_bytes_) Rotate();
    if (fd_ < 0 && !OpenFile()) return;
    size_ += WriteLine(fd_, line);
  }

 private:
  bool OpenFile() {
    fd_ = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600);
    if (fd_ < 0) return false;
    struct stat status = {};
    ::fstat(fd_, &status);
    regular_ = S_ISREG(status.st_mode);
    size_ = static_cast<std::size_t>(status.st_size);
    return true;
  }

  void CloseFile() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }

  // If a file can't be renamed, the log goes on in the one that is there.
  void Rotate() {
    CloseFile();
    for (std::size_t number = max_files_; number > 0; --number) {
      const std::string from = number == 1 ? path_ : path_ + "." + std::to_string(number - 1);
      std::rename(from.c_str(), (path_ + "." + std::to_string(number)).c_str());
    }
    if (max_files_ == 0) ::unlink(path_.c_str());
    OpenFile();
  }

  const std::string path_;
  const std::size_t max_bytes_;
  const std::size_t max_files_;
  int fd_ = -1;           // -1 while the file can't be opened
  bool regular_ = false;  // a device or a pipe is written to and left in its place
  std::size_t size_ = 0;
};

class CallbackSink : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit CallbackSink(std::function<void(int, const std::string&)> callback)
      : callback_(std::move(callback)) {}

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    callback_(ToLogLevel(message.level),
              std::string(message.payload.data(), message.payload.size()));
  }
  void flush_() override {}

 private:
  const std::function<void(int, const std::string&)> callback_;
};

}  // namespace

std::shared_ptr<spdlog::sinks::sink> MakeStderrSink(LinePrefix prefix) {
  return std::make_shared<StderrSink>(prefix);
}

std::shared_ptr<spdlog::sinks::sink> MakeRotatingSink(const std::string& path,
                                                      std::size_t max_bytes,
                                                      std::size_t max_files) {
  return std::make_shared<RotatingSink>(path, max_bytes, max_files);
}

std::shared_ptr<spdlog::sinks::sink> MakeCallbackSink(
    std::function<void(int level, const std::string& message)> callback) {
  return std::make_shared<CallbackSink>(std::move(callback));
}

}  // namespace Talvo
