// libFuzzer target: any bytes as sealed ink.

#include "WalkInk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkSealed(data, size);
  return 0;
}
