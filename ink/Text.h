// Bytes as text, the same on every machine: nothing here depends on the locale.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace TalvoInk {

// A sequence of UTF-8: how many bytes it takes and the character's number. A length of 0 means that
// the bytes are not UTF-8 (TalvoCppUtils/Utf8.h).
struct Utf8Sequence {
  std::size_t length;
  std::uint32_t code;
};

// The sequence that begins at byte `at`; behind the end of the text it is a zero byte.
Utf8Sequence Utf8At(const std::string& text, std::size_t at);

// Its length alone.
std::size_t Utf8Length(const std::string& text, std::size_t at);

// Appends the character of that number, which is at most 0x10FFFF.
void AppendUtf8(std::string& out, std::uint32_t code);

// Reads the two hexadecimal digits at byte `at`, in either case. False if they are not there;
// `byte` is undefined then.
bool ParseHexByte(const std::string& text, std::size_t at, std::uint8_t& byte);

// Two hexadecimal digits in upper case for each byte.
std::string Hexadecimal(const std::uint8_t* bytes, std::size_t count);

// The text without spaces, tabs and line ends at both ends.
std::string Trim(const std::string& text);

// ASCII letters in lower case; every other byte stays as it is.
std::string LowerCase(std::string text);

}  // namespace TalvoInk
