#include "XmlText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "Refusal.h"

namespace InkTool {
namespace {

// The length of the well-formed UTF-8 sequence at `at` that XML can hold, or 0.
std::size_t SequenceLength(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) -> std::uint32_t {
    return at + i < text.size() ? static_cast<unsigned char>(text[at + i]) : 0;
  };
  const std::uint32_t lead = byte(0);
  if (lead < 0x80) return lead >= 0x20 && lead != 0x7F ? 1 : 0;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  std::uint32_t code = lead & (0xFFu >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3F);
  }
  static const std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kLeast[length] || code > 0x10FFFF || surrogate) return 0;
  if (code < 0xA0 || code == 0xFFFE || code == 0xFFFF) return 0;
  return length;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
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

std::string FromUtf16(const std::string& bytes, bool big_endian) {
  if (bytes.size() % 2 != 0) throw Refusal("UTF-16 text of an odd number of bytes");
  const auto unit = [&](std::size_t i) -> std::uint32_t {
    const auto a = static_cast<unsigned char>(bytes[i]);
    const auto b = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<std::uint32_t>(big_endian ? a << 8 | b : b << 8 | a);
  };
  std::string out;
  out.reserve(bytes.size() / 2);
  for (std::size_t i = 2; i < bytes.size(); i += 2) {
    std::uint32_t code = unit(i);
    if (code >= 0xD800 && code < 0xE000) {
      const std::uint32_t low = i + 2 < bytes.size() ? unit(i + 2) : 0;
      if (code >= 0xDC00 || low < 0xDC00 || low > 0xDFFF) throw Refusal("damaged UTF-16 text");
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    }
    AppendUtf8(out, code);
  }
  return out;
}

}  // namespace

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
    const std::size_t length = SequenceLength(text, at);
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
    const std::size_t length = SequenceLength(text, at);
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

std::string DecodePercent(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool encoded = text[at] == '%' && at + 2 < text.size() && HexDigit(text[at + 1]) >= 0 &&
                         HexDigit(text[at + 2]) >= 0;
    if (encoded) {
      out += static_cast<char>(HexDigit(text[at + 1]) << 4 | HexDigit(text[at + 2]));
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

std::string LocalName(const char* name) {
  const char* colon = std::strrchr(name, ':');
  return colon == nullptr ? name : colon + 1;
}

std::string ToUtf8Document(std::string bytes) {
  if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) return bytes.substr(3);
  if (bytes.compare(0, 2, "\xFF\xFE") == 0) return FromUtf16(bytes, false);
  if (bytes.compare(0, 2, "\xFE\xFF") == 0) return FromUtf16(bytes, true);
  return bytes;
}

}  // namespace InkTool
