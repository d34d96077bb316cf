#include "Temporaries.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <set>

namespace InkTool {
namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Changed only while the signals are held, so that the handler finds it whole.
std::set<std::string>& Temporaries() {
  static std::set<std::string> names;
  return names;
}

void RemoveAndEnd(int signal) {
  for (const std::string& name : Temporaries()) ::unlink(name.c_str());
  ::signal(signal, SIG_DFL);
  ::raise(signal);  // takes effect when this handler returns
}

}  // namespace

void RemoveTemporariesOnSignals() {
  ::signal(SIGXFSZ, SIG_IGN);
  Temporaries();  // made here, not in the handler
  for (const int signal : kEndingSignals) {
    struct sigaction action;
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = RemoveAndEnd;
    for (const int other : kEndingSignals) ::sigaddset(&action.sa_mask, other);
    ::sigaction(signal, &action, nullptr);
  }
}

SignalsHeld::SignalsHeld() {
  sigset_t held;
  ::sigemptyset(&held);
  for (const int signal : kEndingSignals) ::sigaddset(&held, signal);
  ::pthread_sigmask(SIG_BLOCK, &held, &before_);
}

SignalsHeld::~SignalsHeld() {
  ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

int MakeTemporary(std::string& name) {
  const SignalsHeld held;
  const int file = ::mkostemp(name.data(), O_CLOEXEC);
  if (file >= 0) Temporaries().insert(name);
  return file;
}

void ForgetTemporary(const std::string& name) {
  const SignalsHeld held;
  Temporaries().erase(name);
}

}  // namespace InkTool
