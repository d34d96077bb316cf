#include "TalvoCppUtils/Printable.h"

#include <algorithm>

namespace TalvoCppUtils {
namespace {

bool IsControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7F;
}

}  // namespace

std::string Printable(std::string text) {
  const auto first = std::find_if(text.begin(), text.end(), IsControl);
  if (first == text.end()) return text;

  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string printable(text.begin(), first);
  for (auto c = first; c != text.end(); ++c) {
    if (!IsControl(*c)) {
      printable += *c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(*c);
    printable += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
  }
  return printable;
}

}  // namespace TalvoCppUtils
