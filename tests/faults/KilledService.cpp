#include "faults/KilledService.h"

#include <signal.h>

#include <algorithm>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

namespace {

constexpr char kStarted[] = " Quillpost: Quillpost started.\n";
constexpr std::chrono::seconds kBound(60);  // sanitizers on a busy machine are slow

}  // namespace

KilledService::KilledService(const std::string& program, const std::string& log_file,
                             const Process::Environment& environment)
    : log_file_(log_file),
      process_({"/bin/sh", "-c", R"(exec "$0" 2>"$1")", program, log_file}, environment) {}

bool KilledService::WaitUntilServing() {
  return WaitForLog(kStarted);
}

bool KilledService::WaitForLines(std::size_t count) const {
  return Eventually(
      [&] {
        const std::string text = log();
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) >= count;
      },
      kBound);
}

bool KilledService::HasLogged(const std::string& words) const {
  return log().find(words) != std::string::npos;
}

bool KilledService::WaitForLog(const std::string& words) const {
  return Eventually([&] { return HasLogged(words); }, kBound);
}

void KilledService::Kill() {
  process_.Signal(SIGKILL);
  process_.Wait();
}

int KilledService::Stop() {
  process_.Signal(SIGTERM);
  return process_.Wait();
}

std::string KilledService::log() const {
  return ReadFile(log_file_);
}
