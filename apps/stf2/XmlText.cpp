#include "XmlText.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>

namespace InkTool {
namespace {

struct Utf8Sequence {
  std::size_t length;  // 0 for none
  std::uint32_t code;
};

Utf8Sequence SequenceAt(const std::string& text, std::size_t at) {
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

// The length of the sequence at `at` where XML can hold it and shows it as it is, or 0.
std::size_t PlainLength(const std::string& text, std::size_t at) {
  const auto [length, code] = SequenceAt(text, at);
  const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
  return control || code == 0xFFFE || code == 0xFFFF ? 0 : length;
}

}  // namespace

std::size_t Utf8Length(const std::string& text, std::size_t at) {
  return SequenceAt(text, at).length;
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

std::string PlaceIn(const std::string& document, std::size_t offset) {
  offset = std::min(offset, document.size());
  const auto begin = document.begin();
  const auto at = begin + static_cast<std::ptrdiff_t>(offset);
  const auto line = std::count(begin, at, '\n') + 1;
  const std::size_t newline = offset == 0 ? std::string::npos : document.rfind('\n', offset - 1);
  const std::size_t line_begin = newline == std::string::npos ? 0 : newline + 1;
  const auto column =
      std::count_if(begin + static_cast<std::ptrdiff_t>(line_begin), at,
                    [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }) +
      1;
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

bool IsPlainXmlText(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = PlainLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string EscapeXml(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string EncodePercent(const std::string& text) {
  static const char kDigits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = PlainLength(text, at);
    if (length == 0 || text[at] == '%') {
      const auto byte = static_cast<unsigned char>(text[at]);
      out += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
      ++at;
    } else {
      out.append(text, at, length);
      at += length;
    }
  }
  return out;
}

bool ParseHexByte(const std::string& text, std::size_t at, std::uint8_t& byte) {
  if (at > text.size() || text.size() - at < 2) return false;
  const char* digits = text.data() + at;
  return std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
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

std::string LocalName(const char* name) {
  const char* colon = std::strrchr(name, ':');
  return colon == nullptr ? name : colon + 1;
}

}  // namespace InkTool
