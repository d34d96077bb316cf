// SIGTERM and SIGINT as something that can be waited for, for programs with threads.

#pragma once

#include <TalvoCppUtils/Descriptor.h>

namespace Application {

// From here on neither of them interrupts the calling thread or one that it begins, so it is called
// before the first. One that comes is kept, and the descriptor can be read from then on: poll it,
// or read a signalfd_siginfo. Throws std::runtime_error.
TalvoCppUtils::Descriptor HoldEndSignals();

// Returns when one has come.
void WaitForEndSignal(const TalvoCppUtils::Descriptor& signals);

}  // namespace Application
