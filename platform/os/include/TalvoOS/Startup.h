// What a program of the system does first in its main, before it opens a file or starts a thread.
// For programs alone: descriptors and signals belong to the program, never to a library in it.

#pragma once

namespace TalvoOS {

// Gives each of the descriptors 0, 1 and 2 that the caller of the program has closed something that
// can be neither read nor written. Otherwise the next file or socket would take its number, and
// what the program prints would go there: "quillpost import FILE >&-" would talk to the service.
// Printing still fails, as it does on a closed descriptor.
void OpenStandardDescriptors();

// Ignores SIGPIPE and SIGXFSZ: a reader that is gone and a file size limit that is reached (see
// setrlimit(2)) are errors of the write, which the program reports, and not its end. Programs that
// are launched with TalvoOS/Actions.h have the defaults again.
void IgnoreWriteSignals();

}  // namespace TalvoOS
