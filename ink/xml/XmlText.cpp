#include "ink/xml/XmlText.h"

#include <algorithm>
#include <cstring>

namespace TalvoInk {

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

std::string LocalName(const char* name) {
  const char* colon = std::strrchr(name, ':');
  return colon == nullptr ? name : colon + 1;
}

}  // namespace TalvoInk
