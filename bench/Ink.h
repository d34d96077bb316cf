// Ink files as clients have them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace bench {

// The time at which ink begins that is imported: later than all that a store was filled with.
constexpr std::uint64_t kImportTimeMs = 1800000000000;

// An ink file of the pen with the number 1: at most `bytes` bytes whose strokes lie on `pages`
// pages, one page after the other.
void WriteInk(const std::filesystem::path& path, std::size_t bytes, std::size_t pages,
              std::size_t first_page, std::uint64_t start_time_ms);

// `count` such files in the new directory `directory`, of one page each: the first `pages` pages
// in turns, each file later than the one before.
std::vector<std::filesystem::path> WriteInkFiles(const std::filesystem::path& directory,
                                                 std::size_t count, std::size_t bytes,
                                                 std::size_t pages);

}  // namespace bench
