// libFuzzer target: any bytes as STF2 ink.

#include "WalkInk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkInk(data, size);
  return 0;
}
