#include "Text.h"

#include <TalvoCppUtils/Utf8.h>

#include <cstdint>
#include <cstring>

namespace Talvo::Stf2 {
namespace {

constexpr std::uint64_t kLowBits = 0x0101010101010101;
constexpr std::uint64_t kHighBits = 0x8080808080808080;

// Looks at eight bytes together: none is zero, none above 127.
bool IsPlain(const char* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return (((word - kLowBits) | word) & kHighBits) == 0;
}

}  // namespace

bool IsText(std::string_view bytes) {
  std::size_t i = 0;
  while (i < bytes.size()) {
    if (bytes.size() - i >= sizeof(std::uint64_t) && IsPlain(bytes.data() + i)) {
      i += sizeof(std::uint64_t);
      continue;
    }
    const std::size_t length = TalvoCppUtils::Utf8SequenceLength(bytes.substr(i));
    if (length == 0 || bytes[i] == '\0') return false;
    i += length;
  }
  return true;
}

}  // namespace Talvo::Stf2
