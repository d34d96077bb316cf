// What fuzz targets and corpus tests do with bytes that lie in the service's own files:
// subscription files, which any program may write, and RoutingInfo.txt. A broken promise ends the
// process.

#pragma once

#include <cstddef>
#include <cstdint>

// Reads the bytes as a subscription. What is taken has the members of one, each of its kind.
void WalkSubscription(const std::uint8_t* data, std::size_t size);

// Reads the bytes as routing info. What can be read is written and read again as the same; so is
// what a change makes of it that is not finished.
void WalkRoutingInfo(const std::uint8_t* data, std::size_t size);
