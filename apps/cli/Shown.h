// How numbers are shown to people, and what their terminal can do.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Whether the descriptor is a terminal whose lines can be drawn anew; how many columns it has.
bool CanRedraw(int fd);
std::size_t TerminalWidth(int fd);

// "512 B", "1.5 KiB", "12.0 MiB".
std::string FormatBytes(std::uint64_t bytes);

// "1 page", "2 pages".
std::string FormatCount(std::uint64_t count, const std::string& noun);
