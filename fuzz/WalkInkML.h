// Reads any bytes as InkML: what the fuzz target and the replay of its corpus run. A broken promise
// of the ink tool's reader or writer ends the process with a line that names it, in every build.

#pragma once

#include <cstddef>
#include <cstdint>

// Reads the bytes as they are and with everything asked for on the command line. If they are
// ink: checks that no more points are there than the bytes can hold, writes STF2 and InkML, reads
// both back and compares, and draws the strokes' outlines. True if they are ink.
bool WalkInkML(const std::uint8_t* data, std::size_t size);
