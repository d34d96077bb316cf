// How long a test waits for what must come. It costs nothing if it comes, and is long, since
// sanitizers on a busy machine are slow.

#pragma once

#include <chrono>

inline constexpr std::chrono::seconds kPatience(60);
