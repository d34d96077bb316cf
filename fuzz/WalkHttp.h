#pragma once

#include <cstddef>
#include <cstdint>

// Takes the bytes as a request to the inbox: of a stranger, or, if the first byte is odd, of a
// browser that was let in. A stranger gets nothing; what is answered is answered as promised.
// Aborts if not.
void WalkHttp(const std::uint8_t* data, std::size_t size);
