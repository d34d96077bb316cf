// libFuzzer target: any bytes as InkML.

#include "WalkInkML.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkInkML(data, size);
  return 0;
}
