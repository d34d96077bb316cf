// quillpostd: the process that hosts the ink service of one user. It gives the service what belongs
// to a host, the log, the umask and the signals, and nothing else.

#include <Talvo/Logger.h>
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

// The signals that end the service. Blocked before there is any thread, and then waited for: one
// that comes while the service starts or stops is kept until its turn.
sigset_t BlockEndSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  ::sigaddset(&signals, SIGTERM);
  ::sigaddset(&signals, SIGINT);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  ::signal(SIGPIPE, SIG_IGN);  // whoever read the log may be gone
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

// The service's whole life; returns the status to exit with.
int Serve(const Options& options, const Supervisor& supervisor, const sigset_t& end_signals) {
  Talvo::Logger::Open("Quillpost", options.log_level, MakeSink(options));
  const auto service = TalvoQuillpost::CreateQuillpostService();
  if (!service->Start()) {
    const bool elsewhere = !options.log_file.empty();
    std::fprintf(stderr, "quillpostd: the service did not start; %s%s says why\n",
                 elsewhere ? "the log " : "the log above", options.log_file.c_str());
    return 1;
  }
  if (!supervisor.Ready()) WarnOfSupervisor("ready");
  int signal = 0;
  while (::sigwait(&end_signals, &signal) != 0) {
  }
  if (!supervisor.Stopping()) WarnOfSupervisor("stopping");
  service->Stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  ::umask(077);
  const sigset_t end_signals = BlockEndSignals();
  Options options;
  const int status = ParseOptions(argc, argv, options);
  if (status >= 0) return status;
  const Supervisor supervisor;
  try {
    return Serve(options, supervisor, end_signals);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quillpostd: the service can't start: %s\n", error.what());
    return 1;
  }
}
