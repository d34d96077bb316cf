#include "ink/Text.h"

#include <TalvoCppUtils/Utf8.h>

#include <charconv>
#include <string_view>

namespace TalvoInk {

Utf8Sequence Utf8At(const std::string& text, std::size_t at) {
  if (at >= text.size()) return {1, 0};
  const std::size_t length = TalvoCppUtils::Utf8SequenceLength(std::string_view(text).substr(at));
  if (length == 0) return {0, 0};
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[at + i]); };
  if (length == 1) return {1, byte(0)};
  std::uint32_t code = byte(0) & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) code = code << 6 | (byte(i) & 0x3F);
  return {length, code};
}

std::size_t Utf8Length(const std::string& text, std::size_t at) {
  return Utf8At(text, at).length;
}

void AppendUtf8(std::string& out, std::uint32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | code >> 6);
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | code >> 12);
    out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | code >> 18);
    out += static_cast<char>(0x80 | (code >> 12 & 0x3F));
    out += static_cast<char>(0x80 | (code >> 6 & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

bool ParseHexByte(const std::string& text, std::size_t at, std::uint8_t& byte) {
  if (at > text.size() || text.size() - at < 2) return false;
  const char* digits = text.data() + at;
  return std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
}

std::string Hexadecimal(const std::uint8_t* bytes, std::size_t count) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(2 * count);
  for (std::size_t i = 0; i < count; ++i) out += {kDigits[bytes[i] >> 4], kDigits[bytes[i] & 15]};
  return out;
}

std::string Trim(const std::string& text) {
  static const char kWhite[] = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kWhite);
  if (begin == std::string::npos) return {};
  return text.substr(begin, text.find_last_not_of(kWhite) - begin + 1);
}

std::string LowerCase(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace TalvoInk
