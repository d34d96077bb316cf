#include <cstddef>
#include <cstdint>

#include "WalkFiles.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkRoutingInfo(data, size);
  return 0;
}
