// quillpostd: the process that hosts the ink service of one user. It gives the service what belongs
// to a host, the log, the umask and the signals, and nothing else.

#include <Talvo/Logger.h>
#include <TalvoOS/Startup.h>
#include <TalvoQuillpost/IService.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>

#include "Options.h"
#include "Supervisor.h"

namespace {

// The signals that the service waits for. Blocked before there is any thread: one that comes while
// the service starts or stops is kept until its turn. A SIGHUP that the caller has ignored (nohup)
// stays ignored.
sigset_t BlockSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGTERM);
  ::sigaddset(&signals, SIGINT);
  struct sigaction hangup = {};
  ::sigaction(SIGHUP, nullptr, &hangup);
  if (hangup.sa_handler != SIG_IGN) ::sigaddset(&signals, SIGHUP);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

Talvo::LogSink MakeSink(const Options& options) {
  if (!options.log_file.empty()) return Talvo::LogSink::RotatingFile(options.log_file);
  return IsStderrTheJournal() ? Talvo::LogSink::Journal() : Talvo::LogSink::Stderr();
}

void WarnOfSupervisor(const char* state) {
  if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Quillpost")) {
    logger->Log(Talvo::kLogWarning, "Failed to tell the service manager '%s': %s.", state,
                std::strerror(errno));
  }
}

int WaitForSignal(const sigset_t& signals) {
  int signal = 0;
  while (::sigwait(&signals, &signal) != 0) {
  }
  return signal;
}

// Called after the program that rotates logs has moved the file away.
void ReopenLog(const Options& options) {
  try {
    Talvo::Logger::Open("Quillpost", options.log_level, MakeSink(options));
  } catch (const std::exception& error) {
    if (Talvo::Logger* logger = Talvo::Logger::GetLogger("Quillpost")) {
      logger->Log(Talvo::kLogError, "The log goes on in the old file: %s.", error.what());
    }
  }
}

// The service's whole life; returns the status to exit with.
int Serve(const Options& options, const Supervisor& supervisor, const sigset_t& signals) {
  Talvo::Logger::Open("Quillpost", options.log_level, MakeSink(options));
  const auto service = TalvoQuillpost::CreateQuillpostService();
  if (!service->Start()) {
    const bool elsewhere = !options.log_file.empty();
    std::fprintf(stderr, "quillpostd: the service did not start; %s%s says why\n",
                 elsewhere ? "the log " : "the log above", options.log_file.c_str());
    return 1;
  }
  if (!supervisor.Ready()) WarnOfSupervisor("ready");
  while (WaitForSignal(signals) == SIGHUP && !options.log_file.empty()) ReopenLog(options);
  if (!supervisor.Stopping()) WarnOfSupervisor("stopping");
  service->Stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  TalvoOS::OpenStandardDescriptors();
  TalvoOS::IgnoreWriteSignals();
  ::umask(077);
  const sigset_t signals = BlockSignals();
  Options options;
  const int status = ParseOptions(argc, argv, options);
  if (status >= 0) return status;
  const Supervisor supervisor;
  try {
    return Serve(options, supervisor, signals);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpostd: the service can't start: %s\n", error.what());
    return 1;
  }
}
