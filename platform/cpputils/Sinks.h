// The places where log lines go, as sinks of spdlog: standard error, a file that rotates, and a
// function. Private to this library; Talvo/Logger.h makes them. A sink serves one message at a
// time and may belong to several loggers.

#pragma once

#include <spdlog/sinks/sink.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

namespace Talvo {

enum class LinePrefix {
  kNone,
  kPriority,  // "<N>", N the syslog priority, as the journal of systemd takes it off a line again
};

std::shared_ptr<spdlog::sinks::sink> MakeStderrSink(LinePrefix prefix);

// Throws std::runtime_error if the file can't be opened.
std::shared_ptr<spdlog::sinks::sink> MakeRotatingSink(const std::string& path,
                                                      std::size_t max_bytes, std::size_t max_files);

std::shared_ptr<spdlog::sinks::sink> MakeCallbackSink(
    std::function<void(int level, const std::string& message)> callback);

}  // namespace Talvo
