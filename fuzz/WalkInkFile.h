#pragma once

#include <cstddef>
#include <cstdint>

// Reads the bytes as a file of ink of any format, packed or not, and what was read in every way; a
// broken promise ends the process. Answers whether they were ink.
bool WalkInkFile(const std::uint8_t* data, std::size_t size);
