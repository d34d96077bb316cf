// What the envelope of sealed ink says to everybody, without a key, and why it can't be opened with
// one. Nothing of the envelope is proven: only opening the ink tells whether it is true.

#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace TalvoInk {

struct SealedInfo {
  std::uint64_t pen = 0;
  std::string recipient;  // the public key, in hexadecimal
  std::uint8_t algorithm = 0;
};

// None for bytes that are not sealed ink, or damaged sealed ink whose envelope can't be read.
std::optional<SealedInfo> ReadSealedInfo(const std::string& bytes);

// Why ink could not be sealed or opened, for people: a status of the encryption library in words,
// such as "sealed to another key".
const char* SealingFault(int status);

}  // namespace TalvoInk
