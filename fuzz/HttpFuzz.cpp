#include <cstddef>
#include <cstdint>

#include "WalkHttp.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkHttp(data, size);
  return 0;
}
