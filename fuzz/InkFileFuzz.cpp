#include "WalkInkFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WalkInkFile(data, size);
  return 0;
}
