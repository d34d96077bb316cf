#include "ink/xml/XmlText.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

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

std::string LocalName(const char* name) {
  const char* colon = std::strrchr(name, ':');
  return colon == nullptr ? name : colon + 1;
}

}  // namespace TalvoInk
