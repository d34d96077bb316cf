#include "Text.h"

#include <cstdint>
#include <cstring>

namespace Talvo::Stf2 {
namespace {

constexpr std::uint64_t kLowBits = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

// Eight bytes at once: none zero, none above 127.
bool IsPlain(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return (((word - kLowBits) | word) & kHighBits) == 0;
}

// The length of the character that begins at `bytes`, 0 where none does.
std::size_t CharacterLength(const unsigned char* bytes, std::size_t left) {
  const unsigned char lead = bytes[0];
  if (lead == 0) return 0;
  if (lead < 0x80) return 1;
  const std::size_t length = lead < 0xC2   ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                             : lead < 0xF5 ? 4
                                           : 0;
  if (length == 0 || length > left) return 0;
  unsigned char lowest = 0x80;
  unsigned char highest = 0xBF;
  if (lead == 0xE0) lowest = 0xA0;   // overlong
  if (lead == 0xED) highest = 0x9F;  // surrogates
  if (lead == 0xF0) lowest = 0x90;   // overlong
  if (lead == 0xF4) highest = 0x8F;  // above U+10FFFF
  if (bytes[1] < lowest || bytes[1] > highest) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool IsText(std::string_view bytes) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    if (bytes.size() - i >= sizeof(std::uint64_t) && IsPlain(bytes.data() + i)) {
      i += sizeof(std::uint64_t);
      continue;
    }
    const auto* character = reinterpret_cast<const unsigned char*>(bytes.data() + i);
    const std::size_t length = CharacterLength(character, bytes.size() - i);
    if (length == 0) return false;
    i += length;
  }
  return true;
}

}  // namespace Talvo::Stf2
