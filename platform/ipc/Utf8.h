// The questions about bytes of strings that reading and writing JSON share.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace IPC {

// The length in bytes of the well-formed sequence that `text` begins with (RFC 3629: no overlong
// forms, no surrogates, nothing above U+10FFFF); 0 where it begins with none.
inline std::size_t Utf8SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto follows = [&](std::size_t i, unsigned low = 0x80, unsigned high = 0xBF) {
    return i < text.size() && byte(i) >= low && byte(i) <= high;
  };
  if (text.empty()) return 0;
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return follows(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;
    const unsigned high = lead == 0xED ? 0x9F : 0xBF;
    return follows(1, low, high) && follows(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const unsigned low = lead == 0xF0 ? 0x90 : 0x80;
    const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;
    return follows(1, low, high) && follows(2) && follows(3) ? 4 : 0;
  }
  return 0;
}

// Whether all eight bytes stand for themselves in a JSON string: printable ASCII without quote and
// backslash. The high bit of a byte of `found` says that this byte, or one before it, does not.
inline bool ArePlain(std::uint64_t bytes) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const auto has_zero = [](std::uint64_t x) { return (x - kOnes) & ~x; };
  const std::uint64_t found = bytes | (bytes - kOnes * 0x20) | has_zero(bytes ^ kOnes * '"') |
                              has_zero(bytes ^ kOnes * '\\') | has_zero(bytes ^ kOnes * 0x7F);
  return (found & kOnes * 0x80) == 0;
}

// How many bytes at the beginning of `text` certainly stand for themselves. Most text is nothing
// else, and is taken in pieces of eight.
inline std::size_t PlainLength(std::string_view text) {
  std::size_t length = 0;
  for (std::uint64_t bytes; length + sizeof bytes <= text.size(); length += sizeof bytes) {
    std::memcpy(&bytes, text.data() + length, sizeof bytes);
    if (!ArePlain(bytes)) break;
  }
  return length;
}

}  // namespace IPC
