// Bytes that stand for themselves in a JSON string. Most text is nothing else, so reading and
// writing look at eight at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace IPC {

// Whether all eight bytes stand for themselves in a JSON string: printable ASCII without quote and
// backslash. The high bit of a byte of `found` says that this byte, or one before it, does not.
inline bool ArePlain(std::uint64_t bytes) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const auto has_zero = [](std::uint64_t x) { return (x - kOnes) & ~x; };
  const std::uint64_t found = bytes | (bytes - kOnes * 0x20) | has_zero(bytes ^ kOnes * '"') |
                              has_zero(bytes ^ kOnes * '\\') | has_zero(bytes ^ kOnes * 0x7F);
  return (found & kOnes * 0x80) == 0;
}

inline bool IsPlain(char c) {
  return c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
}

// How many bytes at the beginning of `text` are printable ASCII and stand for themselves.
inline std::size_t PlainLength(std::string_view text) {
  std::size_t length = 0;
  for (std::uint64_t bytes; length + sizeof bytes <= text.size(); length += sizeof bytes) {
    std::memcpy(&bytes, text.data() + length, sizeof bytes);
    if (!ArePlain(bytes)) break;
  }
  while (length < text.size() && IsPlain(text[length])) ++length;
  return length;
}

}  // namespace IPC
