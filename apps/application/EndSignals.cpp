#include "application/EndSignals.h"

#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace Application {

TalvoCppUtils::Descriptor HoldEndSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGTERM, SIGINT}) ::sigaddset(&signals, signal);
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  TalvoCppUtils::Descriptor held(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!held)
    throw std::runtime_error(std::string("can't wait for signals: ") + std::strerror(errno));
  return held;
}

void WaitForEndSignal(const TalvoCppUtils::Descriptor& signals) {
  pollfd asked = {signals.get(), POLLIN, 0};
  while (::poll(&asked, 1, -1) < 0 && errno == EINTR) {
  }
}

}  // namespace Application
