#include "TalvoCppUtils/PenId.h"

#include <cstddef>

namespace TalvoCppUtils {
namespace {

constexpr std::size_t kDigits = 16;
constexpr std::size_t kGroup = 4;
constexpr std::size_t kLength = kDigits + kDigits / kGroup - 1;

// The value of a hexadecimal digit, in any locale; -1 for another character.
int DigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

bool IsHyphenPlace(std::size_t i) {
  return i % (kGroup + 1) == kGroup;
}

}  // namespace

std::string PenId::string() const {
  std::string text(kLength, '-');
  std::uint64_t rest = number_;
  for (std::size_t i = kLength; i-- > 0;) {
    if (IsHyphenPlace(i)) continue;
    text[i] = "0123456789ABCDEF"[rest & 0xF];
    rest >>= 4;
  }
  return text;
}

bool PenId::Parse(const std::string& text, PenId& pen) {
  if (text.size() != kLength) return false;
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < kLength; ++i) {
    if (IsHyphenPlace(i)) {
      if (text[i] != '-') return false;
      continue;
    }
    const int digit = DigitValue(text[i]);
    if (digit < 0) return false;
    number = number << 4 | static_cast<std::uint64_t>(digit);
  }
  pen = PenId(number);
  return true;
}

}  // namespace TalvoCppUtils
