// The running program: takes packages from the ink service and has them put into the stream.

#pragma once

#include "Options.h"

namespace Forward {

// Runs until SIGTERM or SIGINT; the exit status.
int Run(const Options& options);

}  // namespace Forward
