#include <cstddef>
#include <cstdint>

#include "WalkWire.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkWire(data, size);
  return 0;
}
