// Handwriting that waits in the service's store: each package with ink of its own, since who keeps
// ink takes the same bytes only once.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "BenchRoot.h"

namespace bench {

// Ten strokes of so many points each on one page, as a line of handwriting has them.
std::string MakeHandwriting(std::uint64_t pen, std::size_t page, std::uint64_t start_ms,
                            int points);

// Files of 10 KB of the pen's handwriting, on ten pages.
void FillWithHandwriting(const BenchRoot& root, std::uint64_t pen, std::size_t files);

}  // namespace bench
