#include "ink/Text.h"

#include <charconv>

namespace TalvoInk {

Utf8Sequence Utf8At(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0;
  };
  const std::uint32_t lead = byte(0);
  if (lead < 0x80) return {1, lead};
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4) return {0, 0};
  std::uint32_t code = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return {0, 0};
    code = code << 6 | (byte(i) & 0x3F);
  }
  static const std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kLeast[length] || code > 0x10FFFF || surrogate) return {0, 0};
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
