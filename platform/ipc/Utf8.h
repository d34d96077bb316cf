// The one question about UTF-8 that reading and writing JSON share.

#pragma once

#include <cstddef>
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

}  // namespace IPC
