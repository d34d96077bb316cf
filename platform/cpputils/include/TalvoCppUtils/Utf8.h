// Which bytes are UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF. A
// zero byte is a character like any other. Functions without state, any thread.

#pragma once

#include <cstddef>
#include <string_view>

namespace TalvoCppUtils {

// The length in bytes of the well-formed sequence that `text` begins with; 0 if it begins with
// none. Inline, since readers ask for each character.
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
    const unsigned low = lead == 0xE0 ? 0xA0 : 0x80;   // overlong below
    const unsigned high = lead == 0xED ? 0x9F : 0xBF;  // surrogates above
    return follows(1, low, high) && follows(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const unsigned low = lead == 0xF0 ? 0x90 : 0x80;   // overlong below
    const unsigned high = lead == 0xF4 ? 0x8F : 0xBF;  // above U+10FFFF
    return follows(1, low, high) && follows(2) && follows(3) ? 4 : 0;
  }
  return 0;
}

// Whether all of the text is UTF-8. Empty text is.
inline bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = Utf8SequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace TalvoCppUtils
