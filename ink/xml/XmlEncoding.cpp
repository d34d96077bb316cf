#include "ink/xml/XmlEncoding.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

#include "ink/InkError.h"
#include "ink/Text.h"
#include "ink/xml/XmlText.h"

namespace TalvoInk {
namespace {

enum class Order { kLittle, kBig };

std::string FromUtf16(const std::string& bytes, std::size_t begin, Order order) {
  const auto unit = [&](std::size_t i) -> std::uint32_t {
    const auto a = static_cast<unsigned char>(bytes[i]);
    const auto b = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<std::uint32_t>(order == Order::kBig ? a << 8 | b : b << 8 | a);
  };
  std::string out;
  out.reserve(bytes.size() / 2);
  for (std::size_t i = begin; i < bytes.size(); i += 2) {
    const bool whole = i + 1 < bytes.size();
    std::uint32_t code = whole ? unit(i) : 0;
    bool paired = true;
    if (code >= 0xD800 && code < 0xE000) {
      const std::uint32_t low = i + 3 < bytes.size() ? unit(i + 2) : 0;
      paired = code < 0xDC00 && low >= 0xDC00 && low <= 0xDFFF;
      code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
      i += 2;
    }
    if (!whole || !paired) throw InkError(PlaceIn(out, out.size()), "damaged UTF-16");
    AppendUtf8(out, code);
  }
  return out;
}

// ISO-8859-1 is read as windows-1252 too: programs declare the one and write the other, and its
// control characters from 0x80 to 0x9F mean nothing in ink.
std::string FromWindows1252(const std::string& bytes) {
  static const std::uint32_t kCodes[32] = {
      0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  std::string out;
  out.reserve(bytes.size() + bytes.size() / 8);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    AppendUtf8(out, byte >= 0x80 && byte < 0xA0 ? kCodes[byte - 0x80] : byte);
  }
  return out;
}

// What the XML declaration at the front says, in lower case; empty if it says nothing.
std::string DeclaredEncoding(const std::string& bytes) {
  if (bytes.compare(0, 5, "<?xml") != 0) return {};
  const std::string declaration = bytes.substr(0, std::min(bytes.find("?>"), std::size_t{1024}));
  const std::size_t name = declaration.find("encoding");
  const std::size_t quote = declaration.find_first_of("\"'", name);
  if (name == std::string::npos || quote == std::string::npos) return {};
  const std::size_t end = declaration.find(declaration[quote], quote + 1);
  if (end == std::string::npos) return {};
  return LowerCase(declaration.substr(quote + 1, end - quote - 1));
}

bool IsOneOf(const std::string& name, std::initializer_list<const char*> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool IsAscii(const std::string& bytes) {
  return std::none_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) != 0; });
}

// Bytes that are not UTF-16, by what the document declares. One that declares UTF-16 was so in its
// program's memory, and has been written as UTF-8.
std::optional<std::string> FromDeclared(const std::string& bytes) {
  const std::string encoding = DeclaredEncoding(bytes);
  if (IsOneOf(encoding, {"", "utf-8", "utf8", "utf-16", "utf-16le", "utf-16be", "us-ascii"})) {
    return std::nullopt;
  }
  if (IsOneOf(encoding, {"iso-8859-1", "iso8859-1", "iso_8859-1", "latin1", "latin-1", "l1",
                         "windows-1252", "cp1252"})) {
    return FromWindows1252(bytes);
  }
  if (!IsAscii(bytes)) {
    throw InkError(PlaceIn(bytes, 0), "encoding '" + encoding + "' is not read; save it as UTF-8");
  }
  return std::nullopt;
}

// None if the bytes are UTF-8 as they are.
std::optional<std::string> Decoded(const std::string& bytes) {
  const auto begins = [&](const char* mark, std::size_t size) {
    return bytes.compare(0, size, mark, size) == 0;
  };
  if (begins("\xFF\xFE\0\0", 4) || begins("\0\0\xFE\xFF", 4)) {
    throw InkError(PlaceIn(bytes, 0), "UTF-32 is not read; save it as UTF-8");
  }
  if (begins("\xEF\xBB\xBF", 3)) return bytes.substr(3);
  if (begins("\xFF\xFE", 2)) return FromUtf16(bytes, 2, Order::kLittle);
  if (begins("\xFE\xFF", 2)) return FromUtf16(bytes, 2, Order::kBig);
  if (begins("<\0", 2)) return FromUtf16(bytes, 0, Order::kLittle);
  if (begins("\0<", 2)) return FromUtf16(bytes, 0, Order::kBig);
  return FromDeclared(bytes);
}

}  // namespace

const std::string& DecodeDocument(const std::string& bytes, std::string& room) {
  std::optional<std::string> decoded = Decoded(bytes);
  if (decoded) room = std::move(*decoded);
  const std::string& text = decoded ? room : bytes;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = Utf8Length(text, at);
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool control = byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r';
    if (length == 0 || control) {
      char code[8];
      std::snprintf(code, sizeof code, "0x%02X", byte);
      throw InkError(PlaceIn(text, at),
                     std::string("byte ") + code +
                         (control ? ", which XML can't hold"
                                  : " is not UTF-8, and the document names no other "
                                    "encoding that is read"));
    }
    at += length;
  }
  return text;
}

}  // namespace TalvoInk
