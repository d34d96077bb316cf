#include "ink/PlainText.h"

#include <cstdint>

#include "ink/Text.h"

namespace TalvoInk {
namespace {

// The length of the sequence at `at` if XML can hold it and shows it as it is, else 0.
std::size_t PlainLength(const std::string& text, std::size_t at) {
  const auto [length, code] = Utf8At(text, at);
  const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
  return control || code == 0xFFFE || code == 0xFFFF ? 0 : length;
}

}  // namespace

bool IsPlainText(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = PlainLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string EncodePercent(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = PlainLength(text, at);
    if (length == 0 || text[at] == '%') {
      const auto byte = static_cast<std::uint8_t>(text[at]);
      out += '%' + Hexadecimal(&byte, 1);
      ++at;
    } else {
      out.append(text, at, length);
      at += length;
    }
  }
  return out;
}

std::string DecodePercent(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    std::uint8_t byte = 0;
    if (text[at] == '%' && ParseHexByte(text, at + 1, byte)) {
      out += static_cast<char>(byte);
      at += 2;
    } else {
      out += text[at];
    }
  }
  return out;
}

}  // namespace TalvoInk
