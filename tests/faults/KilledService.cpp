#include "faults/KilledService.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <boost/filesystem/operations.hpp>
#include <iterator>

#include "support/LogCapture.h"
#include "support/TestRoot.h"

namespace {

constexpr char kStarted[] = " Quillpost: Quillpost started.\n";
constexpr char kNotStarted[] = "quillpostd: the service ";

long NumberAfter(const std::string& text, const std::string& name) {
  const std::size_t at = text.find(name);
  return at == std::string::npos ? -1 : std::atol(text.c_str() + at + name.size());
}

// The path, and nothing there: no log of an earlier life.
std::string WithoutFile(const std::string& path) {
  ::unlink(path.c_str());
  return path;
}

}  // namespace

KilledService::KilledService(const std::string& program, const std::string& log_file,
                             const Process::Environment& environment)
    : log_file_(WithoutFile(log_file)),
      process_({"/bin/sh", "-c", R"(exec setpriv --pdeathsig KILL "$0" 2>"$1")", program, log_file},
               environment) {}

bool KilledService::WaitUntilServing() {
  Eventually([&] { return HasLogged(kStarted) || HasLogged(kNotStarted); });
  return HasLogged(kStarted);
}

bool KilledService::WaitForLines(std::size_t count) const {
  for (std::size_t before = CountLines(); before < count; before = CountLines()) {
    if (!Eventually([&] { return CountLines() > before; })) return false;
  }
  return true;
}

std::size_t KilledService::CountLines() const {
  const std::string text = log();
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool KilledService::HasLogged(const std::string& words) const {
  return log().find(words) != std::string::npos;
}

bool KilledService::WaitForLog(const std::string& words) const {
  return Eventually([&] { return HasLogged(words); });
}

bool KilledService::HasEnded() const {
  siginfo_t end = {};
  const int flags = WEXITED | WNOHANG | WNOWAIT;
  return ::waitid(P_PID, static_cast<id_t>(pid()), &end, flags) != 0 || end.si_pid != 0;
}

void KilledService::Kill() {
  process_.Signal(SIGKILL);
  process_.Wait();
}

int KilledService::Stop() {
  process_.Signal(SIGTERM);
  return process_.Wait();
}

Holding KilledService::holding() const {
  const std::string directory = "/proc/" + std::to_string(pid());
  const std::string status = ReadFile(directory + "/status");
  const boost::filesystem::directory_iterator descriptors(directory + "/fd");
  return {NumberAfter(status, "VmRSS:"),
          std::distance(descriptors, boost::filesystem::directory_iterator()),
          NumberAfter(status, "Threads:")};
}

std::string KilledService::log() const {
  return ReadFile(log_file_);
}
