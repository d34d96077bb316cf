// What a fuzz target and the corpus tests do with bytes that a peer of the socket may send.

#pragma once

#include <cstddef>
#include <cstdint>

// Cuts the bytes into lines, reads each line as a request and as a server's message, writes back
// what could be read, and reads that again. The first byte says in which portions the bytes arrive.
// A broken promise ends the process: a line that differs with the portions, a text that is read
// differently the second time, an output that is not a single line.
void WalkWire(const std::uint8_t* data, std::size_t size);
