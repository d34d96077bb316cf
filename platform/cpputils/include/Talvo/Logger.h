// A named log that the host of a library opens and the library writes to.
//
// A library asks for the logger of its tag on every message and writes nothing if the host has
// opened none. This is not a logging framework: there is one level and one sink for each tag, and
// no configuration file. The host makes loggers; every function may be called from any thread.

#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace Talvo {

// The levels of messages. A logger of level N takes the messages of level N and below.
enum LogLevel : int {
  kLogError = 1,
  kLogWarning = 2,
  kLogInformation = 3,
  kLogTrace = 4,
};

// Where a logger writes. Made by the functions below; a value that is cheap to copy.
class LogSink {
 public:
  // Lines on standard error: "2026-01-31T12:34:56.789Z I TAG: MESSAGE", the time in UTC, the level
  // as one of E W I T. Each line is written whole and immediately.
  static LogSink Stderr();

  // The same lines, each opened by its syslog priority, "<3>" (error), "<4>", "<6>" or "<7>"
  // (trace): for a standard error that is the journal of systemd, which files the line under the
  // priority and takes the prefix off again.
  static LogSink Journal();

  // The same lines, appended to the file at `path`, which is made when missing. A file that grows
  // past `max_bytes` is renamed to PATH.1 (an older PATH.1 to PATH.2, and so on, at most
  // `max_files` of them) and begun anew. Throws std::runtime_error if the file can't be opened.
  static LogSink RotatingFile(const std::string& path, std::size_t max_bytes = 10u << 20,
                              std::size_t max_files = 3);

  // Calls `callback` with each message, one at a time, on the thread that logs. The message is the
  // text alone, without time, level and tag. The callback must not log and must not throw.
  static LogSink Callback(std::function<void(int level, const std::string& message)> callback);

 private:
  friend class Logger;
  struct Impl;
  explicit LogSink(std::shared_ptr<Impl> impl) : impl_(std::move(impl)) {}
  std::shared_ptr<Impl> impl_;
};

class Logger {
 public:
  // Opens the logger of `tag`; one that is open already takes the new level and sink. On return
  // the old sink is used no more: a message under way has been written.
  static void Open(const char* tag, int level, const LogSink& sink);

  // Closes the logger of `tag`: from now on GetLogger returns null for it. Threads that still hold
  // the logger may go on using it: it has level 0 and takes nothing. On return the sink is used no
  // more: a message under way has been written.
  static void Close(const char* tag);

  // The logger of `tag`, or null until the host has opened one. The pointer stays valid until the
  // process ends and is never to be deleted. Cheap enough for every message: it takes no lock.
  static Logger* GetLogger(const char* tag);

  int GetLevel() const;

  // Writes one message, formatted as by printf, if `level` is at most GetLevel(). Control bytes
  // (below 0x20, and 0x7F) are written as \xNN, so that a message is always one line. Blocks as
  // long as the sink does; a message that can't be written (a full disk) is dropped. Throws
  // nothing.
  void Log(int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

  Logger(const Logger&) = delete;
  Logger& operator=(const Logger&) = delete;

 private:
  struct Impl;
  struct Registry;
  explicit Logger(std::string tag);
  ~Logger();
  std::unique_ptr<Impl> impl_;
};

}  // namespace Talvo
